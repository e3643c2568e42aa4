#pragma once

#include <string>

namespace wincryptctl {

// A new directory that is filled under a temporary name beside its own, and gets that when it is complete.
// One that wasn't kept is removed with what was put into it.
class BackupDirectory {
public:
    // Throws RunFailure: usage when something of the name exists.
    explicit BackupDirectory(std::string path);
    ~BackupDirectory();
    BackupDirectory(BackupDirectory const&) = delete;
    BackupDirectory& operator=(BackupDirectory const&) = delete;

    // A new empty file of mode 0600; gives its path.
    std::string addFile(std::string const& name);

    // Makes all durable and gives the directory its name. Throws RunFailure when the name is taken by now.
    void keep();

private:
    std::string path_;
    std::string temporary_;
    bool isKept_ = false;
};

// Signals that would end the process wait while one of these exists: what was begun is removed first.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(HeldSignals const&) = delete;
    HeldSignals& operator=(HeldSignals const&) = delete;
};

} // namespace wincryptctl

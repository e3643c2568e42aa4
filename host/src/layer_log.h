#pragma once

#include <set>
#include <string>
#include <sys/types.h>

namespace tvkstore {

// The log of the layer under the module, which alone tells path and cause, and alone tells of an entry that a
// walk passed by as damaged. While one exists the layer writes into memory, unless the caller's WINCRYPT_LOG
// says where to; what is left goes to standard error at the end.
class LayerLog {
public:
    LayerLog();
    ~LayerLog();
    LayerLog(LayerLog const&) = delete;
    LayerLog& operator=(LayerLog const&) = delete;

    // Puts on standard error what the layer wrote since the last time, every line once a run. True when it
    // wrote anything, known lines too.
    bool relay();

    // What the layer wrote since the last time won't be shown.
    void forget();

private:
    std::string read();

    int file_ = -1;
    off_t read_ = 0;
    std::set<std::string> told_;
};

} // namespace tvkstore

#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

// A program of the build, which lies beside this one.
std::filesystem::path siblingProgram(std::string const& name);

// A child process whose standard input and output are pipes to this process.
class ChildProcess {
public:
    // Starts it with the environment of this process. Throws std::system_error.
    explicit ChildProcess(std::vector<std::string> const& arguments);

    // Ends it when it was not waited for.
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    // The next `count` bytes of its output, or fewer at its end.
    std::string read(std::size_t count);

    void closeInput();

    // Waits for its end; throws std::runtime_error unless it ended with exit code 0.
    void wait();

private:
    std::string name_;
    pid_t id_ = -1;
    int input_ = -1;
    int output_ = -1;
};

} // namespace bench

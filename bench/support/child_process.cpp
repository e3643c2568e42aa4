#include "support/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace bench {

namespace {

void requireSystem(int error, std::string const& what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

} // namespace

fs::path siblingProgram(std::string const& name) {
    return fs::read_symlink("/proc/self/exe").parent_path() / name;
}

ChildProcess::ChildProcess(std::vector<std::string> const& arguments) : name_(arguments.at(0)) {
    int in[2];
    int out[2];
    requireSystem(::pipe2(in, O_CLOEXEC) == 0 ? 0 : errno, "pipe");
    if (::pipe2(out, O_CLOEXEC) != 0) {
        int const error = errno;
        ::close(in[0]);
        ::close(in[1]);
        requireSystem(error, "pipe");
    }
    input_ = in[1];
    output_ = out[0];
    std::vector<char*> words;
    for (std::string const& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    int error = ::posix_spawn_file_actions_init(&actions);
    if (error == 0) {
        error = ::posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        error = error != 0 ? error : ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        error =
            error != 0 ? error : ::posix_spawn(&id_, name_.c_str(), &actions, nullptr, words.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
    }
    ::close(in[0]);
    ::close(out[1]);
    if (error != 0) {
        ::close(input_);
        ::close(output_);
        requireSystem(error, name_);
    }
}

ChildProcess::~ChildProcess() {
    if (id_ > 0) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    closeInput();
    ::close(output_);
}

std::string ChildProcess::read(std::size_t count) {
    std::string result(count, '\0');
    std::size_t size = 0;
    while (size < count) {
        ssize_t const part = ::read(output_, result.data() + size, count - size);
        if (part < 0 && errno == EINTR) {
            continue;
        }
        requireSystem(part < 0 ? errno : 0, name_);
        if (part == 0) {
            break;
        }
        size += static_cast<std::size_t>(part);
    }
    result.resize(size);
    return result;
}

void ChildProcess::closeInput() {
    if (input_ >= 0) {
        ::close(input_);
        input_ = -1;
    }
}

void ChildProcess::wait() {
    closeInput();
    int status = 0;
    while (::waitpid(id_, &status, 0) < 0) {
        requireSystem(errno == EINTR ? 0 : errno, name_);
    }
    id_ = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(name_ + " failed");
    }
}

} // namespace bench

#include "support/run_program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

namespace test_support {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

void require(bool done, char const* what) {
    if (!done)
        throw std::system_error(errno, std::generic_category(), what);
}

std::string contentOf(File const& file) {
    std::string text;
    std::array<char, 16384> part{};
    std::rewind(file.get());
    while (std::size_t const count = std::fread(part.data(), 1, part.size(), file.get()))
        text.append(part.data(), count);
    return text;
}

} // namespace

ProgramResult runProgram(ProgramRun const& run) {
    std::vector<char*> arguments;
    for (std::string const& argument : run.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    File const output(std::tmpfile(), &std::fclose);
    File const error(std::tmpfile(), &std::fclose);
    require(output != nullptr && error != nullptr, "tmpfile");
    pid_t const process = ::fork();
    require(process >= 0, "fork");
    if (process == 0) {
        for (auto const& [name, value] : run.environment)
            ::setenv(name.c_str(), value.c_str(), 1);
        ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
        ::dup2(::fileno(output.get()), STDOUT_FILENO);
        ::dup2(::fileno(error.get()), STDERR_FILENO);
        ::alarm(60);
        ::execvp(arguments[0], arguments.data());
        std::perror(arguments[0]);
        ::_exit(127);
    }
    int status = -1;
    require(::waitpid(process, &status, 0) == process, "waitpid");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(output), contentOf(error)};
}

} // namespace test_support

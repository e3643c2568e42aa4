#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace test_support {

// Sets a variable of the process's environment for the object's life, or removes it when there is no value,
// and then puts back what was there. The environment is not made for threads: no other thread may run
// meanwhile.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string const& name, std::optional<std::string> const& value) : name_(name) {
        if (char const* const before = std::getenv(name_.c_str()))
            before_ = before;
        put(value);
    }
    ~EnvironmentVariable() { put(before_); }
    EnvironmentVariable(EnvironmentVariable const&) = delete;
    EnvironmentVariable& operator=(EnvironmentVariable const&) = delete;

private:
    void put(std::optional<std::string> const& value) const {
        if ((value ? ::setenv(name_.c_str(), value->c_str(), 1) : ::unsetenv(name_.c_str())) != 0)
            std::abort();
    }

    std::string name_;
    std::optional<std::string> before_;
};

} // namespace test_support

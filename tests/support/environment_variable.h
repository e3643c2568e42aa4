#pragma once

#include <optional>
#include <string>

namespace test_support {

// Sets a variable of the process's environment for the object's life, or removes it when there is no value,
// and then puts back what was there. The environment is not made for threads: no other thread may run
// meanwhile.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string name, std::optional<std::string> const& value);
    ~EnvironmentVariable();
    EnvironmentVariable(EnvironmentVariable const&) = delete;
    EnvironmentVariable& operator=(EnvironmentVariable const&) = delete;

private:
    std::string name_;
    std::optional<std::string> before_;
};

} // namespace test_support

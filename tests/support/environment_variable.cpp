#include "support/environment_variable.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace test_support {

namespace {

int put(std::string const& name, std::optional<std::string> const& value) {
    return value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
}

} // namespace

EnvironmentVariable::EnvironmentVariable(std::string name, std::optional<std::string> const& value)
    : name_(std::move(name)) {
    if (char const* const before = std::getenv(name_.c_str()))
        before_ = before;
    if (put(name_, value) != 0)
        throw std::system_error(errno, std::generic_category(), "environment variable " + name_);
}

EnvironmentVariable::~EnvironmentVariable() {
    if (put(name_, before_) != 0)
        std::abort();
}

} // namespace test_support

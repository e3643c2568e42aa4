#include "output.h"

#include "run_failure.h"
#include "terminal_text.h"

#include <cerrno>
#include <string_view>
#include <unistd.h>

namespace wincryptctl {
namespace {

constexpr char name[] = "standard output";

} // namespace

void Output::line(std::string const& line) { buffer_ += printable(line) + '\n'; }

void Output::json(Json const& value) {
    buffer_ += value.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

void Output::flush() {
    for (std::string_view rest = buffer_; !rest.empty();) {
        ssize_t const count = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (count >= 0)
            rest.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR)
            throw systemFailure(name, errno);
    }
    buffer_.clear();
}

void Output::finish() {
    flush();
    if (::close(STDOUT_FILENO) != 0)
        throw systemFailure(name, errno);
}

} // namespace wincryptctl

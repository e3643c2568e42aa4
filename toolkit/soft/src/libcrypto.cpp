#include "libcrypto.h"

#include <tvksoft/tvksoftalgorithmfactory.h>

#include <tvkcore/base/tvkexception.h>

#include <openssl/err.h>

#include <string>

namespace tvksoft {

ErrorMark::ErrorMark() noexcept : hostsErrors_(ERR_peek_error() != 0) { ERR_set_mark(); }

ErrorMark::~ErrorMark() { ERR_pop_to_mark(); }

void ErrorMark::fail(char const* file, int line, char const* what) const {
    // The first error is the cause, those after it tell only what it led to. Behind errors of the host it
    // can't be reached without taking those off the queue.
    unsigned long const code = hostsErrors_ ? ERR_peek_last_error() : ERR_peek_error();
    char const* const reason = ERR_reason_error_string(code);
    throw TVKException(file, line, TVKSOFT_LIBRARY_FAILURE,
                       (std::string(what) + ": " + (reason == nullptr ? "no reason given" : reason)).c_str());
}

} // namespace tvksoft

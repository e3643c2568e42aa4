#include <tvkcore/base/tvkexception.h>

#include <cstdio>

TVKException::TVKException(TVKString const& file, int line, int code, TVKString const& message)
    : file_(file), line_(line), code_(code), message_(message), rendering_(message.view()) {
    if (rendering_.empty()) {
        rendering_ = "failure " + std::to_string(code);
    }
}

TVKException::TVKException(TVKException const& other) = default;
TVKException& TVKException::operator=(TVKException const& other) = default;
TVKException::~TVKException() = default;

TVKString const& TVKException::getFile() const { return file_; }

int TVKException::getLine() const { return line_; }

int TVKException::getCode() const { return code_; }

TVKString const& TVKException::getMessage() const { return message_; }

char const* TVKException::what() const noexcept { return rendering_.c_str(); }

void TVKException::setRendering(std::string const& rendering) { rendering_ = rendering; }

TVKCAPIException::TVKCAPIException(TVKString const& file, int line, int code, TVKString const& message)
    : TVKException(file, line, code, message) {}

TVKCAPIException::TVKCAPIException(TVKString const& file, int line, int code, TVKString const& message,
                                   int systemCode)
    : TVKException(file, line, code, message), hasSystemCode_(true), systemCode_(systemCode) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%x", static_cast<unsigned int>(systemCode));
    setRendering(std::string(message.view()) + digits);
}

TVKCAPIException::TVKCAPIException(TVKCAPIException const& other) = default;
TVKCAPIException& TVKCAPIException::operator=(TVKCAPIException const& other) = default;
TVKCAPIException::~TVKCAPIException() = default;

bool TVKCAPIException::hasSystemCode() const { return hasSystemCode_; }

int TVKCAPIException::getSystemCode() const { return systemCode_; }

TVKASNException::TVKASNException(TVKString const& file, int line, int code, TVKString const& message)
    : TVKException(file, line, code, message) {}

TVKASNException::TVKASNException(TVKASNException const& other) = default;
TVKASNException& TVKASNException::operator=(TVKASNException const& other) = default;
TVKASNException::~TVKASNException() = default;

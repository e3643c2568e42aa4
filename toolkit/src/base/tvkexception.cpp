#include <tvkcore/base/tvkexception.h>

#include <cstdio>

TVKException::TVKException(TVKString const& file, int line, int code, TVKString const& message)
    : m_file(file), m_line(line), m_code(code), m_message(message), m_rendering(message.view()) {
    if (m_rendering.empty()) {
        m_rendering = "failure " + std::to_string(code);
    }
}

TVKException::TVKException(TVKException const& other) = default;
TVKException& TVKException::operator=(TVKException const& other) = default;
TVKException::~TVKException() = default;

TVKString const& TVKException::getFile() const { return m_file; }

int TVKException::getLine() const { return m_line; }

int TVKException::getCode() const { return m_code; }

TVKString const& TVKException::getMessage() const { return m_message; }

char const* TVKException::what() const noexcept { return m_rendering.c_str(); }

void TVKException::setRendering(std::string const& rendering) { m_rendering = rendering; }

TVKCAPIException::TVKCAPIException(TVKString const& file, int line, int code, TVKString const& message)
    : TVKException(file, line, code, message) {}

TVKCAPIException::TVKCAPIException(TVKString const& file, int line, int code, TVKString const& message,
                                   int systemCode)
    : TVKException(file, line, code, message), m_hasSystemCode(true), m_systemCode(systemCode) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%x", static_cast<unsigned int>(systemCode));
    setRendering(std::string(message.view()) + digits);
}

TVKCAPIException::TVKCAPIException(TVKCAPIException const& other) = default;
TVKCAPIException& TVKCAPIException::operator=(TVKCAPIException const& other) = default;
TVKCAPIException::~TVKCAPIException() = default;

bool TVKCAPIException::hasSystemCode() const { return m_hasSystemCode; }

int TVKCAPIException::getSystemCode() const { return m_systemCode; }

TVKASNException::TVKASNException(TVKString const& file, int line, int code, TVKString const& message)
    : TVKException(file, line, code, message) {}

TVKASNException::TVKASNException(TVKASNException const& other) = default;
TVKASNException& TVKASNException::operator=(TVKASNException const& other) = default;
TVKASNException::~TVKASNException() = default;

#pragma once

#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkstring.h>

#include <exception>
#include <string>

// Codes of the failures that the toolkit itself raises as a TVKException.
enum TVKCoreError : int {
    TVKCORE_LIBRARY_NOT_LOADED = 571101,
    TVKCORE_LIBRARY_NOT_KNOWN = 571102,
    TVKCORE_NO_RANDOM_DATA = 571201,
    TVKCORE_WRONG_ATTRIBUTE_TYPE = 571301,
    TVKCORE_UNKNOWN_STRING_FORM = 571302,
    TVKCORE_TEXT_NOT_CONVERTIBLE = 571303,
    TVKCORE_NOT_AVAILABLE = 571401
};

// A failure: where it was raised, its code, and a text. Copies what it is given. Thrown by value.
class TVK_API TVKException : public std::exception {
public:
    TVKException(TVKString const& file, int line, int code, TVKString const& message);
    TVKException(TVKException const& other);
    TVKException& operator=(TVKException const& other);
    ~TVKException() override;

    TVKString const& getFile() const;
    int getLine() const;
    int getCode() const;
    TVKString const& getMessage() const;

    // The message, with the system code in hexadecimal behind it where there is one.
    char const* what() const noexcept override;

protected:
    void setRendering(std::string const& rendering);

private:
    TVKString file_;
    int line_;
    int code_;
    TVKString message_;
    std::string rendering_;
};

// A failure of the module. In the form with five arguments the platform's last-error value stands beside the
// message.
class TVK_API TVKCAPIException : public TVKException {
public:
    TVKCAPIException(TVKString const& file, int line, int code, TVKString const& message);
    TVKCAPIException(TVKString const& file, int line, int code, TVKString const& message, int systemCode);
    TVKCAPIException(TVKCAPIException const& other);
    TVKCAPIException& operator=(TVKCAPIException const& other);
    ~TVKCAPIException() override;

    bool hasSystemCode() const;

    // The platform's last-error value, 0 where there is none.
    int getSystemCode() const;

private:
    bool hasSystemCode_ = false;
    int systemCode_ = 0;
};

// An ASN.1 call gave a non-zero status, which is the code (see TVKASNStatus).
class TVK_API TVKASNException : public TVKException {
public:
    TVKASNException(TVKString const& file, int line, int code, TVKString const& message);
    TVKASNException(TVKASNException const& other);
    TVKASNException& operator=(TVKASNException const& other);
    ~TVKASNException() override;
};

#pragma once

#include <tvkcore/base/tvkexport.h>

#include <string>
#include <string_view>

// A byte string with value semantics. It may hold zero bytes; nothing is assumed of its encoding.
class TVK_API TVKString {
public:
    // Stands for the whole rest of the string in the range constructor.
    static unsigned int const npos;

    TVKString() = default;

    // Copies up to the terminating zero byte. A null pointer gives the empty string.
    TVKString(char const* text);

    // Copies exactly `count` bytes, zero bytes included.
    TVKString(char const* text, unsigned int count);

    // Copies `count` bytes of `other` from `position`, or as many as there are; empty when `position` lies
    // behind the end.
    TVKString(TVKString const& other, unsigned int position, unsigned int count);

    TVKString(TVKString const& other) = default;
    TVKString(TVKString&& other) noexcept = default;
    TVKString& operator=(TVKString const& other) = default;
    TVKString& operator=(TVKString&& other) noexcept = default;
    ~TVKString() = default;

    // Appends up to the terminating zero byte; null appends nothing.
    TVKString& operator+=(char const* text);

    // Zero-terminated content, valid until the string changes.
    char const* c_str() const;

    // Number of bytes.
    unsigned int length() const;
    unsigned int size() const;

    // 0 when equal, else negative or positive by the order of the bytes taken as unsigned.
    int compare(TVKString const& other) const;
    int compare(char const* text) const;

    // The content as a view, valid until the string changes.
    std::string_view view() const;

    friend bool operator==(TVKString const&, TVKString const&) = default;

private:
    std::string text_;
};

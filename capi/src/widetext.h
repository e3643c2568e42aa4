#pragma once

#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkstring.h>

#include <memory>
#include <new>
#include <optional>

// Between the toolkit's narrow text, which is UTF-8, and the platform's wide text. The process's locale has
// no part in it where the system lets a thread have its own.

// Widens `text` into `wide`, which has room for length() + 1 characters; those behind the text become zero.
// False when the text holds a zero byte or isn't UTF-8; `wide` is then all zero.
bool widen(TVKString const& text, wchar_t* wide);

// Throws TVKException TVKCORE_TEXT_NOT_CONVERTIBLE.
[[noreturn]] void raiseNotConvertible();

// Throws the same for a text that can't be widened.
void requireConvertible(TVKString const& text);

// A wide copy of a text, from CapiManagerUtility::convertWildChar.
struct WideDeleter {
    void operator()(wchar_t* text) const { ::operator delete(text); }
};
using WideText = std::unique_ptr<wchar_t, WideDeleter>;

// The process-wide copy of the wide text, valid for the life of the process. Throws TVKException
// TVKCORE_TEXT_NOT_CONVERTIBLE.
wchar_t* widenForGood(TVKString const& text);

// Narrows a zero-terminated wide text; empty when a character has no narrow form.
std::optional<TVKString> narrow(wchar_t const* wide);

// Narrows the wide text in a property's bytes, up to its terminator or the last whole character; empty when a
// character has no narrow form.
std::optional<TVKString> narrowPropertyExactly(TVKBuffer const& property);

// The same with U+FFFD for each character that has no narrow form.
TVKString narrowProperty(TVKBuffer const& property);

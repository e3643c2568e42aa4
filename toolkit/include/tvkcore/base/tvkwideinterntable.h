#pragma once

#include <tvkcore/base/tvkexport.h>

// The process-wide table of wide strings to which key references point. Equal text gives the same pointer,
// which is never freed: a reference stays valid for the life of the process, whatever is unloaded, and memory
// grows with the number of distinct names. Usable from any thread.
class TVK_API TVKWideInternTable {
public:
    // The table's own copy of a zero-terminated text. Throws std::bad_alloc.
    static wchar_t* intern(wchar_t const* text);

    // Whether this pointer is one that `intern` gave. The pointer isn't followed.
    static bool holds(wchar_t const* pointer);
};

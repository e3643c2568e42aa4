#pragma once

#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkstring.h>

#include <cstddef>

// Overwrites `count` bytes so that the compiler can't leave it out.
TVK_API void tvk_secure_wipe(void* bytes, std::size_t count) noexcept;

// A view of bytes that it doesn't own. A copy shows the same bytes.
class TVK_API TVKASNCBuffer {
public:
    TVKASNCBuffer() = default;
    TVKASNCBuffer(unsigned char const* bytes, unsigned long count)
        : data(const_cast<unsigned char*>(bytes)), length(count) {}
    TVKASNCBuffer(TVKASNCBuffer const&) = default;
    TVKASNCBuffer& operator=(TVKASNCBuffer const&) = default;
    virtual ~TVKASNCBuffer() = default;

    unsigned char* data = nullptr;
    unsigned long length = 0;
};

// An owned, growable block of bytes with value semantics. The bytes are wiped before their memory is given
// back, so a buffer may hold key material.
class TVK_API TVKBuffer {
public:
    TVKBuffer() = default;

    // Copies `length` bytes; with a null `value` the bytes are zero.
    TVKBuffer(unsigned int length, unsigned char const* value);

    TVKBuffer(TVKBuffer const& other);
    TVKBuffer(TVKBuffer&& other) noexcept;
    TVKBuffer& operator=(TVKBuffer const& other);
    TVKBuffer& operator=(TVKBuffer&& other) noexcept;
    ~TVKBuffer();

    // Copies the bytes that the view shows.
    TVKBuffer(TVKASNCBuffer const& view);

    // Copies the string's bytes, without a terminating zero byte.
    TVKBuffer(TVKString const& text);

    // Replaces the content by a copy of `length` bytes, which may be bytes of this buffer. Unchanged on
    // std::bad_alloc.
    void assign(unsigned int length, unsigned char const* value);

    // Adds `length` bytes at the end, which may be bytes of this buffer. Unchanged on std::bad_alloc.
    void append(unsigned int length, unsigned char const* value);

    // Number of bytes.
    unsigned long getLength() const;

    // The buffer's own storage, valid until the buffer changes; null when nothing was ever stored. The
    // storage is writable: a caller may make a buffer at a wanted length and have it filled in place.
    unsigned char const* getValue() const;

    // A view of the content, valid until the buffer changes.
    TVKASNCBuffer const& get() const;

    // 0 when the contents are equal, else negative or positive by the order of the bytes.
    int compare(TVKBuffer const& other) const;

private:
    void reserve(unsigned long capacity);
    void release() noexcept;

    TVKASNCBuffer view_;
    unsigned long capacity_ = 0;
};

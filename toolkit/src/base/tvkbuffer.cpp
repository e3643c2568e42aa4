#include <tvkcore/base/tvkbuffer.h>

#include <algorithm>
#include <cstring>
#include <utility>

void tvk_secure_wipe(void* bytes, std::size_t count) noexcept {
    if (count == 0) {
        return;
    }
    std::memset(bytes, 0, count);
    // The bytes count as read here, so the stores before can't be dropped.
    __asm__ __volatile__("" : : "r"(bytes) : "memory");
}

TVKBuffer::TVKBuffer(unsigned int length, unsigned char const* value) {
    if (value != nullptr) {
        assign(length, value);
    } else if (length != 0) {
        reserve(length);
        std::memset(view_.data, 0, length);
        view_.length = length;
    }
}

TVKBuffer::TVKBuffer(TVKBuffer const& other) : TVKBuffer(other.view_) {}

TVKBuffer::TVKBuffer(TVKBuffer&& other) noexcept
    : view_(std::exchange(other.view_, TVKASNCBuffer())), capacity_(std::exchange(other.capacity_, 0)) {}

TVKBuffer& TVKBuffer::operator=(TVKBuffer const& other) {
    if (this != &other) {
        assign(static_cast<unsigned int>(other.view_.length), other.view_.data);
    }
    return *this;
}

TVKBuffer& TVKBuffer::operator=(TVKBuffer&& other) noexcept {
    if (this != &other) {
        release();
        view_ = std::exchange(other.view_, TVKASNCBuffer());
        capacity_ = std::exchange(other.capacity_, 0);
    }
    return *this;
}

TVKBuffer::~TVKBuffer() { release(); }

TVKBuffer::TVKBuffer(TVKASNCBuffer const& view) { assign(static_cast<unsigned int>(view.length), view.data); }

TVKBuffer::TVKBuffer(TVKString const& text) {
    append(text.length(), reinterpret_cast<unsigned char const*>(text.c_str()));
}

void TVKBuffer::assign(unsigned int length, unsigned char const* value) {
    if (length > capacity_) {
        TVKBuffer fresh;
        fresh.reserve(length);
        std::memcpy(fresh.view_.data, value, length);
        fresh.view_.length = length;
        *this = std::move(fresh);
        return;
    }
    if (length != 0) {
        std::memmove(view_.data, value, length);
    }
    if (length < view_.length) {
        tvk_secure_wipe(view_.data + length, view_.length - length);
    }
    view_.length = length;
}

void TVKBuffer::append(unsigned int length, unsigned char const* value) {
    if (length == 0) {
        return;
    }
    unsigned long const needed = view_.length + length;
    if (needed > capacity_) {
        TVKBuffer fresh;
        fresh.reserve(capacity_ == 0 ? needed : std::max(needed, capacity_ * 2));
        if (view_.length != 0) {
            std::memcpy(fresh.view_.data, view_.data, view_.length);
        }
        std::memcpy(fresh.view_.data + view_.length, value, length);
        fresh.view_.length = needed;
        *this = std::move(fresh);
        return;
    }
    std::memcpy(view_.data + view_.length, value, length);
    view_.length = needed;
}

unsigned long TVKBuffer::getLength() const { return view_.length; }

unsigned char const* TVKBuffer::getValue() const { return view_.data; }

TVKASNCBuffer const& TVKBuffer::get() const { return view_; }

int TVKBuffer::compare(TVKBuffer const& other) const {
    unsigned long const common = std::min(view_.length, other.view_.length);
    int const order = common == 0 ? 0 : std::memcmp(view_.data, other.view_.data, common);
    if (order != 0 || view_.length == other.view_.length) {
        return order;
    }
    return view_.length < other.view_.length ? -1 : 1;
}

void TVKBuffer::reserve(unsigned long capacity) {
    view_.data = new unsigned char[capacity];
    capacity_ = capacity;
}

void TVKBuffer::release() noexcept {
    tvk_secure_wipe(view_.data, view_.length);
    delete[] view_.data;
    view_ = TVKASNCBuffer();
    capacity_ = 0;
}

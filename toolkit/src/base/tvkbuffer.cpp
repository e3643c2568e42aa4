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
        std::memset(m_view.data, 0, length);
        m_view.length = length;
    }
}

TVKBuffer::TVKBuffer(TVKBuffer const& other) : TVKBuffer(other.m_view) {}

TVKBuffer::TVKBuffer(TVKBuffer&& other) noexcept
    : m_view(std::exchange(other.m_view, TVKASNCBuffer())), m_capacity(std::exchange(other.m_capacity, 0)) {}

TVKBuffer& TVKBuffer::operator=(TVKBuffer const& other) {
    if (this != &other) {
        assign(static_cast<unsigned int>(other.m_view.length), other.m_view.data);
    }
    return *this;
}

TVKBuffer& TVKBuffer::operator=(TVKBuffer&& other) noexcept {
    if (this != &other) {
        release();
        m_view = std::exchange(other.m_view, TVKASNCBuffer());
        m_capacity = std::exchange(other.m_capacity, 0);
    }
    return *this;
}

TVKBuffer::~TVKBuffer() { release(); }

TVKBuffer::TVKBuffer(TVKASNCBuffer const& view) { assign(static_cast<unsigned int>(view.length), view.data); }

TVKBuffer::TVKBuffer(TVKString const& text) {
    append(text.length(), reinterpret_cast<unsigned char const*>(text.c_str()));
}

void TVKBuffer::assign(unsigned int length, unsigned char const* value) {
    if (length > m_capacity) {
        TVKBuffer fresh;
        fresh.reserve(length);
        std::memcpy(fresh.m_view.data, value, length);
        fresh.m_view.length = length;
        *this = std::move(fresh);
        return;
    }
    if (length != 0) {
        std::memmove(m_view.data, value, length);
    }
    if (length < m_view.length) {
        tvk_secure_wipe(m_view.data + length, m_view.length - length);
    }
    m_view.length = length;
}

void TVKBuffer::append(unsigned int length, unsigned char const* value) {
    if (length == 0) {
        return;
    }
    unsigned long const needed = m_view.length + length;
    if (needed > m_capacity) {
        TVKBuffer fresh;
        fresh.reserve(m_capacity == 0 ? needed : std::max(needed, m_capacity * 2));
        if (m_view.length != 0) {
            std::memcpy(fresh.m_view.data, m_view.data, m_view.length);
        }
        std::memcpy(fresh.m_view.data + m_view.length, value, length);
        fresh.m_view.length = needed;
        *this = std::move(fresh);
        return;
    }
    std::memcpy(m_view.data + m_view.length, value, length);
    m_view.length = needed;
}

unsigned long TVKBuffer::getLength() const { return m_view.length; }

unsigned char const* TVKBuffer::getValue() const { return m_view.data; }

TVKASNCBuffer const& TVKBuffer::get() const { return m_view; }

int TVKBuffer::compare(TVKBuffer const& other) const {
    unsigned long const common = std::min(m_view.length, other.m_view.length);
    int const order = common == 0 ? 0 : std::memcmp(m_view.data, other.m_view.data, common);
    if (order != 0 || m_view.length == other.m_view.length) {
        return order;
    }
    return m_view.length < other.m_view.length ? -1 : 1;
}

void TVKBuffer::reserve(unsigned long capacity) {
    m_view.data = new unsigned char[capacity];
    m_capacity = capacity;
}

void TVKBuffer::release() noexcept {
    tvk_secure_wipe(m_view.data, m_view.length);
    delete[] m_view.data;
    m_view = TVKASNCBuffer();
    m_capacity = 0;
}

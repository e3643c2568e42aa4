#include <tvkcore/asn/tvkasnobject.h>

#include <algorithm>
#include <cstring>

// The security type is taken for the symmetry of all value classes: every encoding buffer is wiped.
TVKASNBuffer::TVKASNBuffer(TVKASNSecurityType /*security*/) {}

TVKASNBuffer::~TVKASNBuffer() {
    tvk_secure_wipe(m_storage, m_capacity);
    delete[] m_storage;
}

void TVKASNBuffer::append(unsigned char const* bytes, unsigned long count) {
    if (count == 0) {
        return;
    }
    // What was read already lies in front of `data`.
    unsigned long const consumed = m_storage == nullptr ? 0 : static_cast<unsigned long>(data - m_storage);
    if (consumed + length + count > m_capacity) {
        unsigned long const capacity = std::max<unsigned long>({64, (length + count), 2 * length});
        auto* fresh = new unsigned char[capacity];
        if (length != 0) {
            std::memcpy(fresh, data, length);
        }
        std::memcpy(fresh + length, bytes, count);
        tvk_secure_wipe(m_storage, m_capacity);
        delete[] m_storage;
        m_storage = fresh;
        m_capacity = capacity;
        data = fresh;
    } else {
        std::memmove(data + length, bytes, count);
    }
    length += count;
}

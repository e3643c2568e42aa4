#include <tvkcore/asn/tvkasnobject.h>

#include <algorithm>
#include <cstring>

// The security type is taken for the symmetry of all value classes: every encoding buffer is wiped.
TVKASNBuffer::TVKASNBuffer(TVKASNSecurityType /*security*/) {}

TVKASNBuffer::~TVKASNBuffer() {
    tvk_secure_wipe(storage_, capacity_);
    delete[] storage_;
}

void TVKASNBuffer::append(unsigned char const* bytes, unsigned long count) {
    if (count == 0) {
        return;
    }
    // What was read already lies in front of `data`.
    unsigned long const consumed = storage_ == nullptr ? 0 : static_cast<unsigned long>(data - storage_);
    if (consumed + length + count > capacity_) {
        unsigned long const capacity = std::max<unsigned long>({64, (length + count), 2 * length});
        auto* fresh = new unsigned char[capacity];
        if (length != 0) {
            std::memcpy(fresh, data, length);
        }
        std::memcpy(fresh + length, bytes, count);
        tvk_secure_wipe(storage_, capacity_);
        delete[] storage_;
        storage_ = fresh;
        capacity_ = capacity;
        data = fresh;
    } else {
        std::memmove(data + length, bytes, count);
    }
    length += count;
}

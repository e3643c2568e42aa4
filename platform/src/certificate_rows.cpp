#include "certificate_rows.h"

#include "boundary.h"

#include <algorithm>

namespace wincrypt {

std::optional<Bytes> optionalBytes(Statement const& row, int column) {
    if (row.isNull(column))
        return std::nullopt;
    ByteView const value = row.bytes(column);
    return Bytes(value.begin(), value.end());
}

CertificateRows::CertificateRows(std::int64_t position, Statement& query, std::size_t most,
                                 Stamp const& stamp)
    : position_(position), stamp_(stamp) {
    constexpr std::size_t enough = 512 * 1024;
    std::size_t octets = 0;
    auto const sizeOf = [](std::optional<Bytes> const& value) { return value ? value->size() : 0; };
    rows_.reserve(most);
    encodings_.reserve(most);
    while (rows_.size() < most && octets < enough) {
        DWORD const error = outcome([&] { isEnd_ = !query.step(); });
        // What is damaged further on doesn't hide those before it.
        if (error != ERROR_SUCCESS && rows_.empty())
            fail(error);
        if (error != ERROR_SUCCESS || isEnd_)
            return;
        auto reading = std::make_shared<PropertyReading>();
        reading->stamp = stamp;
        reading->properties = {optionalBytes(query, 1), optionalBytes(query, 2)};
        ByteView const encoding = query.bytes(3);
        Bytes const& kept = encodings_.emplace_back(encoding.begin(), encoding.end());
        octets +=
            kept.size() + sizeOf(reading->properties.keyInfo) + sizeOf(reading->properties.friendlyName);
        rows_.push_back({query.integer(0), std::move(reading), kept});
    }
}

bool CertificateRows::tell(std::int64_t position, Stamp const& now) const noexcept {
    return stamp_.sameAs(now) && position >= position_ &&
           (isEnd_ || (!rows_.empty() && position < rows_.back().number));
}

std::size_t CertificateRows::countToFollow(std::int64_t position) const noexcept {
    constexpr std::size_t most = 256;
    bool const isContinued = !rows_.empty() && rows_.back().number == position;
    return isContinued ? std::clamp(8 * rows_.size(), fewest, most) : fewest;
}

CertificateRows::Row const* CertificateRows::behind(std::int64_t position) const noexcept {
    auto const found =
        std::upper_bound(rows_.begin(), rows_.end(), position,
                         [](std::int64_t known, Row const& row) { return known < row.number; });
    return found != rows_.end() ? &*found : nullptr;
}

} // namespace wincrypt

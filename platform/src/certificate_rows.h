#pragma once

#include "certificate_context.h"

#include <vector>

namespace wincrypt {

// Certificates that follow each other in a store, read in one go.
class CertificateRows {
public:
    struct Row {
        std::int64_t number;
        std::shared_ptr<PropertyReading const> reading;
        ByteView encoding;
    };

    // At most `most` rows of the query, fewer where they are long. Its columns are the row's number, the key
    // information, the friendly name and the encoding, its rows those behind `position` in their order.
    // `stamp` was taken before.
    CertificateRows(std::int64_t position, Statement& query, std::size_t most, Stamp const& stamp);

    // Whether they tell what stands behind the position, at a time with that stamp.
    bool tell(std::int64_t position, Stamp const& now) const noexcept;

    // How many a walk is to read behind the position: more each time that it goes on.
    static constexpr std::size_t fewest = 8;
    std::size_t countToFollow(std::int64_t position) const noexcept;

    // The first one behind the position; null at the end of the store.
    Row const* behind(std::int64_t position) const noexcept;

private:
    std::int64_t const position_;
    Stamp const stamp_;
    std::vector<Row> rows_;
    std::vector<Bytes> encodings_;
    bool isEnd_ = false; // the last one is the store's last
};

std::optional<Bytes> optionalBytes(Statement const& row, int column);

} // namespace wincrypt

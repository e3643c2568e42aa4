#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

using Bytes = std::vector<std::uint8_t>;

// The machine's own root certificates, one after the other and again from the first, each with its number
// written into its serial number: real sizes and names, and any number of different certificates without
// a signature to make. Their signatures don't verify, which no store looks at.
class CertificateSeries {
public:
    // Reads the trust bundle. Throws std::runtime_error when it can't be read.
    CertificateSeries();

    Bytes certificate(std::uint32_t number) const;

    // One whose subject, key and signature no certificate of the series has.
    Bytes const& landmark() const { return landmark_; }

    // The certificates of the bundle as they stand there.
    std::vector<Bytes> const& roots() const { return roots_; }

private:
    struct Template {
        Bytes encoding;
        std::size_t number; // where the serial number's last four octets stand
    };

    std::vector<Bytes> roots_;
    std::vector<Template> templates_;
    Bytes landmark_;
};

} // namespace bench

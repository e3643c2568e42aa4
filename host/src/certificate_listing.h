#pragma once

#include "certificate_json.h"
#include "table.h"

namespace tvkstore {

// Certificates one a line, or as one JSON value.
class CertificateListing {
public:
    explicit CertificateListing(bool asJson);
    void add(CertificateView const& view);
    void write(ByteSink& out) const;

private:
    bool asJson_;
    bool empty_ = true;
    Table table_;
    nlohmann::ordered_json json_;
};

} // namespace tvkstore

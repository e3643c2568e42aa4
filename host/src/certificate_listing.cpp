#include "certificate_listing.h"

namespace tvkstore {

CertificateListing::CertificateListing(bool asJson)
    : asJson_(asJson), table_({"KEY", "NOT AFTER", "SERIAL", "NAME", "ISSUER"}),
      json_(nlohmann::ordered_json::array()) {}

void CertificateListing::add(CertificateView const& view) {
    empty_ = false;
    if (asJson_) {
        json_.push_back(toJson(view));
    } else {
        table_.add(
            {view.hasKey ? "yes" : "no", view.notAfter.substr(0, 10), view.serial, view.name, view.issuer});
    }
}

void CertificateListing::write(ByteSink& out) const {
    if (asJson_) {
        writeJson(out, json_);
    } else if (empty_) {
        out.write("no certificates\n");
    } else {
        table_.write(out);
    }
}

} // namespace tvkstore

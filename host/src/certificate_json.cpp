#include "certificate_json.h"

namespace tvkstore {

namespace {

using Json = nlohmann::ordered_json;

Json timeOrNull(std::string const& time) { return time.empty() ? Json(nullptr) : Json(time); }

} // namespace

Json toJson(CertificateView const& view) {
    return {{"label", view.label},
            {"name", view.name},
            {"subject", view.subject},
            {"issuer", view.issuer},
            {"serial", view.serial},
            {"notBefore", timeOrNull(view.notBefore)},
            {"notAfter", timeOrNull(view.notAfter)},
            {"sha1", view.sha1},
            {"hasKey", view.hasKey}};
}

void writeJson(ByteSink& out, Json const& value) {
    out.write(value.dump(2, ' ', false, Json::error_handler_t::replace) + '\n');
}

} // namespace tvkstore

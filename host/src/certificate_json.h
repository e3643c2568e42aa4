#pragma once

#include "certificate_view.h"
#include "output.h"

#include <nlohmann/json.hpp>

namespace tvkstore {

nlohmann::ordered_json toJson(CertificateView const& view);

// Writes one JSON value and a line end. Bytes that aren't UTF-8, which JSON can't hold, become U+FFFD.
void writeJson(ByteSink& out, nlohmann::ordered_json const& value);

} // namespace tvkstore

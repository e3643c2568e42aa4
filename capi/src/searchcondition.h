#pragma once

#include "cspmanagerutility.h"

#include <optional>

// What a search asks of each certificate that it looks at. Made for one search; the attribute outlives it.
class SearchCondition {
public:
    SearchCondition(CertSearchKind kind, TVKASNObject const& attribute)
        : kind_(kind), attribute_(attribute) {}

    // By the certificate's item, and as it was decoded for that.
    bool takes(PCCERT_CONTEXT cert, TVKCertItem const& item, TVKASNx509Certificate const& certificate);

private:
    bool takesLabel(PCCERT_CONTEXT cert, TVKCertItem const& item);
    bool mayBeWanted(TVKString const& text) const;

    CertSearchKind const kind_;
    TVKASNObject const& attribute_;
    std::optional<TVKBuffer> wantedLabel_; // in normal form, from the first certificate on
};

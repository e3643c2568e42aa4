#include "searchcondition.h"

#include "capimanagerutility.h"
#include "widetext.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <string_view>

bool SearchCondition::takes(PCCERT_CONTEXT cert, TVKCertItem const& item,
                            TVKASNx509Certificate const& certificate) {
    switch (kind_) {
    case searchAny:
        return true;
    case searchLabel:
        return takesLabel(cert, item);
    case searchSignature:
        return CspManagerUtility::compareSignature(certificate, attribute_);
    case searchIssuerAndSerialNumber:
        return CspManagerUtility::compareIssuerAndSerialNumber(certificate, attribute_);
    case searchUnsignedCertificate:
        return CspManagerUtility::compareUnsignedCertificate(certificate, attribute_);
    case searchSubjectName:
        return CspManagerUtility::compareSubjectName(certificate, attribute_);
    case searchSubjectPublicKeyInfo:
        return CspManagerUtility::compareSubjectPublicKeyInfo(certificate, attribute_);
    case searchNothing:
        break;
    }
    return false;
}

// The whole label first, then the bare friendly name. A name that has no narrow form matches nothing.
bool SearchCondition::takesLabel(PCCERT_CONTEXT cert, TVKCertItem const& item) {
    if (!wantedLabel_) {
        wantedLabel_ = CspManagerUtility::convertLabel(TVKASNUtility::getDEREncoding(attribute_));
    }
    TVKASNUTF8String label(TVKASNNotSecure);
    item.getLabel(label);
    // An encoding is its own normal form.
    if (TVKASNUtility::getDEREncoding(label).compare(*wantedLabel_) == 0) {
        return true;
    }
    TVKBuffer name;
    if (!CapiManagerUtility::getCertFriendlyName(cert, name)) {
        return false;
    }
    std::optional<TVKString> const text = narrowPropertyExactly(name);
    return text && mayBeWanted(*text) && CspManagerUtility::compareLabel(TVKBuffer(*text), *wantedLabel_);
}

// A label's normal form ends as the label does.
bool SearchCondition::mayBeWanted(TVKString const& text) const {
    std::string_view const wanted(reinterpret_cast<char const*>(wantedLabel_->getValue()),
                                  wantedLabel_->getLength());
    return wanted.ends_with(text.view());
}

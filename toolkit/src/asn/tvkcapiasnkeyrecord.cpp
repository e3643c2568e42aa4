#include <tvkcore/asn/tvkcapiasnkeyrecord.h>

#include <tvkcore/asn/tvkasnprimitive.h>
#include <tvkcore/asn/tvkasnutility.h>
#include <tvkcore/base/tvkexception.h>

#include <limits>

namespace {

// The record's fields as an ASN.1 value.
class KeyRecordSequence : public TVKASNSequence {
public:
    KeyRecordSequence()
        : TVKASNSequence(TVKASNNotSecure), providerName(TVKASNNotSecure), objectId(TVKASNNotSecure),
          keySize(TVKASNNotSecure), subject(TVKASNNotSecure) {
        register_child(&providerName);
        register_child(&objectId);
        register_child(&keySize);
        register_child(&subject);
    }

    TVKASNOctetString providerName;
    TVKASNOctetString objectId;
    TVKASNInteger keySize;
    TVKASNOctetString subject;
};

TVKASNCBuffer viewOf(TVKASNOctetString const& value) {
    TVKASNCBuffer view;
    value.get_value(view.data, view.length);
    return view;
}

} // namespace

TVKCAPIASNKeyRecord::TVKCAPIASNKeyRecord(TVKString const& providerName, TVKBuffer const& objectId,
                                         unsigned int keySize, TVKBuffer const& subject)
    : providerName_(providerName), objectId_(objectId), keySize_(keySize), subject_(subject) {}

TVKCAPIASNKeyRecord::TVKCAPIASNKeyRecord(TVKBuffer const& encoded) {
    KeyRecordSequence record;
    TVKASNUtility::setDEREncoding(encoded.get(), record);
    long keySize = -1;
    int status = record.keySize.get_value(keySize);
    if (status == TVKASN_OK &&
        (keySize < 0 || static_cast<unsigned long>(keySize) > std::numeric_limits<unsigned int>::max())) {
        status = TVKASN_OUT_OF_RANGE;
    }
    if (status != TVKASN_OK) {
        throw TVKASNException("./toolkit/src/asn/tvkcapiasnkeyrecord", __LINE__, status,
                              tvkasnStatusText(status));
    }
    TVKASNCBuffer const name = viewOf(record.providerName);
    providerName_ =
        TVKString(reinterpret_cast<char const*>(name.data), static_cast<unsigned int>(name.length));
    objectId_ = TVKBuffer(viewOf(record.objectId));
    keySize_ = static_cast<unsigned int>(keySize);
    subject_ = TVKBuffer(viewOf(record.subject));
}

TVKCAPIASNKeyRecord::~TVKCAPIASNKeyRecord() = default;

TVKBuffer TVKCAPIASNKeyRecord::getBuffer() const {
    KeyRecordSequence record;
    record.providerName.set_value(reinterpret_cast<unsigned char const*>(providerName_.c_str()),
                                  providerName_.size());
    record.objectId.set_value(objectId_.getValue(), objectId_.getLength());
    record.keySize.set_value(static_cast<long>(keySize_));
    record.subject.set_value(subject_.getValue(), subject_.getLength());
    return TVKASNUtility::getDEREncoding(record);
}

TVKString TVKCAPIASNKeyRecord::getProviderName() const { return providerName_; }

TVKBuffer TVKCAPIASNKeyRecord::getObjectId() const { return objectId_; }

unsigned int TVKCAPIASNKeyRecord::getKeySize() const { return keySize_; }

TVKBuffer TVKCAPIASNKeyRecord::getSubject() const { return subject_; }

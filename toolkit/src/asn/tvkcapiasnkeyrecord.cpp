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
    : m_providerName(providerName), m_objectId(objectId), m_keySize(keySize), m_subject(subject) {}

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
    m_providerName =
        TVKString(reinterpret_cast<char const*>(name.data), static_cast<unsigned int>(name.length));
    m_objectId = TVKBuffer(viewOf(record.objectId));
    m_keySize = static_cast<unsigned int>(keySize);
    m_subject = TVKBuffer(viewOf(record.subject));
}

TVKCAPIASNKeyRecord::~TVKCAPIASNKeyRecord() = default;

TVKBuffer TVKCAPIASNKeyRecord::getBuffer() const {
    KeyRecordSequence record;
    record.providerName.set_value(reinterpret_cast<unsigned char const*>(m_providerName.c_str()),
                                  m_providerName.size());
    record.objectId.set_value(m_objectId.getValue(), m_objectId.getLength());
    record.keySize.set_value(static_cast<long>(m_keySize));
    record.subject.set_value(m_subject.getValue(), m_subject.getLength());
    return TVKASNUtility::getDEREncoding(record);
}

TVKString TVKCAPIASNKeyRecord::getProviderName() const { return m_providerName; }

TVKBuffer TVKCAPIASNKeyRecord::getObjectId() const { return m_objectId; }

unsigned int TVKCAPIASNKeyRecord::getKeySize() const { return m_keySize; }

TVKBuffer TVKCAPIASNKeyRecord::getSubject() const { return m_subject; }

#include <tvkcore/item/tvkstoreitem.h>

#include <ostream>

TVKStoreItem::TVKStoreItem(TVKBuffer const& label) : m_label(label) {}

TVKStoreItem::~TVKStoreItem() = default;

bool TVKStoreItem::isKindOf(TVKString const& name) const { return name.compare("TVKStoreItem") == 0; }

TVKString TVKStoreItem::getInstanceName() const { return "TVKStoreItem"; }

TVKASNUTF8String& TVKStoreItem::getLabel(TVKASNUTF8String& out) const {
    out.set_value(m_label.getValue(), m_label.getLength());
    return out;
}

TVKString TVKStoreItem::getLabelAsString() const {
    return {reinterpret_cast<char const*>(m_label.getValue()),
            static_cast<unsigned int>(m_label.getLength())};
}

TVKBuffer const& TVKStoreItem::label() const { return m_label; }

void TVKStoreItem::dumpLabel(std::ostream& out) const {
    out << getInstanceName().view() << " \"" << getLabelAsString().view() << '"';
}

TVKKeyItem::TVKKeyItem(TVKKRYKey const& key, TVKBuffer const& label) : TVKStoreItem(label), m_key(key) {}

void TVKKeyItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " key format " << m_key.getFormat() << '\n';
}

TVKKeyItem::~TVKKeyItem() = default;

bool TVKKeyItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKKeyItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKKeyItem::getInstanceName() const { return "TVKKeyItem"; }

TVKKRYKey TVKKeyItem::getKey() const { return m_key; }

TVKCertItem::TVKCertItem(TVKBuffer const& certificateDER, TVKBuffer const& label)
    : TVKStoreItem(label), m_certificateDER(certificateDER) {}

void TVKCertItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " certificate of " << m_certificateDER.getLength() << " bytes\n";
}

TVKCertItem::~TVKCertItem() = default;

bool TVKCertItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKCertItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKCertItem::getInstanceName() const { return "TVKCertItem"; }

TVKBuffer TVKCertItem::getCertificateDER() const { return m_certificateDER; }

namespace {

TVKBuffer labelOf(TVKStoreItem const& item) { return TVKBuffer(item.getLabelAsString()); }

TVKBuffer labelOf(TVKCertItem const& certItem, TVKKeyItem const& keyItem) {
    TVKBuffer label = labelOf(certItem);
    return label.getLength() != 0 ? label : labelOf(keyItem);
}

} // namespace

TVKKeyCertItem::TVKKeyCertItem(TVKKeyItem const& keyItem, TVKCertItem const& certItem)
    : TVKStoreItem(labelOf(certItem, keyItem)), m_key(keyItem.getKey()), m_certItem(certItem) {}

void TVKKeyCertItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " key format " << m_key.getFormat() << ", certificate of "
        << m_certItem.getCertificateDER().getLength() << " bytes\n";
}

TVKKeyCertItem::~TVKKeyCertItem() = default;

bool TVKKeyCertItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKKeyCertItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKKeyCertItem::getInstanceName() const { return "TVKKeyCertItem"; }

TVKBuffer TVKKeyCertItem::getCertificateDER() const { return m_certItem.getCertificateDER(); }

TVKCertItem TVKKeyCertItem::getCertItem() const { return m_certItem; }

TVKKRYKey TVKKeyCertItem::getKey() const { return m_key; }

void TVKKeyCertItem::setKey(TVKKRYKey const& key) { m_key = key; }

TVKKeyCertReqItem::TVKKeyCertReqItem(TVKKeyItem const& keyItem, TVKBuffer const& requestDER,
                                     TVKBuffer const& label)
    : TVKStoreItem(label), m_key(keyItem.getKey()), m_requestDER(requestDER) {}

void TVKKeyCertReqItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " key format " << m_key.getFormat() << ", request of " << m_requestDER.getLength() << " bytes\n";
}

TVKKeyCertReqItem::~TVKKeyCertReqItem() = default;

bool TVKKeyCertReqItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKKeyCertReqItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKKeyCertReqItem::getInstanceName() const { return "TVKKeyCertReqItem"; }

TVKBuffer TVKKeyCertReqItem::getRequestDER() const { return m_requestDER; }

TVKKRYKey TVKKeyCertReqItem::getKey() const { return m_key; }

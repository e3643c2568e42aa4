#include <tvkcore/item/tvkstoreitem.h>

#include <ostream>

TVKStoreItem::TVKStoreItem(TVKBuffer const& label) : label_(label) {}

TVKStoreItem::~TVKStoreItem() = default;

bool TVKStoreItem::isKindOf(TVKString const& name) const { return name.compare("TVKStoreItem") == 0; }

TVKString TVKStoreItem::getInstanceName() const { return "TVKStoreItem"; }

TVKASNUTF8String& TVKStoreItem::getLabel(TVKASNUTF8String& out) const {
    out.set_value(label_.getValue(), label_.getLength());
    return out;
}

TVKString TVKStoreItem::getLabelAsString() const {
    return {reinterpret_cast<char const*>(label_.getValue()), static_cast<unsigned int>(label_.getLength())};
}

TVKBuffer const& TVKStoreItem::label() const { return label_; }

void TVKStoreItem::dumpLabel(std::ostream& out) const {
    out << getInstanceName().view() << " \"" << getLabelAsString().view() << '"';
}

TVKKeyItem::TVKKeyItem(TVKKRYKey const& key, TVKBuffer const& label) : TVKStoreItem(label), key_(key) {}

void TVKKeyItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " key format " << key_.getFormat() << '\n';
}

TVKKeyItem::~TVKKeyItem() = default;

bool TVKKeyItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKKeyItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKKeyItem::getInstanceName() const { return "TVKKeyItem"; }

TVKKRYKey TVKKeyItem::getKey() const { return key_; }

TVKCertItem::TVKCertItem(TVKBuffer const& certificateDER, TVKBuffer const& label)
    : TVKStoreItem(label), certificateDER_(certificateDER) {}

void TVKCertItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " certificate of " << certificateDER_.getLength() << " bytes\n";
}

TVKCertItem::~TVKCertItem() = default;

bool TVKCertItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKCertItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKCertItem::getInstanceName() const { return "TVKCertItem"; }

TVKBuffer TVKCertItem::getCertificateDER() const { return certificateDER_; }

namespace {

TVKBuffer labelOf(TVKStoreItem const& item) { return TVKBuffer(item.getLabelAsString()); }

TVKBuffer labelOf(TVKCertItem const& certItem, TVKKeyItem const& keyItem) {
    TVKBuffer label = labelOf(certItem);
    return label.getLength() != 0 ? label : labelOf(keyItem);
}

} // namespace

TVKKeyCertItem::TVKKeyCertItem(TVKKeyItem const& keyItem, TVKCertItem const& certItem)
    : TVKStoreItem(labelOf(certItem, keyItem)), key_(keyItem.getKey()), certItem_(certItem) {}

void TVKKeyCertItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " key format " << key_.getFormat() << ", certificate of "
        << certItem_.getCertificateDER().getLength() << " bytes\n";
}

TVKKeyCertItem::~TVKKeyCertItem() = default;

bool TVKKeyCertItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKKeyCertItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKKeyCertItem::getInstanceName() const { return "TVKKeyCertItem"; }

TVKBuffer TVKKeyCertItem::getCertificateDER() const { return certItem_.getCertificateDER(); }

TVKCertItem TVKKeyCertItem::getCertItem() const { return certItem_; }

TVKKRYKey TVKKeyCertItem::getKey() const { return key_; }

void TVKKeyCertItem::setKey(TVKKRYKey const& key) { key_ = key; }

TVKKeyCertReqItem::TVKKeyCertReqItem(TVKKeyItem const& keyItem, TVKBuffer const& requestDER,
                                     TVKBuffer const& label)
    : TVKStoreItem(label), key_(keyItem.getKey()), requestDER_(requestDER) {}

void TVKKeyCertReqItem::dump(std::ostream& out) const {
    dumpLabel(out);
    out << " key format " << key_.getFormat() << ", request of " << requestDER_.getLength() << " bytes\n";
}

TVKKeyCertReqItem::~TVKKeyCertReqItem() = default;

bool TVKKeyCertReqItem::isKindOf(TVKString const& name) const {
    return name.compare("TVKKeyCertReqItem") == 0 || TVKStoreItem::isKindOf(name);
}

TVKString TVKKeyCertReqItem::getInstanceName() const { return "TVKKeyCertReqItem"; }

TVKBuffer TVKKeyCertReqItem::getRequestDER() const { return requestDER_; }

TVKKRYKey TVKKeyCertReqItem::getKey() const { return key_; }

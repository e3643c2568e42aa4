#pragma once

#include <tvkcore/asn/tvkasnprimitive.h>
#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkstring.h>
#include <tvkcore/kry/tvkkrykey.h>

#include <iosfwd>

// What a key store holds: something with a label. Items are values on the heap: whoever gets one owns and
// deletes it. A label is a string of bytes, in practice UTF-8; it is kept as it was given.
class TVK_API TVKStoreItem {
public:
    // Writes a line for people: class, label and what the item holds; never key material.
    virtual void dump(std::ostream& out) const = 0;
    virtual ~TVKStoreItem();

    // True when `name` is this class's name or that of a base.
    virtual bool isKindOf(TVKString const& name) const;
    virtual TVKString getInstanceName() const;

    // Sets `out` to the label and gives it back.
    TVKASNUTF8String& getLabel(TVKASNUTF8String& out) const;
    TVKString getLabelAsString() const;

protected:
    explicit TVKStoreItem(TVKBuffer const& label);
    TVKStoreItem(TVKStoreItem const&) = default;
    TVKStoreItem& operator=(TVKStoreItem const&) = default;

    TVKBuffer const& label() const;
    void dumpLabel(std::ostream& out) const;

private:
    TVKBuffer label_;
};

// A key with a label.
class TVK_API TVKKeyItem : public TVKStoreItem {
public:
    // Keeps copies. `label` holds the label's raw bytes.
    TVKKeyItem(TVKKRYKey const& key, TVKBuffer const& label);
    void dump(std::ostream& out) const override;
    ~TVKKeyItem() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    TVKKRYKey getKey() const;

private:
    TVKKRYKey key_;
};

// A certificate with a label.
class TVK_API TVKCertItem : public TVKStoreItem {
public:
    // Keeps copies. The encoding isn't looked at.
    TVKCertItem(TVKBuffer const& certificateDER, TVKBuffer const& label);
    void dump(std::ostream& out) const override;
    ~TVKCertItem() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // Exactly the bytes given to the constructor.
    TVKBuffer getCertificateDER() const;

private:
    TVKBuffer certificateDER_;
};

// A key, the certificate that belongs to it, and a label: that of the certificate item, or where it is empty
// that of the key item.
class TVK_API TVKKeyCertItem : public TVKStoreItem {
public:
    // Keeps copies of what it needs.
    TVKKeyCertItem(TVKKeyItem const& keyItem, TVKCertItem const& certItem);
    void dump(std::ostream& out) const override;
    ~TVKKeyCertItem() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    TVKBuffer getCertificateDER() const;
    TVKCertItem getCertItem() const;
    TVKKRYKey getKey() const;
    void setKey(TVKKRYKey const& key);

private:
    TVKKRYKey key_;
    TVKCertItem certItem_;
};

// A key with a certificate request.
class TVK_API TVKKeyCertReqItem : public TVKStoreItem {
public:
    // Keeps copies. The encoding of the request isn't looked at.
    TVKKeyCertReqItem(TVKKeyItem const& keyItem, TVKBuffer const& requestDER, TVKBuffer const& label);
    void dump(std::ostream& out) const override;
    ~TVKKeyCertReqItem() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    TVKBuffer getRequestDER() const;
    TVKKRYKey getKey() const;

private:
    TVKKRYKey key_;
    TVKBuffer requestDER_;
};

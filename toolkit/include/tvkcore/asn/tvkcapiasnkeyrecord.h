#pragma once

#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkstring.h>

// The record of a key that a provider holds: what a key of format KeyRecord carries in its blob. It holds no
// key material. Its encoding is
//
//   SEQUENCE { providerName OCTET STRING, objectId OCTET STRING, keySize INTEGER, subject OCTET STRING }
class TVK_API TVKCAPIASNKeyRecord {
public:
    // Makes a record from its four values, which are copied. `keySize` is in bits.
    TVKCAPIASNKeyRecord(TVKString const& providerName, TVKBuffer const& objectId, unsigned int keySize,
                        TVKBuffer const& subject);

    // Decodes a record. Throws TVKASNException with the status when the bytes aren't one.
    TVKCAPIASNKeyRecord(TVKBuffer const& encoded);

    virtual ~TVKCAPIASNKeyRecord();

    // The encoding. Throws std::bad_alloc.
    TVKBuffer getBuffer() const;

    TVKString getProviderName() const;

    // A copy of the object id, byte for byte.
    TVKBuffer getObjectId() const;

    unsigned int getKeySize() const;
    TVKBuffer getSubject() const;

private:
    TVKString providerName_;
    TVKBuffer objectId_;
    unsigned int keySize_;
    TVKBuffer subject_;
};

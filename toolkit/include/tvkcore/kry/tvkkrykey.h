#pragma once

#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkexport.h>

// A key as a value: its type, its format, its algorithm and a blob. What the blob holds is told by the
// format; it is wiped before its memory is given back.
class TVK_API TVKKRYKey {
public:
    enum Type { NoType = 0, Public = 1, Private = 2 };

    enum Format {
        NoFormat = 0,
        SubjectPublicKeyInfo = 2, // DER of an X.509 SubjectPublicKeyInfo
        PrivateKeyInfo = 3,       // DER of a PKCS#8 PrivateKeyInfo, the key in clear
        KeyRecord = 5             // DER of a TVKCAPIASNKeyRecord: a reference to a key that a provider holds
    };

    enum Algorithm { NoAlgorithm = 0, RSA = 1 };

    // An empty key.
    TVKKRYKey();
    TVKKRYKey(TVKKRYKey const& other);
    TVKKRYKey& operator=(TVKKRYKey const& other);
    ~TVKKRYKey();

    Type getType() const;
    void setType(Type type);
    Format getFormat() const;
    void setFormat(Format format);
    Algorithm getAlgorithm() const;
    void setAlgorithm(Algorithm algorithm);

    // Valid as long as the key is unchanged.
    TVKBuffer const& getKeyBlob() const;

    // Takes a copy.
    void setKeyBlob(TVKBuffer const& blob);

private:
    Type type_ = NoType;
    Format format_ = NoFormat;
    Algorithm algorithm_ = NoAlgorithm;
    TVKBuffer blob_;
};

// A public key and the private key that belongs to it.
class TVK_API TVKKRYKeyPair {
public:
    // Keeps copies.
    TVKKRYKeyPair(TVKKRYKey const& publicKey, TVKKRYKey const& privateKey);
    TVKKRYKeyPair(TVKKRYKeyPair const& other);
    TVKKRYKeyPair& operator=(TVKKRYKeyPair const& other);
    ~TVKKRYKeyPair();

    TVKKRYKey const& getPublicKey() const;
    TVKKRYKey const& getPrivateKey() const;

private:
    TVKKRYKey publicKey_;
    TVKKRYKey privateKey_;
};

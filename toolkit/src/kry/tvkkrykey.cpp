#include <tvkcore/kry/tvkkrykey.h>

TVKKRYKey::TVKKRYKey() = default;
TVKKRYKey::TVKKRYKey(TVKKRYKey const& other) = default;
TVKKRYKey& TVKKRYKey::operator=(TVKKRYKey const& other) = default;
TVKKRYKey::~TVKKRYKey() = default;

TVKKRYKey::Type TVKKRYKey::getType() const { return type_; }

void TVKKRYKey::setType(Type type) { type_ = type; }

TVKKRYKey::Format TVKKRYKey::getFormat() const { return format_; }

void TVKKRYKey::setFormat(Format format) { format_ = format; }

TVKKRYKey::Algorithm TVKKRYKey::getAlgorithm() const { return algorithm_; }

void TVKKRYKey::setAlgorithm(Algorithm algorithm) { algorithm_ = algorithm; }

TVKBuffer const& TVKKRYKey::getKeyBlob() const { return blob_; }

void TVKKRYKey::setKeyBlob(TVKBuffer const& blob) { blob_ = blob; }

TVKKRYKeyPair::TVKKRYKeyPair(TVKKRYKey const& publicKey, TVKKRYKey const& privateKey)
    : publicKey_(publicKey), privateKey_(privateKey) {}

TVKKRYKeyPair::TVKKRYKeyPair(TVKKRYKeyPair const& other) = default;
TVKKRYKeyPair& TVKKRYKeyPair::operator=(TVKKRYKeyPair const& other) = default;
TVKKRYKeyPair::~TVKKRYKeyPair() = default;

TVKKRYKey const& TVKKRYKeyPair::getPublicKey() const { return publicKey_; }

TVKKRYKey const& TVKKRYKeyPair::getPrivateKey() const { return privateKey_; }

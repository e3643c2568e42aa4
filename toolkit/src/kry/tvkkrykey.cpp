#include <tvkcore/kry/tvkkrykey.h>

TVKKRYKey::TVKKRYKey() = default;
TVKKRYKey::TVKKRYKey(TVKKRYKey const& other) = default;
TVKKRYKey& TVKKRYKey::operator=(TVKKRYKey const& other) = default;
TVKKRYKey::~TVKKRYKey() = default;

TVKKRYKey::Type TVKKRYKey::getType() const { return m_type; }

void TVKKRYKey::setType(Type type) { m_type = type; }

TVKKRYKey::Format TVKKRYKey::getFormat() const { return m_format; }

void TVKKRYKey::setFormat(Format format) { m_format = format; }

TVKKRYKey::Algorithm TVKKRYKey::getAlgorithm() const { return m_algorithm; }

void TVKKRYKey::setAlgorithm(Algorithm algorithm) { m_algorithm = algorithm; }

TVKBuffer const& TVKKRYKey::getKeyBlob() const { return m_blob; }

void TVKKRYKey::setKeyBlob(TVKBuffer const& blob) { m_blob = blob; }

TVKKRYKeyPair::TVKKRYKeyPair(TVKKRYKey const& publicKey, TVKKRYKey const& privateKey)
    : m_publicKey(publicKey), m_privateKey(privateKey) {}

TVKKRYKeyPair::TVKKRYKeyPair(TVKKRYKeyPair const& other) = default;
TVKKRYKeyPair& TVKKRYKeyPair::operator=(TVKKRYKeyPair const& other) = default;
TVKKRYKeyPair::~TVKKRYKeyPair() = default;

TVKKRYKey const& TVKKRYKeyPair::getPublicKey() const { return m_publicKey; }

TVKKRYKey const& TVKKRYKeyPair::getPrivateKey() const { return m_privateKey; }

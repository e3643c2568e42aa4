#include "pkcs8.h"

#include "der_cursor.h"
#include "der_writer.h"
#include "object_id.h"

#include <wincrypt.h>

namespace wincrypt {

ByteView readPrivateKeyInfo(ByteView encoding) {
    DerCursor input(encoding);
    auto const sequence = input.next(tag::sequence);
    if (!sequence || !input.atEnd())
        fail(NTE_BAD_DATA);
    DerCursor inside(sequence->content);
    auto const version = inside.next(tag::integer);
    auto const algorithm = inside.next(tag::sequence);
    auto const key = inside.next(tag::octetString);
    if (!version || version->content.size() != 1 || version->content[0] > 1 || !algorithm || !key)
        fail(NTE_BAD_DATA);
    inside.next(tag::contextConstructed(0)); // attributes
    if (version->content[0] == 1)
        inside.next(tag::context(1)); // public key of RFC 5958
    DerCursor identifier(algorithm->content);
    auto const objectId = identifier.next(tag::objectId);
    if (!inside.atEnd() || !objectId)
        fail(NTE_BAD_DATA);
    if (!equal(objectId->content, oid::rsaEncryption))
        fail(NTE_BAD_ALGID);
    return key->content;
}

SecureBytes writePrivateKeyInfo(ByteView rsaPrivateKey) {
    static constexpr std::uint8_t version[] = {tag::integer, 1, 0};
    static constexpr std::uint8_t noParameters[] = {tag::null, 0};
    Bytes const algorithm =
        derElement(tag::sequence, {derElement(tag::objectId, {oid::rsaEncryption}), noParameters});
    SecureBytes const key = derElement<SecureBytes>(tag::octetString, {rsaPrivateKey});
    return derElement<SecureBytes>(tag::sequence, {version, algorithm, key});
}

} // namespace wincrypt

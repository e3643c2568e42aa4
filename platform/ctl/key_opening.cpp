#include "key_opening.h"

#include "boundary.h"
#include "rsa_key.h"

namespace wincryptctl {

using namespace wincrypt;

OpenedKey openStoredKey(Database const& database, std::string const& container, StoredKey const& key) {
    OpenedKey result;
    if (outcome([&] { result.hasSealingKey = hasSealingKey(database, key.sealed); }) != ERROR_SUCCESS) {
        result.problem = "the sealing key can't be used";
        return result;
    }
    if (!result.hasSealingKey) {
        result.problem = "its sealing key isn't there";
        return result;
    }
    SecureBytes clear;
    if (outcome([&] {
            clear = openKey(database, sealingContext(container, key.slot, key.flags), key.sealed);
        }) != ERROR_SUCCESS) {
        result.problem = "was altered or moved";
        return result;
    }
    if (outcome([&] { result.bits = RsaPrivateKey::fromEncoding(clear).publicKey().bits(); }) !=
        ERROR_SUCCESS)
        result.problem = "opens to something that is no key: its numbers don't fit together";
    return result;
}

std::string textOf(StoredKey const& key, OpenedKey const& opened) {
    std::string text = slotName(key.slot);
    if (opened.bits != 0)
        text += ' ' + std::to_string(opened.bits);
    if (key.flags == CRYPT_EXPORTABLE)
        text += " exportable";
    return opened.problem.empty() ? text : text + " (" + opened.problem + ')';
}

Json jsonOf(StoredKey const& key, OpenedKey const& opened) {
    Json json{{"slot", slotName(key.slot)},
              {"bits", opened.bits != 0 ? Json(opened.bits) : Json(nullptr)},
              {"exportable", key.flags == CRYPT_EXPORTABLE},
              {"opens", opened.problem.empty()}};
    if (!opened.problem.empty())
        json["problem"] = opened.problem;
    return json;
}

} // namespace wincryptctl

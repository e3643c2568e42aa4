// A module that answers every call out of the input: return values, counts, sizes and attribute values.
#include "fuzz.h"
#include "pkcs11_token.h"

#include <stdexcept>
#include <unistd.h>

using namespace wincrypt;

namespace {

fuzz::Input input;
unsigned calls = 0;

// Most calls are well; behind so many none is, so that each run ends.
CK_RV outcome() {
    static constexpr CK_RV failures[] = {CKR_BUFFER_TOO_SMALL, CKR_ATTRIBUTE_SENSITIVE, CKR_GENERAL_ERROR,
                                         CKR_USER_NOT_LOGGED_IN, CKR_SESSION_HANDLE_INVALID};
    unsigned const octet = input.octet();
    return ++calls > 400 ? CKR_DEVICE_REMOVED : octet < 0xF0 ? CKR_OK : failures[octet % std::size(failures)];
}

CK_ULONG claimedCount() {
    unsigned const octet = input.octet();
    return octet == 0xFF ? CK_UNAVAILABLE_INFORMATION : octet == 0xFE ? 1UL << 20 : octet;
}

CK_RV give(void* to, CK_ULONG* size) {
    Bytes const value = input.part();
    if (to != nullptr)
        std::copy_n(value.begin(), std::min<CK_ULONG>(value.size(), *size), static_cast<CK_BYTE*>(to));
    *size = value.empty() ? claimedCount() : value.size();
    return outcome();
}

template <class... Arguments>
CK_RV answer(Arguments...) {
    return outcome();
}

CK_RV find(CK_SESSION_HANDLE, CK_OBJECT_HANDLE* objects, CK_ULONG room, CK_ULONG* count) {
    std::fill_n(objects, room, CK_OBJECT_HANDLE{1});
    *count = claimedCount();
    return outcome();
}

CK_FUNCTION_LIST makeModule() {
    CK_FUNCTION_LIST made{};
    made.C_GetSlotList = [](CK_BBOOL, CK_SLOT_ID*, CK_ULONG* count) { return *count = 1, outcome(); };
    made.C_GetTokenInfo = [](CK_SLOT_ID, CK_TOKEN_INFO* info) {
        return info->flags = input.octet(), outcome();
    };
    made.C_OpenSession = answer;
    made.C_CloseSession = answer;
    made.C_GetSessionInfo = [](CK_SESSION_HANDLE, CK_SESSION_INFO* info) {
        return info->state = input.octet(), outcome();
    };
    made.C_FindObjectsInit = answer;
    made.C_FindObjects = find;
    made.C_FindObjectsFinal = answer;
    made.C_GetAttributeValue = [](auto, auto, CK_ATTRIBUTE* wanted, auto) {
        return give(wanted->pValue, &wanted->ulValueLen);
    };
    made.C_SignInit = answer;
    made.C_Sign = [](auto, auto, auto, CK_BYTE* to, CK_ULONG* size) { return give(to, size); };
    return made;
}

template <class Call>
void attempt(Call const& call) {
    fuzz::attempt<std::exception>(
        [&] { fuzz::attempt<Pkcs11Failure>([&] { fuzz::attempt<WantsPin>(call); }); });
}

} // namespace

// No time is lost.
int usleep(useconds_t) { return 0; }

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    input.rest.assign(data, data + size);
    calls = 0;
    static CK_FUNCTION_LIST functions = makeModule();
    Pkcs11Module module(&functions);
    Pkcs11Token token(module, TokenDescription{});
    TokenKeys found;
    attempt([&] { found = token.listKeys(false, ""); });
    found.keys.resize(1);
    TokenKeyRecord const& key = found.keys.front();
    attempt([&] { fuzz::require(token.sign(key, {}, {}).size() <= 2048, "no more than a block"); });
    attempt([&] { token.exportKey(key); });
    attempt([&] { token.certificates(key.id); });
    return 0;
}

#include "pkcs11_failure.h"

#include "failure.h"

#include <p11-kit/p11-kit.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace wincrypt {
namespace {

const struct {
    CK_RV value;
    HRESULT published;
} meanings[] = {
    {CKR_PIN_INCORRECT, SCARD_W_WRONG_CHV},
    {CKR_PIN_INVALID, SCARD_W_WRONG_CHV},
    {CKR_PIN_LEN_RANGE, SCARD_W_WRONG_CHV},
    {CKR_PIN_LOCKED, SCARD_W_CHV_BLOCKED},
    {CKR_PIN_EXPIRED, SCARD_W_CHV_BLOCKED},
    {CKR_USER_PIN_NOT_INITIALIZED, SCARD_W_CARD_NOT_AUTHENTICATED},
    {CKR_USER_NOT_LOGGED_IN, SCARD_W_CARD_NOT_AUTHENTICATED},
    {CKR_FUNCTION_CANCELED, SCARD_W_CANCELLED_BY_USER},
    {CKR_CANCEL, SCARD_W_CANCELLED_BY_USER},
    {CKR_DEVICE_REMOVED, SCARD_W_REMOVED_CARD},
    {CKR_TOKEN_NOT_PRESENT, SCARD_W_REMOVED_CARD},
    {CKR_TOKEN_NOT_RECOGNIZED, SCARD_W_REMOVED_CARD},
    {CKR_SLOT_ID_INVALID, SCARD_W_REMOVED_CARD},
    {CKR_SESSION_COUNT, SCARD_E_SHARING_VIOLATION},
    {CKR_SESSION_EXISTS, SCARD_E_SHARING_VIOLATION},
    {CKR_DEVICE_MEMORY, NTE_TOKEN_KEYSET_STORAGE_FULL},
    {CKR_HOST_MEMORY, NTE_NO_MEMORY},
    {CKR_TOKEN_WRITE_PROTECTED, NTE_PERM},
    {CKR_SESSION_READ_ONLY, NTE_PERM},
    {CKR_ATTRIBUTE_READ_ONLY, NTE_PERM},
    {CKR_KEY_FUNCTION_NOT_PERMITTED, NTE_PERM},
    {CKR_FUNCTION_NOT_SUPPORTED, NTE_NOT_SUPPORTED},
    {CKR_MECHANISM_INVALID, NTE_NOT_SUPPORTED},
    {CKR_TEMPLATE_INCONSISTENT, NTE_NOT_SUPPORTED},
    {CKR_TEMPLATE_INCOMPLETE, NTE_NOT_SUPPORTED},
    {CKR_ATTRIBUTE_TYPE_INVALID, NTE_NOT_SUPPORTED},
    {CKR_ATTRIBUTE_VALUE_INVALID, NTE_NOT_SUPPORTED},
    {CKR_KEY_SIZE_RANGE, NTE_BAD_LEN},
    {CKR_DATA_LEN_RANGE, NTE_BAD_LEN},
};

template <std::size_t N>
bool isOneOf(CK_RV value, CK_RV const (&values)[N]) noexcept {
    return std::find(std::begin(values), std::end(values), value) != std::end(values);
}

} // namespace

std::string Pkcs11Failure::text() const {
    char number[24];
    std::snprintf(number, sizeof number, " 0x%lx: ", value);
    char const* const message = p11_kit_strerror(value);
    return std::string(call) + number + (message != nullptr ? message : "");
}

DWORD publishedValue(CK_RV value) noexcept {
    for (auto const& meaning : meanings)
        if (meaning.value == value)
            return errorValue(meaning.published);
    return errorValue(NTE_FAIL);
}

bool endsSession(CK_RV value) noexcept {
    return isOneOf(value,
                   {CKR_SESSION_HANDLE_INVALID, CKR_SESSION_CLOSED, CKR_DEVICE_REMOVED, CKR_TOKEN_NOT_PRESENT,
                    CKR_TOKEN_NOT_RECOGNIZED, CKR_SLOT_ID_INVALID, CKR_CRYPTOKI_NOT_INITIALIZED,
                    CKR_OPERATION_ACTIVE, CKR_OBJECT_HANDLE_INVALID, CKR_KEY_HANDLE_INVALID});
}

bool spoilsModule(CK_RV value) noexcept {
    return endsSession(value) ||
           isOneOf(value, {CKR_DEVICE_ERROR, CKR_GENERAL_ERROR, CKR_FUNCTION_FAILED,
                           CKR_OPERATION_NOT_INITIALIZED, CKR_SESSION_COUNT, CKR_SESSION_EXISTS});
}

} // namespace wincrypt

// The platform's calls that the module makes, for what is to stand between it and the layer.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <tuple>

namespace test_support {

// The layer's header declares each of the calls: their types come from there.
template <typename Call>
struct Signature;
template <typename Return, typename... Parameters>
struct Signature<Return (*)(Parameters...)> {
    using Result = Return;
    using Types = std::tuple<Parameters...>;
};

template <auto Call>
using Result = typename Signature<decltype(Call)>::Result;
template <auto Call, std::size_t At>
using Parameter = std::tuple_element_t<At, typename Signature<decltype(Call)>::Types>;

} // namespace test_support

// clang-format off
// CALL(count of parameters, name), but for CryptImportPKCS8, whose callback comes back to the module.
#define FOR_EACH_PLATFORM_CALL(CALL) \
    CALL(1, CryptDestroyKey) CALL(1, CryptDestroyHash) CALL(1, CertFreeCertificateContext) \
    CALL(1, CertDeleteCertificateFromStore) CALL(2, CryptReleaseContext) CALL(2, CertOpenSystemStoreA) \
    CALL(2, CertCloseStore) CALL(2, CertEnumCertificatesInStore) CALL(2, CertGetPublicKeyLength) \
    CALL(3, VerifyVersionInfoA) CALL(3, VerSetConditionMask) CALL(3, CryptGetUserKey) \
    CALL(3, CryptGenRandom) CALL(3, CertCompareCertificateName) CALL(3, CertCreateCertificateContext) \
    CALL(4, CryptGenKey) CALL(4, CryptHashData) CALL(4, CryptSetKeyParam) CALL(4, CryptSetHashParam) \
    CALL(4, CertAddStoreToCollection) CALL(4, CertAddCertificateContextToStore) \
    CALL(4, CertGetCertificateContextProperty) CALL(4, CertSetCertificateContextProperty) \
    CALL(5, CryptAcquireContextA) CALL(5, CryptGetProvParam) CALL(5, CryptCreateHash) \
    CALL(5, CertOpenStore) CALL(5, CryptExportPublicKeyInfo) CALL(5, CryptEncodeObject) \
    CALL(5, CryptGetKeyParam) CALL(6, CertAddEncodedCertificateToStore) CALL(6, CryptEnumProvidersA) \
    CALL(6, CryptSignHashA) CALL(6, CryptVerifySignatureA) CALL(6, CryptDecrypt) \
    CALL(6, CertFindCertificateInStore) CALL(6, CertGetNameStringA) \
    CALL(6, CryptAcquireCertificatePrivateKey) CALL(7, CryptEncrypt) CALL(7, CryptExportPKCS8) \
    CALL(8, CertCreateSelfSignCertificate)
// clang-format on

// Defines a call as `pass<&call>`, which gets its name and its arguments.
// NOLINTBEGIN(bugprone-macro-parentheses): a name can't stand in parentheses
#define DEFINE_PLATFORM_CALL(count, call) \
    test_support::Result<&call> call(PARAMETERS##count(call)) { return pass<&call>(#call, ARGUMENTS##count); }
#define PARAMETERS1(call) test_support::Parameter<&call, 0> a
#define PARAMETERS2(call) PARAMETERS1(call), test_support::Parameter<&call, 1> b
#define PARAMETERS3(call) PARAMETERS2(call), test_support::Parameter<&call, 2> c
#define PARAMETERS4(call) PARAMETERS3(call), test_support::Parameter<&call, 3> d
#define PARAMETERS5(call) PARAMETERS4(call), test_support::Parameter<&call, 4> e
#define PARAMETERS6(call) PARAMETERS5(call), test_support::Parameter<&call, 5> f
#define PARAMETERS7(call) PARAMETERS6(call), test_support::Parameter<&call, 6> g
#define PARAMETERS8(call) PARAMETERS7(call), test_support::Parameter<&call, 7> h
#define ARGUMENTS1 a
#define ARGUMENTS2 ARGUMENTS1, b
#define ARGUMENTS3 ARGUMENTS2, c
#define ARGUMENTS4 ARGUMENTS3, d
#define ARGUMENTS5 ARGUMENTS4, e
#define ARGUMENTS6 ARGUMENTS5, f
#define ARGUMENTS7 ARGUMENTS6, g
#define ARGUMENTS8 ARGUMENTS7, h
// NOLINTEND(bugprone-macro-parentheses)

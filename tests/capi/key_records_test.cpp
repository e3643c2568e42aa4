#include "module_fixture.h"
#include "tvkcapisubjectpublickeyinfo.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>

using namespace capi_tests;

namespace {

using KeyRecords = ModuleTest;
using Private = TVKCapiPrivateKeyInfo;
using Public = TVKCapiSubjectPublicKeyInfo;

// The numbers of a private key that take the flag, with their setters and libcrypto's name.
struct Number {
    TVKBuffer (Private::*get)(bool);
    void (Private::*set)(TVKBuffer const&);
    char const* name;
};
std::vector<Number> const numbers = {
    {&Private::getModulus, &Private::setModulus, OSSL_PKEY_PARAM_RSA_N},
    {&Private::getPrivateExponent, &Private::setPrivateExponent, OSSL_PKEY_PARAM_RSA_D},
    {&Private::getPrime1, &Private::setPrime1, OSSL_PKEY_PARAM_RSA_FACTOR1},
    {&Private::getPrime2, &Private::setPrime2, OSSL_PKEY_PARAM_RSA_FACTOR2},
    {&Private::getExponent1, &Private::setExponent1, OSSL_PKEY_PARAM_RSA_EXPONENT1},
    {&Private::getExponent2, &Private::setExponent2, OSSL_PKEY_PARAM_RSA_EXPONENT2},
    {&Private::getCoefficient, &Private::setCoefficient, OSSL_PKEY_PARAM_RSA_COEFFICIENT1},
};

Bytes const eight = {0x80, 2, 3, 4, 5, 6, 7, 8};
Bytes const nine = {0, 0x80, 2, 3, 4, 5, 6, 7, 8};

} // namespace

TEST_F(KeyRecords, ArePublicKeysInAndOut) {
    TVKBuffer const der = buffer(TestKey::shared(1024).publicKeyInfo());
    Public record(der);
    EXPECT_EQ(bytesOf(record.getPublicExponent()), (Bytes{1, 0, 1}));
    EXPECT_EQ(record.getModulus(true).getLength(), 128U);
    EXPECT_EQ(record.getModulus(false).getLength(), 129U);
    EXPECT_EQ(record.getDER().compare(der), 0);

    Public made(TVKASNNotSecure);
    EXPECT_EQ(made.getModulus(false).getLength() + made.getPublicExponent().getLength(), 0U);
    made.setModulus(record.getModulus(true));
    EXPECT_EQ(made.getModulus(false).getLength(), 0U) << "the algorithm isn't set";
    made.setAlgorithm(TVKASNOID::VALUE_RSA, 7);
    EXPECT_EQ(made.getModulus(false).compare(record.getModulus(false)), 0);
    EXPECT_EQ(raisedBy([&] { made.getPublicExponent(); }).type, "TVKASNException") << "no value yet";
    made.setPublicExponent(record.getPublicExponent());
    EXPECT_EQ(made.getDER().compare(der), 0);
    Public const copy(made);
    Public other(TVKASNNotSecure);
    other = copy;
    EXPECT_EQ(other.getDER().compare(der), 0);
}

TEST_F(KeyRecords, ArePrivateKeysInAndOutOfEverySize) {
    for (unsigned const bits : {512U, 1024U, 2048U, 4096U, 8192U}) {
        SCOPED_TRACE(bits);
        TestKey const& key = TestKey::shared(bits);
        TVKBuffer const der = buffer(key.privateKeyInfo());
        Private record(der);
        EXPECT_EQ(record.getDER().compare(der), 0);
        Private made(TVKASNSecure);
        for (Number const& number : numbers) {
            BIGNUM* value = nullptr;
            ASSERT_EQ(EVP_PKEY_get_bn_param(key.get(), number.name, &value), 1);
            Bytes expected(static_cast<std::size_t>(BN_num_bytes(value)));
            BN_bn2bin(value, expected.data());
            BN_free(value);
            EXPECT_EQ(bytesOf((record.*number.get)(true)), expected) << number.name;
            EXPECT_EQ((made.*number.get)(true).getLength(), 0U);
            (made.*number.set)((record.*number.get)(false));
        }
        EXPECT_EQ(bytesOf(record.getPublicExponent()), (Bytes{1, 0, 1}));
        made.setPublicExponent(record.getPublicExponent());
        made.setAlgorithm(TVKASNOID::VALUE_RSA, 7);
        EXPECT_EQ(made.getDER().compare(der), 0);
        Private const copy(made);
        Private other(TVKASNSecure);
        other = copy;
        EXPECT_EQ(other.getDER().compare(der), 0);
        Public publicKey(buffer(key.publicKeyInfo()));
        EXPECT_EQ(publicKey.getModulus(false).compare(record.getModulus(false)), 0);
        EXPECT_EQ(publicKey.getDER().compare(buffer(key.publicKeyInfo())), 0);
    }
}

TEST_F(KeyRecords, KeepNumbersAsTheyAreGivenButTheModulus) {
    Private record(buffer(TestKey::shared(1024).privateKeyInfo()));
    for (Number const& number : numbers) {
        (record.*number.set)(buffer(eight));
        bool const isModulus = number.get == &Private::getModulus;
        EXPECT_EQ(bytesOf((record.*number.get)(false)), isModulus ? nine : eight);
        EXPECT_EQ(bytesOf((record.*number.get)(true)), eight);
        (record.*number.set)(buffer(Bytes{0, 0}));
        EXPECT_EQ(bytesOf((record.*number.get)(true)), Bytes{0}) << "of zero one octet stays";
        EXPECT_EQ(raisedBy([&] { (record.*number.set)(TVKBuffer()); }).type, "TVKASNException");
    }
}

TEST_F(KeyRecords, KeepTheOldNumbersWhereTheKeyInsideIsNone) {
    TVKASNSubjectPublicKeyInfo outer(TVKASNNotSecure);
    outer.algorithm.algorithm.set_value(TVKASNOID::VALUE_RSA, 7);
    unsigned char noKey[] = {5, 0};
    outer.subjectPublicKey.set_value(noKey, 16);
    TVKBuffer const broken = TVKASNUtility::getDEREncoding(outer);
    Public record(buffer(TestKey::shared(1024).publicKeyInfo()));
    TVKBuffer const modulus = record.getModulus(false);
    EXPECT_EQ(raisedBy([&] { record.setDER(broken); }).type, "TVKASNException");
    EXPECT_EQ(record.getModulus(false).compare(modulus), 0);
    unsigned char* value = nullptr;
    unsigned long bits = 0;
    record.subjectPublicKey.get_value(value, bits);
    EXPECT_EQ(bits, 16U) << "the record holds the new value";
    EXPECT_EQ(raisedBy([&] { Public const none(buffer("x")); }).type, "TVKASNException");
    EXPECT_EQ(raisedBy([&] { Private const none(broken); }).type, "TVKASNException");

    TVKASNAlgorithmID algorithm(TVKASNNotSecure);
    record.getAlgorithm(algorithm);
    Private target(TVKASNSecure);
    target.setAlgorithm(algorithm);
    TVKASNAlgorithmID read(TVKASNNotSecure);
    EXPECT_EQ(TVKASNObject::compare(target.getAlgorithm(read), algorithm), 0);
}

TEST_F(KeyRecords, StartAtVersionZeroWithoutAttributes) {
    TVKASNPrivateKeyInfo outer(TVKASNSecure);
    TVKASNUtility::setDEREncoding(buffer(TestKey::shared(1024).privateKeyInfo()).get(), outer);
    outer.version.set_value(1);
    Private record(outer);
    long version = -1;
    EXPECT_EQ(record.version.get_value(version), TVKASN_OK);
    EXPECT_EQ(version, 1) << "as it came";
    EXPECT_EQ(record.getDER().compare(buffer(TestKey::shared(1024).privateKeyInfo())), 0);
    Private fresh(TVKASNSecure);
    EXPECT_EQ(fresh.version.get_value(version), TVKASN_OK);
    EXPECT_EQ(version, 0);
    unsigned char none[] = {0xA0, 0};
    TVKASNCBuffer attributes(none, sizeof none);
    EXPECT_EQ(record.attributes.read(attributes), TVKASN_OK);
    record = Private(buffer(TestKey::shared(1024).privateKeyInfo()));
    EXPECT_FALSE(record.attributes.is_present());
    record.setPublicExponent(buffer(eight));
    EXPECT_EQ(bytesOf(record.getPublicExponent()), eight) << "as it is given";
}

TEST_F(KeyRecords, AreTracedUnderAComponentOfTheirOwn) {
    class Labels : public TVKTraceSink {
    public:
        void record(TVKTraceRecord const& record) override {
            if (record.kind == TVKTraceRecord::Kind::entry) {
                EXPECT_STREQ(record.file, "./capi/src/tvkcapisubjectpublickeyinfo");
                seen += std::string(seen.empty() ? "" : " ") + record.label;
            }
        }
        std::string seen;
    } labels;
    Private record(TVKASNSecure);
    Private const other(buffer(TestKey::shared(1024).privateKeyInfo()));
    TVKTrace::s_defaultTracePtr->enable(1, labels);
    Private const made(TVKASNSecure);
    record = other;
    record.getPrime1(true);
    record.setAlgorithm(TVKASNOID::VALUE_RSA, 7);
    record.getDER();
    TVKTrace::s_defaultTracePtr->disable();
    EXPECT_EQ(labels.seen, "TVKCapiPrivateKeyInfo::ctor() TVKCapiPrivateKeyInfo::operator=() "
                           "TVKCapiPrivateKeyInfo::getPrime1() TVKCapiPrivateKeyInfo::setAlgorithm() "
                           "TVKCapiPrivateKeyInfo::getDER()");
    EXPECT_EQ(
        raisedBy([&] { record.setPrime2(TVKBuffer()); }),
        (Raised{"TVKASNException", "./capi/src/tvkcapisubjectpublickeyinfo", TVKASN_BAD_VALUE, "", {}}));
}

#include "hex.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

std::string written(TVKASNObject const& object) {
    TVKASNBuffer out(TVKASNNotSecure);
    EXPECT_EQ(object.write(out), TVKASN_OK);
    return toHex(out);
}

template <typename Value>
std::unique_ptr<TVKASNObject> make() {
    return std::make_unique<Value>(TVKASNNotSecure);
}

} // namespace

// What each type takes, by the status of `read`.
TEST(Values, ReadStrictly) {
    std::tuple<std::unique_ptr<TVKASNObject> (*)(), char const*, int, char const*> const rows[] = {
        {&make<TVKASNInteger>, "02 01 00", TVKASN_OK, "zero"},
        {&make<TVKASNInteger>, "02 02 00 01", TVKASN_OK, "not the shortest form, kept as it is"},
        {&make<TVKASNInteger>, "02 00", TVKASN_BAD_VALUE, "no content"},
        {&make<TVKASNInteger>, "04 01 00", TVKASN_WRONG_TYPE, "octet string"},
        {&make<TVKASNInteger>, "22 03 02 01 00", TVKASN_WRONG_TYPE, "constructed"},
        {&make<TVKASNInteger>, "", TVKASN_TRUNCATED, "nothing"},
        {&make<TVKASNInteger>, "02", TVKASN_TRUNCATED, "no length"},
        {&make<TVKASNInteger>, "02 02 01", TVKASN_TRUNCATED, "content ends early"},
        {&make<TVKASNOctetString>, "04 81 01 AA", TVKASN_BAD_LENGTH, "long form for a short length"},
        {&make<TVKASNOctetString>, "04 82 00 80 AA", TVKASN_BAD_LENGTH, "leading zero in the length"},
        {&make<TVKASNOctetString>, "04 80 00 00", TVKASN_BAD_LENGTH, "indefinite length"},
        {&make<TVKASNOctetString>, "04 85 01 00 00 00 00", TVKASN_BAD_LENGTH, "length beyond 32 bits"},
        {&make<TVKASNOctetString>, "04 84 FF FF FF FF", TVKASN_TRUNCATED, "a length of 4 GB"},
        {&make<TVKASNOctetString>, "04 81", TVKASN_TRUNCATED, "length ends early"},
        {&make<TVKASNOctetString>, "04 00", TVKASN_OK, "empty"},
        {&make<TVKASNBitString>, "03 00", TVKASN_BAD_VALUE, "no count of unused bits"},
        {&make<TVKASNBitString>, "03 02 08 00", TVKASN_BAD_VALUE, "eight unused bits"},
        {&make<TVKASNBitString>, "03 01 00", TVKASN_OK, "no bits"},
        {&make<TVKASNBitString>, "03 02 07 FF", TVKASN_OK, "unused bits that are set"},
        {&make<TVKASNObjectID>, "06 00", TVKASN_BAD_VALUE, "no arcs"},
        {&make<TVKASNObjectID>, "06 02 2A 86", TVKASN_BAD_VALUE, "last arc goes on"},
        {&make<TVKASNObjectID>, "06 03 2A 80 01", TVKASN_BAD_VALUE, "arc with leading zero"},
        {&make<TVKASNNull>, "05 00", TVKASN_OK, "null"},
        {&make<TVKASNNull>, "05 01 00", TVKASN_BAD_VALUE, "null with content"},
        {&make<TVKASNAny>, "1F 1E 00", TVKASN_BAD_TAG, "long form for a short tag"},
        {&make<TVKASNAny>, "1F 80 7F 00", TVKASN_BAD_TAG, "leading zero in the tag"},
        {&make<TVKASNAny>, "BF 81 48 00", TVKASN_OK, "tag 200"},
        {&make<TVKASNAny>, "BF 8F FF FF FF FF 7F 00", TVKASN_BAD_TAG, "tag beyond 32 bits"},
        {&make<TVKASNUTF8String>, "0C 01 FF", TVKASN_OK, "labels may hold any byte"},
        {&make<TVKASNAlgorithmID>, "30 00", TVKASN_TRUNCATED, "no algorithm"},
        {&make<TVKASNAlgorithmID>, "30 05 06 03 2A 03 04", TVKASN_OK, "no parameters"},
        {&make<TVKASNAlgorithmID>, "30 09 06 03 2A 03 04 05 00 05 00", TVKASN_TRAILING_DATA, "two of them"},
        {&make<TVKASNAlgorithmID>, "30 05 06 04 2A 03 04", TVKASN_TRUNCATED, "child leaves its parent"},
    };
    for (auto const& [makeObject, hex, status, why] : rows) {
        SCOPED_TRACE(std::string(hex) + ": " + why);
        Bytes const bytes = fromHex(hex);
        TVKASNCBuffer view = viewOf(bytes);
        std::unique_ptr<TVKASNObject> const object = makeObject();
        EXPECT_EQ(object->read(view), status);
        bool const good = status == TVKASN_OK;
        EXPECT_EQ(view.length, good ? 0 : bytes.size());
        EXPECT_EQ(view.data - bytes.data(), good ? static_cast<long>(bytes.size()) : 0);
        EXPECT_EQ(object->is_present(), good);
        if (good) {
            EXPECT_EQ(written(*object), toHex(bytes));
        }
    }
}

TEST(Integers, KeepOctetsAndFindNumbers) {
    std::string const ones(2 * (sizeof(long) - 1), 'f');
    std::string const zeros(2 * (sizeof(long) - 1), '0');
    constexpr long most = std::numeric_limits<long>::max();
    std::tuple<std::string, int, long> const rows[] = {{"00", 0, 0},
                                                       {"7f", 0, 127},
                                                       {"0080", 0, 128},
                                                       {"80", 0, -128},
                                                       {"ff", 0, -1},
                                                       {"000000000000000001", 0, 1},
                                                       {"7f" + ones, 0, most},
                                                       {"80" + zeros, 0, -most - 1},
                                                       {"0080" + zeros, TVKASN_OUT_OF_RANGE, 5},
                                                       {"ff7f" + ones, TVKASN_OUT_OF_RANGE, 5}};
    for (auto const& [hex, status, expected] : rows) {
        SCOPED_TRACE(hex);
        Bytes const octets = fromHex(hex);
        TVKASNInteger integer(TVKASNNotSecure);
        ASSERT_EQ(integer.set_value(octets.data(), octets.size()), TVKASN_OK);
        unsigned char* value = nullptr;
        unsigned long length = 0;
        ASSERT_EQ(integer.get_value(value, length), TVKASN_OK);
        EXPECT_EQ(toHex(value, length), hex);
        long number = 5;
        EXPECT_EQ(integer.get_value(number), status);
        EXPECT_EQ(number, expected);
        TVKASNInteger again(TVKASNNotSecure);
        if (status == TVKASN_OK) {
            again.set_value(expected);
            EXPECT_EQ(TVKASNObject::compare(integer, again), 0) << "equal numbers in other octets";
        }
    }
    TVKASNInteger empty(TVKASNNotSecure);
    unsigned char* value = nullptr;
    unsigned long length = 9;
    EXPECT_EQ(empty.get_value(value, length), TVKASN_NO_VALUE);
    EXPECT_EQ(length, 9U);
    EXPECT_EQ(empty.set_value(nullptr, 0), TVKASN_BAD_VALUE);
    TVKASNBuffer out(TVKASNNotSecure);
    EXPECT_EQ(empty.write(out), TVKASN_NO_VALUE);
    EXPECT_EQ(out.length, 0U);
}

TEST(BitStrings, CountBits) {
    std::tuple<char const*, unsigned long, char const*> const rows[] = {
        {"a5c3", 16, "030300a5c3"}, {"ffff", 9, "030307ff80"}, {"", 0, "030100"}, {"ff", 1, "03020780"}};
    for (auto const& [hex, count, encoding] : rows) {
        SCOPED_TRACE(encoding);
        Bytes bytes = fromHex(hex);
        TVKASNBitString bits(TVKASNNotSecure);
        ASSERT_EQ(bits.set_value(bytes.data(), count), TVKASN_OK);
        EXPECT_EQ(written(bits), encoding);
        unsigned char* value = nullptr;
        unsigned long length = 99;
        ASSERT_EQ(bits.get_value(value, length), TVKASN_OK);
        EXPECT_EQ(length, count);
    }
    // Bits that aren't used don't count.
    Decoded<TVKASNBitString> const clean(viewOf(fromHex("030204f0")));
    Decoded<TVKASNBitString> const dirty(viewOf(fromHex("030204ff")));
    Decoded<TVKASNBitString> const other(viewOf(fromHex("030204ef")));
    EXPECT_EQ(TVKASNObject::compare(clean, dirty), 0);
    EXPECT_NE(TVKASNObject::compare(clean, other), 0);
}

TEST(ObjectIDs, EncodeArcs) {
    std::tuple<std::vector<unsigned long>, char const*, char const*> const rows[] = {
        {{1, 2, 840, 113549, 1, 1, 1}, "06092a864886f70d010101", "1.2.840.113549.1.1.1"},
        {{2, 999, 3}, "0603883703", "2.999.3"},
        {{0, 39}, "060127", "0.39"},
        {{2, 47}, "06017f", "2.47"},
        {{2, 48}, "06028100", "2.48"}};
    for (auto [arcs, encoding, dotted] : rows) {
        SCOPED_TRACE(dotted);
        TVKASNObjectID id(TVKASNNotSecure);
        auto const count = static_cast<unsigned int>(arcs.size());
        EXPECT_FALSE(id.is_equal(arcs.data(), count)) << "without a value";
        ASSERT_EQ(id.set_value(arcs.data(), count), TVKASN_OK);
        EXPECT_EQ(written(id), encoding);
        EXPECT_EQ(id.get_dotted(), dotted);
        EXPECT_TRUE(id.is_equal(arcs.data(), count));
        EXPECT_FALSE(id.is_equal(arcs.data(), count - 1));
        arcs.back() ^= 1;
        EXPECT_FALSE(id.is_equal(arcs.data(), count));
    }
    unsigned long bad[][2] = {{3, 1}, {1, 40}, {0, 40}};
    for (auto& arcs : bad) {
        TVKASNObjectID id(TVKASNNotSecure);
        EXPECT_EQ(id.set_value(arcs, 2), TVKASN_BAD_VALUE);
    }
    Decoded<TVKASNObjectID> wide(viewOf(fromHex("060b2a83ffffffffffffffff7f")));
    EXPECT_EQ(wide.get_dotted(), "1.2.36893488147419103231") << "an arc of 65 bits";
    Bytes endless = fromHex("06 82 FF FF 2A");
    endless.resize(4 + 0xFFFF, 0x83);
    endless.back() = 0x01;
    TVKASNUtility::setDEREncoding(viewOf(endless), wide);
    EXPECT_EQ(wide.get_dotted(), "") << "an arc that takes too long to write out";
}

TEST(Times, ReadBothFormsAndRefuseTheRest) {
    // An empty result for a text that is no time.
    std::tuple<char const*, std::string, char const*> const rows[] = {
        {"17", "500101000000Z", "1950-01-01 00:00:00 0 0"},
        {"17", "491231235959Z", "2049-12-31 23:59:59 5 364"},
        {"17", "0002291200Z", "2000-02-29 12:00:00 2 59"},
        {"17", "000229000000+0100", "2000-02-28 23:00:00 1 58"},
        {"17", "010229000000Z", ""},
        {"17", "501301000000Z", ""},
        {"17", "500101240000Z", ""},
        {"17", "500101000000", ""},
        {"17", "500101000000Zx", ""},
        {"17", "5001010000", ""},
        {"18", "20500101000000Z", "2050-01-01 00:00:00 6 0"},
        {"18", "99991231235959Z", "9999-12-31 23:59:59 5 364"},
        {"18", "20000229000000.5-0030", "2000-02-29 00:30:00 2 59"},
        {"18", "20000229000000.Z", ""},
        {"18", "19000229000000Z", ""},
        {"18", "", ""}};
    for (auto const& [tag, given, expected] : rows) {
        SCOPED_TRACE(given);
        Bytes bytes = fromHex(tag);
        bytes.push_back(static_cast<std::uint8_t>(given.size()));
        bytes.insert(bytes.end(), given.begin(), given.end());
        Decoded<TVKASNTarnTime> time(viewOf(bytes));
        struct tm value = {};
        int const status = time.get_value(value);
        char text[64] = "";
        if (status == TVKASN_OK) {
            std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %w ", &value);
            std::strcat(text, std::to_string(value.tm_yday).c_str());
        }
        EXPECT_STREQ(text, expected);
        EXPECT_EQ(status == TVKASN_OK, *expected != '\0');
    }
    std::pair<int, char const*> const years[] = {{1949, "180f31393439303130323033303430355a"},
                                                 {1950, "170d3530303130323033303430355a"},
                                                 {2049, "170d3439303130323033303430355a"},
                                                 {2050, "180f32303530303130323033303430355a"}};
    for (auto const& [year, encoding] : years) {
        SCOPED_TRACE(year);
        struct tm value = {5, 4, 3, 2, 0, year - 1900, 0, 0, 0, 0, nullptr};
        TVKASNTarnTime time(TVKASNNotSecure);
        EXPECT_EQ(time.set_value(value), TVKASN_OK);
        EXPECT_EQ(written(time), encoding);
        for (int const month : {-1, 12, 256}) {
            value.tm_mon = month;
            EXPECT_EQ(time.set_value(value), TVKASN_OUT_OF_RANGE);
        }
    }
}

// A value keeps its bytes until it changes, and a change shows in all that holds it.
TEST(Composites, KeepEncodingsUntilAChildChanges) {
    Bytes const bytes = fromHex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00");
    Decoded<TVKASNAlgorithmID> algorithm(viewOf(bytes));
    EXPECT_EQ(written(algorithm), toHex(bytes));
    EXPECT_TRUE(algorithm.algorithm.is_equal(TVKASNOID::VALUE_RSA, TVKASNOID::RSA_LENGTH));
    ASSERT_EQ(algorithm.algorithm.set_value(TVKASNOID::VALUE_SHA1WithRSASignature, 7), TVKASN_OK);
    EXPECT_EQ(written(algorithm), "300d06092a864886f70d0101050500");
    EXPECT_EQ(algorithm.parameters.empty(), TVKASN_OK);
    EXPECT_EQ(written(algorithm), "300b06092a864886f70d010105");

    // A record made from nothing: a child that is missing keeps it from being written.
    TVKASNSubjectPublicKeyInfo info(TVKASNNotSecure);
    TVKASNBuffer out(TVKASNNotSecure);
    EXPECT_EQ(info.write(out), TVKASN_NO_VALUE);
    TVKASNBuffer written1(TVKASNNotSecure);
    algorithm.write(written1);
    EXPECT_EQ(info.algorithm.read(written1), TVKASN_OK);
    EXPECT_EQ(written1.length, 0U);
    EXPECT_EQ(info.write(out), TVKASN_NO_VALUE);
    EXPECT_EQ(out.length, 0U);
    unsigned char key[] = {1, 2, 3};
    info.subjectPublicKey.set_value(key, 24);
    EXPECT_EQ(written(info), "3013300b06092a864886f70d010105030400010203");
    // Reading from a view of the object's own bytes must not lose them on the way.
    unsigned char* value = nullptr;
    unsigned long bits = 0;
    info.subjectPublicKey.get_value(value, bits);
    EXPECT_EQ(info.subjectPublicKey.set_value(value + 1, 16), TVKASN_OK);
    EXPECT_EQ(written(info.subjectPublicKey), "0303000203");
    EXPECT_EQ(info.register_child(&info.algorithm), TVKASN_BAD_VALUE);
    EXPECT_EQ(info.empty(), TVKASN_OK);
    EXPECT_FALSE(info.algorithm.algorithm.is_present());
}

TEST(PrivateKeyInfos, TakeAttributesAndDropThem) {
    Bytes const bytes =
        fromHex("30 18 02 01 00 30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00 04 00 A0 02 05 00");
    Decoded<TVKASNPrivateKeyInfo> info(viewOf(bytes));
    EXPECT_TRUE(info.attributes.is_present());
    info.attributes.empty();
    EXPECT_EQ(written(info), "3014020100300d06092a864886f70d01010105000400");
}

TEST(KeyRecords, KeepTheirFourValuesAndRefuseOthers) {
    TVKBuffer const id(viewOf(fromHex("0102030405060708090a0b0c0d0e0f1011121314")));
    TVKCAPIASNKeyRecord const record("provider", id, 2048, TVKBuffer());
    TVKCAPIASNKeyRecord const again(record.getBuffer());
    EXPECT_EQ(again.getObjectId().compare(id), 0);
    EXPECT_EQ(again.getProviderName(), TVKString("provider"));
    EXPECT_EQ(again.getKeySize(), 2048U);
    EXPECT_EQ(again.getSubject().getLength(), 0U);
    for (char const* other : {"", "3000", "300a040004000201040400", "30080400040002010104",
                              "300904000400020100040000", "3009040004000201ff0400"}) {
        SCOPED_TRACE(other);
        EXPECT_THROW(TVKCAPIASNKeyRecord{TVKBuffer(viewOf(fromHex(other)))}, TVKASNException);
    }
}

TEST(Utility, ThrowsTheStatusAndLeavesNothing) {
    TVKASNInteger integer(TVKASNNotSecure);
    for (char const* bytes : {"0202", "02010000", "0401aa"}) {
        SCOPED_TRACE(bytes);
        integer.set_value(7);
        auto const decode = [&] { TVKASNUtility::setDEREncoding(viewOf(fromHex(bytes)), integer); };
        TVKException const failure = failureOf(decode);
        EXPECT_NE(failure.getCode(), TVKASN_OK);
        EXPECT_STREQ(failure.what(), tvkasnStatusText(failure.getCode()));
        EXPECT_FALSE(integer.is_present());
        EXPECT_THROW(TVKASNUtility::getDEREncoding(integer), TVKASNException);
    }
}

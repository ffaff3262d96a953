// Skeletons of new objects, by the octets they are written as.
#include "token/pkcs15_types_functions.h"
#include "token/sample_token.h"

namespace {

std::string encoding(asn1_element_e encoder, const void *value) {
    Octets octets(encoder(nullptr, value));
    uint8_t *cursor = octets.data();
    EXPECT_EQ(encoder(&cursor, value), octets.size());
    return to_hex(octets.data(), octets.size());
}

std::string plain(const Octets &octets) {
    return to_hex(octets.data(), octets.size());
}

TEST(Create, SkeletonsOfEveryKind) {
    const Octets common = hex("3000"), no_path = der(0x30, {hex("0400")}), key = hex("0400 030100");
    const Octets rsa = der(0xA1, {der(0x30, {no_path, hex("020100")})});
    const struct {
        uint32_t objectType;
        void *object;
        Octets expected;
    } cases[] = {
        {0, pkcs15_CreatePrivateRSAKey(), der(0x30, {common, der(0x30, {key}), rsa})},
        {1, pkcs15_CreatePublicRSAKey(), der(0x30, {common, der(0x30, {key, hex("010100")}), rsa})},
        {3, pkcs15_CreateSecretKey(2), der(0xA2, {common, der(0x30, {key}), der(0xA1, {der(0x30, {no_path})})})},
        {3, pkcs15_CreateSecretKey(4), der(0xA4, {common, der(0x30, {key}), der(0xA1, {der(0x30, {no_path})})})},
        {4, pkcs15_CreateX509CertificateType(),
         der(0x30, {common, der(0x30, {hex("0400")}), der(0xA1, {der(0x30, {no_path})})})},
        {7, pkcs15_CreateDataType(), der(0x30, {common, hex("3000"), der(0xA1, {no_path})})},
    };
    for (const auto &c : cases) {
        ASSERT_NE(c.object, nullptr);
        const P15TypeFunctions &functions = token::P15TypesFunctions[c.objectType];
        // An empty subclass is written as A0 02 30 00 in front of the type attributes.
        std::string expected = plain(c.expected);
        std::string actual = encoding(functions.encoder, c.object);
        if (c.objectType < 4) {
            const size_t subclass = actual.find("A0023000");
            ASSERT_NE(subclass, std::string::npos) << actual;
            actual.erase(subclass, 8);
            expected.erase(2, 2);  // the length counts them
            actual.erase(2, 2);
        }
        EXPECT_EQ(actual, expected) << functions.name;
        functions.free(c.object);
    }
    for (uint32_t type : {0u, 1u, 3u, 5u, 16u, 0x102u})
        EXPECT_EQ(pkcs15_CreateSecretKey(type), nullptr);
}

TEST(Create, ObjectValuesWithAndWithoutARange) {
    Octets octets = hex("4B01");
    const asn1_OctetString path = {2, octets.data()};
    const struct {
        uint32_t index, length;
        const char *expected;
    } cases[] = {{0, 0, "300404024B01"},
                 {0, 1, "300A04024B01020100800101"},
                 {1, 0, "300A04024B01020101800100"},
                 {0x8000, 16, "300C04024B0102030080008001 10"}};
    for (const auto &c : cases) {
        ObjectValue *value = pkcs15_CreateObjectValue(&path, c.index, c.length);
        ASSERT_NE(value, nullptr);
        Octets encoded(asn1_ObjectValue_e(nullptr, value));
        uint8_t *cursor = encoded.data();
        asn1_ObjectValue_e(&cursor, value);
        EXPECT_EQ(plain(encoded), plain(hex(c.expected)));
        asn1_ObjectValue_free(value);
    }
    EXPECT_EQ(pkcs15_CreateObjectValue(nullptr, 0, 0), nullptr);
}

}  // namespace

// The nth allocation fails, alone and with all that follow: every decoder, encoder and clone gives up cleanly.
#include <gtest/gtest.h>

#include "asn1/bytes.h"
#include "asn1/record_table.h"
#include "support/alloc_fault.h"

namespace {

struct Scenario {
    const char *type;
    const char *octets;
};

// Each holds everything that its type can hold.
const Scenario scenarios[] = {
    {"CommonObjectAttributes",
     "30{0C{41} 03{0640} 04{01} 02{01} 30{30{03{0780} A2{80{01} A1{04{02}} A2{A1{04{03}}}}}}}"},
    {"DIRRecord", "61{4F{A000} 50{4142} 51{3F00} 73{06{2A8648} 30{04{3F0001} 02{00}} A0{04{5032}} A1{04{5033}}}}"},
    {"TokenInfo",
     "30{02{01} 04{01} 0C{42} 80{43} 03{0204} 30{30{02{01} 06{2A} 04{AA}}} A1{80{40} 86{08}}"
     "A2{30{02{01} 02{06} 05{} 03{0640} 06{2A} 02{11}}} 83{44} 84{45} A5{18{32303030}} 13{6465}}"},
    {"PrivateKeyType",
     "30{30{0C{41}} 30{04{01} 03{0520} 02{0181} 18{30}} A0{30{30{} A0{02{01}}}}"
     "A1{30{30{04{3F00} 02{01} 80{10}} 02{0400} 30{0500}}}}"},
    {"AuthenticationType",
     "30{30{0C{41}} 30{04{01}}"
     "A1{30{03{0204} 0A{01} 02{04} 02{08} 02{0C} 80{0181} 04{01} 18{30} 30{04{3F00}}}}}"},
    {"AuthenticationType", "A0{30{} 30{04{01}} A1{30{03{0640} 06{2A} 30{0A{01} 0A{04}} 02{01} 18{30} 30{04{50}}}}}"},
    {"PKCS15Objects", "A0{A0{0500 04{0000}}}"},
    {"DigestInfo", "30{30{06{2A} 0500} 04{AA}}"},
    {"RSAPrivateKey", "30{02{01} 02{02} 02{03} 02{04} 02{05} 02{06} 02{07} 02{08} 02{09}}"},
    {"Certificate",
     "30{30{A0{02{02}} 02{05} 30{06{2A}} 30{31{30{06{2A} 13{41}}}} 30{17{30} 18{31}} 30{31{30{06{550403} 0C{42}}}}"
     "30{30{06{2A} 0500} 03{0055}} 81{0001} 82{0002} A3{30{30{06{2A} 0101FF 04{}} 30{06{2A} 04{00}}}}}"
     "30{06{2A}} 03{0001}}"},
    {"CertificateRevocationList",
     "30{30{02{01} 30{06{2A}} 30{31{30{06{2A} 13{41}}}} 17{30} 18{31}"
     "30{30{02{01} 17{30} 30{30{06{2A} 04{00}}}} 30{02{02} 17{30}}} A0{30{30{06{2A} 04{00}}}}} 30{06{2A}} 03{0001}}"},
    {"ContentInfo",
     "30{06{2A864886F70D010702} A0{30{02{01} 31{30{06{2A}}} 30{06{2A864886F70D010702} A0{30{02{01} 31{}"
     "30{06{2A864886F70D010701} A0{04{41}}} 31{}}}} A0{3000} A1{3000} 31{30{02{01} 30{30{31{30{06{2A} 13{41}}}} 02{01}}"
     "30{06{2A}} A0{30{06{2A} 31{0500}}} 30{06{2A}} 04{AA} A1{30{06{2A} 31{}}}}}}}}"},
    {"ContentInfo", "30{06{2A864886F70D010706} A0{30{02{01} 30{06{2A} 30{06{2A}} 80{AA}}}}}"},
    {"ContentInfo", "30{06{2A} A0{0500}}"},
    {"SecurityCondition", "A2{80{01} A1{04{02}} A1{A1{A2{A1{04{0000}}} 04{05}} 04{06}}}"},
};

class Failure : public testing::TestWithParam<bool> {};

TEST_P(Failure, OfTheNthAllocationLeavesNothingBehind) {
    for (const Scenario &scenario : scenarios) {
        const RecordType *type = find_record_type(scenario.type);
        const Input input(scenario.octets);
        void *whole = nullptr;
        ASSERT_NE(type->d(input.begin(), input.end(), 0, &whole, 0), nullptr) << scenario.type;
        const Bytes octets = encode([&](uint8_t **cursor) { return type->e(cursor, whole); });
        bool failed = true;
        for (unsigned n = 1; failed; ++n) {
            alloc_fault_arm(n, GetParam());
            void *value = nullptr;
            const uint8_t *z = type->d(input.begin(), input.end(), 0, &value, 0);
            void *copy = z != nullptr && type->clone != nullptr ? type->clone(value) : nullptr;
            const uint32_t length = type->e(nullptr, whole);
            failed = alloc_fault_disarm();
            EXPECT_EQ(z == nullptr, value == nullptr) << scenario.type << " allocation " << n;
            EXPECT_TRUE(length == octets.size() || (failed && length == 0)) << scenario.type << " allocation " << n;
            if (!failed) {
                EXPECT_NE(z, nullptr);
            }
            for (void *result : {value, copy}) {
                if (result == nullptr)
                    continue;
                const Bytes written = encode([&](uint8_t **cursor) { return type->e(cursor, result); });
                EXPECT_EQ(written, octets) << scenario.type << " allocation " << n;
                type->free(result);
            }
        }
        type->free(whole);
    }
}

INSTANTIATE_TEST_SUITE_P(AloneAndWithAllThatFollow, Failure, testing::Bool());

TEST(FailureOfStrings, LeavesTheCallersPlaceNull) {
    const Input input("2480 040141 2403040142 24800401430000 0000");
    bool failed = true;
    for (unsigned n = 1; failed; ++n) {
        asn1_OctetString *string = nullptr;
        alloc_fault_arm(n, false);
        const uint8_t *z = asn1_OctetString_d(input.begin(), input.end(), 0, &string, 0);
        failed = alloc_fault_disarm();
        EXPECT_EQ(z == nullptr, string == nullptr);
        if (string != nullptr) {
            EXPECT_EQ(to_hex(string->data, string->len), "414243");
        }
        asn1_OctetString_free(string);
    }
}

}  // namespace

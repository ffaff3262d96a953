// Encodings made by independent encoders: each is read, written back, copied, cut at every length and spoiled in every
// octet; and values that hold all they can hold, with each allocation failing.
#include <gtest/gtest.h>

#include "asn1/record_table.h"
#include "support/alloc_sweep.h"
#include "support/vector_file.h"

namespace {

struct Golden {
    std::string type, written, comment;
    Bytes octets;
};

std::vector<Golden> read(const std::string &file) {
    std::vector<Golden> all;
    zelmo_test::for_each_vector(file, [&](zelmo_test::Vector &v) {
        all.push_back({v.text("Type"), v.text("Reencodes"), v.text("Comment"), v.octets("Hex")});
    });
    return all;
}

const std::vector<Golden> &golden() {
    static const std::vector<Golden> all = [] {
        std::vector<Golden> both = read("golden.txt");
        for (Golden &one : read("golden-keys.txt"))
            both.push_back(std::move(one));
        return both;
    }();
    return all;
}

TEST(Golden, IsReadToTheEndAndWrittenBack) {
    ASSERT_GT(golden().size(), 300u);
    for (const Golden &one : golden()) {
        const testing::ScopedTrace where(__FILE__, __LINE__, one.type + ", " + one.comment);
        const Record record(one.type, Input(one.octets));
        ASSERT_EQ(record.position, static_cast<std::ptrdiff_t>(one.octets.size()));
        const Bytes expected = one.written == "same" ? one.octets : from_hex(one.written);
        EXPECT_EQ(to_hex(record.written()), to_hex(expected));
        if (record.type->clone != nullptr) {
            EXPECT_EQ(record.copy().written(), expected);
        }
    }
}

// Published forms outside the supported ones: refused, or read and not writable ("none").
TEST(Golden, RefusesWhatIsNotSupported) {
    for (const Golden &one : read("golden-refused.txt")) {
        const Record record(one.type, Input(one.octets));
        ASSERT_TRUE(one.written == "refused" || one.written == "none") << one.written;
        EXPECT_EQ(record.position, one.written == "refused" ? -1 : static_cast<std::ptrdiff_t>(one.octets.size()))
            << one.type << " " << one.comment;
        if (record.value != nullptr) {
            EXPECT_EQ(record.written(), Bytes()) << one.type << " " << one.comment;
        }
    }
}

// What follows a value is left alone, and no octet behind the end is read.
TEST(Golden, StopsAtItsEnd) {
    for (const Golden &one : golden()) {
        const auto length = static_cast<std::ptrdiff_t>(one.octets.size());
        EXPECT_EQ(Record(one.type, Input(one.octets + Bytes{0x30, 0x00})).position, length) << one.type;
        for (size_t count = 0; count < one.octets.size(); ++count)
            EXPECT_EQ(Record(one.type, Input(cut(one.octets, count))).position, -1) << one.type << count;
    }
}

// Any octet may be wrong: the decoder answers, and what it accepts can be written and released. A template without a
// path is read, but writing it is a programming error.
TEST(Golden, SurvivesEveryWrongOctet) {
    for (const Golden &one : golden())
        for (size_t i = 0; i < one.octets.size(); ++i)
            for (const int change : {0x01, 0x20, 0x80, 0xFF}) {
                Bytes spoiled = one.octets;
                spoiled[i] = static_cast<uint8_t>(spoiled[i] ^ change);
                const Record record(one.type, Input(spoiled));
                ASSERT_NE(record.position, -2);
                ASSERT_LE(record.position, static_cast<std::ptrdiff_t>(spoiled.size()));
                if (record.value != nullptr && (one.type != "DIRRecord" || record.as<DIRRecord>()->path != nullptr))
                    record.written();
            }
}

// Each holds everything that its type can hold.
const struct {
    const char *type, *octets;
} full[] = {
    {"OctetString", "2480 040141 2403040142 24800401430000 0000"},
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
    {"Name", "30{31{30{06{550409} 13{41}} 30{06{550403} 0C{42}}} 31{30{06{550406} 13{4445}}}}"},
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

struct Outcome {
    Record value, copy;
    uint32_t length;
};

TEST(Failure, OfTheNthAllocationLeavesNothingBehind) {
    for (const auto &[type, text] : full) {
        const testing::ScopedTrace where(__FILE__, __LINE__, type);
        const Input input(text);
        const Record whole(type, input);
        const Bytes octets = whole.written();
        const bool has_clone = whole.type->clone != nullptr;
        ASSERT_FALSE(octets.empty());
        zelmo_test::sweep_allocations(
            [&] {
                Record value(type, input);
                Record copy(type, has_clone && value.value != nullptr ? value.type->clone(value.value) : nullptr);
                return Outcome{std::move(value), std::move(copy), whole.type->e(nullptr, whole.value)};
            },
            [&](const Outcome &made, bool failed, unsigned) {
                EXPECT_NE(made.value.position, -2);
                EXPECT_TRUE(failed || (made.value.value != nullptr && (made.copy.value != nullptr) == has_clone));
                EXPECT_TRUE(made.length == octets.size() || (failed && made.length == 0));
                for (const Record *record : {&made.value, &made.copy})
                    if (record->value != nullptr) {
                        EXPECT_EQ(record->written(), octets);
                    }
            });
    }
}

}  // namespace

// Names: the tree, the text, and what each loses of the other.
#include <gtest/gtest.h>
#include <random>

#include "asn1/asn1_oid.h"
#include "asn1/asn1_x520.h"
#include "asn1/x509_support.h"
#include "support/alloc_fault.h"

namespace {

Held<List> decode(std::string_view hex) {
    const Input input(hex);
    RDNSequence *sequence = nullptr;
    const uint8_t *z = asn1_RDNSequence_d(input.begin(), input.end(), 0, &sequence, 0);
    EXPECT_TRUE(z == nullptr || z == input.end());
    Held<List> held(sequence);
    return z != nullptr ? std::move(held) : nullptr;
}

std::string text_of(const List *sequence) {
    const Held<char> text(asn1_RDNSequence_to_Name(sequence));
    return text != nullptr ? text.get() : "none";
}

std::string octets_of(const char *text) {
    return encoded([&](uint8_t **cursor) { return asn1_Name_e(cursor, text); });
}

std::string octets_of(const List *sequence) {
    return encoded([&](uint8_t **cursor) { return asn1_RDNSequence_e(cursor, sequence); });
}

const std::string cn = "06{550403}", c = "06{550406}";

// The octets, their text, and what the text stands for: the same octets, others, or nothing.
const struct {
    std::string octets, text, back;
} trees[] = {
    {"30{31{30{" + c + "13{4445}}} 31{30{" + cn + "0C{416E6E}}}}", "/c(19)=DE/cn(12)=Ann", "same"},
    {"30{31{30{" + cn + "13{41}} 30{06{550405} 13{42}}}}", "/cn(19)=A,sn(19)=B", ""},
    {"30{31{30{" + cn + "0C{2C412F2F422C}}}}", "/cn(12)=/,A////B/,", "same"},
    {"30{31{30{06{550409} 13{537472656574}}}}", "/2.5.4.9(19)=Street", "same"},
    {"30{31{30{" + cn + "1E{00410042}}}}", "/cn(30)=", "30{31{30{" + cn + "1E{}}}}"},
    {"30{31{30{" + cn + "0C{410042}}} 31{30{" + c + "13{4445}}}}", "/cn(12)=A/c(19)=DE",
     "30{31{30{" + cn + "0C{41}}} 31{30{" + c + "13{4445}}}}"},
    {"30{31{30{" + cn + "0C{}}}}", "/cn(12)=", "same"},
    {"30{31{}}", "/", ""},
    {"30{31{} 31{30{" + cn + "13{41}}}}", "//cn(19)=A", ""},
    {"30{}", "none", ""},
    // Any tag octet is taken whole.
    {"30{31{30{" + cn + "DF{41}}}}", "/cn(223)=A", "same"},
    {"30{31{30{" + cn + "00{41}}}}", "/cn(0)=A", "same"},
    {"30{31{30{" + cn + "2C{0C{41} 0C{42}}}}}", "/cn(44)=AB", "30{31{30{" + cn + "2C{4142}}}}"},
    // The count of unused bits is a part of a BIT STRING's value here. Written, the value's length is taken for its
    // bits.
    {"30{31{30{06{55042D} 03{0041}}}}", "/2.5.4.45(3)=", "30{31{30{06{55042D} 03{00}}}}"},
    {"30{31{30{06{55042D} 03{0741}}}}", "/2.5.4.45(3)=\aA", "30{31{30{06{55042D} 03{0007}}}}"},
    // An arc above the signed range shows negative.
    {"30{31{30{06{2A8F FFFFFF7F} 13{}}}}", "/1.2.-1(19)=", ""},
};

TEST(Name, OfATree) {
    for (const auto &row : trees) {
        const Held<List> sequence = decode(row.octets);
        ASSERT_NE(sequence, nullptr) << row.text;
        EXPECT_EQ(text_of(sequence.get()), row.text);
        const Held<List> back(asn1_Name_to_RDNSequence(row.text.c_str()));
        const std::string written = octets_of(back.get());
        EXPECT_EQ(written, to_hex(from_hex(row.back == "same" ? row.octets : row.back))) << row.text;
        EXPECT_EQ(octets_of(row.text.c_str()), written);
        const Input input(row.octets);
        char *name = nullptr;
        EXPECT_EQ(asn1_Name_d(input.begin(), input.end(), 0, &name, 0), row.text == "none" ? nullptr : input.end());
        EXPECT_STREQ(Held<char>(name).get(), row.text == "none" ? nullptr : row.text.c_str());
    }
}

// A text, and the octets it stands for.
const struct {
    const char *text, *octets;
} texts[] = {
    {"/CN=Ann", "30{31{30{06{550403} 13{416E6E}}}}"},
    {"/Gid(12)=x", "30{31{30{06{6985D295984D 0F01} 0C{78}}}}"},
    {"/m(22)=a@b,c=DE/o=",
     "30{31{30{06{2A864886F70D010901} 16{614062}} 30{06{550406} 13{4445}}} 31{30{06{55040A} 13{}}}}"},
    {"/2.5.4.3=a//b/,c", "30{31{30{06{550403} 13{612F622C63}}}}"},
    // Numbers are read in the base of their prefix.
    {"/02.5.04.0x3(0x0C)=A", "30{31{30{06{550403} 0C{41}}}}"},
    {"/cn(014)=A", "30{31{30{06{550403} 0C{41}}}}"},
    {"/cn( +12)=A", "30{31{30{06{550403} 0C{41}}}}"},
    // One octet of the tag is written.
    {"/cn(268)=A", "30{31{30{06{550403} 0C{41}}}}"},
    {"/cn(-244)=A", "30{31{30{06{550403} 0C{41}}}}"},
    // Blanks and brackets belong to the value.
    {"/cn= (A)=B ", "30{31{30{06{550403} 13{2028 41293D4220}}}}"},
};

TEST(Name, OfAText) {
    for (const auto &row : texts)
        EXPECT_EQ(octets_of(row.text), to_hex(from_hex(row.octets))) << row.text;
}

// clang-format off
const char *const no_names[] = {
    "", "cn=A", ",cn=A", " /cn=A", "/", "//", "/cn", "/cn(19)", "/cn(19", "/cn()=A", "/cn(x)=A", "/cn(19=A",
    "/cn(019)=A", "/cn(19 )=A", "/cn(2147483648)=A", "/cn(99999999999999999999)=A", "/cn =A", "/cn=A/", "/cn=A,",
    "/cn=A/b=C", "/x=A", "/=A", "/ cn=A", "/common=A", "/sn(19)=1", "/sn=1", "/serialNumber=1", "/country=DE",
    "/2.5.=A", "/.2.5=A", "/2..5=A", "/2.5.4.3", "/4294967296.1=A", "//cn=A", "/cn=A/ cn=B",
};
// clang-format on

TEST(Name, RefusesWhatIsNone) {
    for (const char *text : no_names) {
        EXPECT_EQ(Held<List>(asn1_Name_to_RDNSequence(text)), nullptr) << text;
        EXPECT_EQ(asn1_Name_e(nullptr, text), 0u) << text;
    }
    EXPECT_EQ(asn1_Name_to_RDNSequence(nullptr), nullptr);
    EXPECT_EQ(asn1_Name_e(nullptr, nullptr), 0u);
    // One arc makes a tree and no octets.
    EXPECT_NE(Held<List>(asn1_Name_to_RDNSequence("/2=A")), nullptr);
    EXPECT_EQ(asn1_Name_e(nullptr, "/2=A"), 0u);
}

TEST(Name, ParsingStopsBehindTheAssertion) {
    for (const auto &[text, rest] : {std::pair{"cn=A/b", "/b"}, {"cn=A,b", ",b"}, {"cn=A", ""}, {"cn=A/", "/"}}) {
        const char *position = text;
        const Held<AttributeValueAssertion> assertion(asn1_AttributeValueAssertion_parse(&position));
        ASSERT_NE(assertion, nullptr);
        EXPECT_STREQ(position, rest);
        EXPECT_EQ(assertion->tag, 19u);
        EXPECT_EQ(to_hex(assertion->value->data, assertion->value->len), "41");
    }
    const char *wrong = "cn:A";
    const char *position = wrong;
    EXPECT_EQ(asn1_AttributeValueAssertion_parse(&position), nullptr);
    EXPECT_EQ(position, wrong);
}

TEST(Name, TableIsInItsOrder) {
    std::string names;
    for (const NameAttribute *row = oidNameAttributes; row->getter != nullptr; ++row)
        names += row->shortName + std::string(" ");
    EXPECT_EQ(names, "gid cn gn ou sp c g i l m n o s t sn ");
    EXPECT_STREQ(oidNameAttributes[0].longName, "Quorvan GID");
    EXPECT_STREQ(oidNameAttributes[9].longName, "E-MailAddress");
}

TEST(Name, DecoderRefuses) {
    const Input name("30{31{30{06{550403} 13{41}}}}");
    expect_every_prefix_refused("Name", Bytes(name.begin(), name.end()));
    char stale[] = "";
    char *text = stale;
    EXPECT_EQ(asn1_Name_d(nullptr, name.end(), 0, &text, 0), nullptr);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(asn1_Name_d(name.begin(), name.end(), 0, nullptr, 0), nullptr);
    EXPECT_EQ(asn1_Name_d(name.end(), name.begin(), 0, &text, 0), nullptr);
    for (const char *octets : {"30{31{30{}}}", "30{31{30{06{550403}}}}", "30{30{30{06{550403} 13{41}}}}", "30{0500}",
                               "30{31{30{06{550403} 13}}}", "31{}"})
        EXPECT_EQ(decode(octets), nullptr) << octets;
}

TEST(Name, ComparesWithoutOrder) {
    const auto compare = [](const char *a, const char *b) {
        const Held<List> first(asn1_Name_to_RDNSequence(a));
        const Held<List> second(asn1_Name_to_RDNSequence(b));
        return asn1_RDNSequence_cmp(first.get(), second.get());
    };
    EXPECT_EQ(compare("/c=DE/o=X/cn=A", "/cn=A/o=X/c=DE"), 0);
    EXPECT_EQ(compare("/c=DE,o=X", "/o=X,c=DE"), 0);
    EXPECT_EQ(compare("/c=DE/c=DE", "/c=DE/o=X"), 0) << "each of the first is in the second";
    EXPECT_EQ(compare("/c=DE/o=X", "/c=DE/c=DE"), 1);
    for (const char *other : {"/c=DE", "/c=DE/o=X/o=X", "/c=DE/o=Y", "/c=DE/o(12)=X", "/c=DE/ou=X", "/c=DE,o=X"})
        EXPECT_EQ(compare("/c=DE/o=X", other), 1) << other;
}

TEST(Name, ACopyLosesTheTags) {
    const Held<List> sequence(asn1_Name_to_RDNSequence("/c=DE/cn(12)=A,o=B"));
    const Held<List> copy(asn1_RDNSequence_clone(sequence.get()));
    EXPECT_EQ(text_of(copy.get()), "/c(0)=DE/cn(0)=A,o(0)=B");
    EXPECT_EQ(asn1_RDNSequence_clone(nullptr), nullptr);
    EXPECT_EQ(asn1_Name_clone(nullptr), nullptr);
    EXPECT_STREQ(Held<char>(asn1_Name_clone("/c=DE")).get(), "/c=DE");
    const Held<char> blank(asn1_Name_new(3));
    EXPECT_EQ(to_hex(reinterpret_cast<const uint8_t *>(blank.get()), 4), "00000000");
}

TEST(Name, FindsTheFirstAttributeOfAType) {
    const Held<List> sequence(asn1_Name_to_RDNSequence("/c=DE/o=X,cn=A/cn=B"));
    AttributeValueAssertion *found = nullptr;
    EXPECT_EQ(asn1_RDNSequence_getAttr(sequence.get(), asn1_Get_id_at_commonName(), &found), found);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->value->data[0], 'A');
    EXPECT_EQ(asn1_RDNSequence_getAttr(sequence.get(), asn1_Get_id_at_commonName(), nullptr), found);
    EXPECT_EQ(asn1_RDNSequence_getAttr(sequence.get(), asn1_Get_id_at_title(), &found), nullptr);
    EXPECT_EQ(found, nullptr);
}

TEST(Name, OfARecordMadeByHand) {
    const Held<AttributeValueAssertion> empty(asn1_AttributeValueAssertion_new());
    EXPECT_EQ(asn1_AttributeValueAssertion_e(nullptr, empty.get()), 0u);
    List *rdn = List_new(1);
    List_append(rdn, asn1_AttributeValueAssertion_new(), nullptr);
    const Held<List> sequence(List_new(1));
    List_append(sequence.get(), rdn, nullptr);
    EXPECT_EQ(text_of(sequence.get()), "none");
    EXPECT_EQ(asn1_RDNSequence_e(nullptr, sequence.get()), 0u);
}

TEST(StringCat, GrowsTheFirstText) {
    char *text = asn1_string_cat(nullptr, "");
    EXPECT_STREQ(text, "");
    text = asn1_string_cat(text, "ab");
    text = asn1_string_cat(text, "c");
    EXPECT_STREQ(text, "abc");
    alloc_fault_arm(1, false);
    EXPECT_EQ(asn1_string_cat(text, "d"), nullptr);
    alloc_fault_disarm();
    EXPECT_STREQ(text, "abc");
    std::free(text);
    EXPECT_DEATH(asn1_string_cat(nullptr, nullptr), "b != \\(\\(void \\*\\)0\\)");
}

// Random names that OpenSSL builds: every string type, several assertions in an RDN, awkward values.
TEST(Name, AgreesWithOpenSsl) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        const bool with_zeros = round % 4 == 0;
        const Held<X509_NAME> name(random_name(random, with_zeros));
        const std::string octets = to_hex(der_of<X509_NAME>(i2d_X509_NAME, name.get()));
        const Held<List> sequence = decode(octets);
        const std::string text = text_of(sequence.get());
        EXPECT_EQ(text, expected_text(name.get()));
        EXPECT_EQ(octets_of(sequence.get()), octets);
        if (!with_zeros && text.find("sn(") == std::string::npos) {
            EXPECT_EQ(octets_of(text.c_str()), octets) << text;
        }
    }
}

}  // namespace

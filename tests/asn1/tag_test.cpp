// Tags, lengths, wrappers and lists.
#include <gtest/gtest.h>

#include "asn1/record_table.h"

namespace {

const RecordType &integer = *find_record_type("Integer");

TEST(Length, IsWrittenInTheShortestForm) {
    for (const auto &[length, octets] : {std::pair(0u, "00"),
                                         {1u, "01"},
                                         {127u, "7F"},
                                         {128u, "8180"},
                                         {255u, "81FF"},
                                         {256u, "820100"},
                                         {0xFFFFu, "82FFFF"},
                                         {0x10000u, "83010000"},
                                         {0xFFFFFFu, "83FFFFFF"},
                                         {0x1000000u, "8401000000"},
                                         {0xFFFFFFFFu, "84FFFFFFFF"}}) {
        const uint32_t count = length;
        EXPECT_EQ(encoded([count](uint8_t **cursor) { return asn1_Length_e(cursor, count); }), octets);
    }
}

TEST(Length, IsReadInEveryFormUpToFourOctets) {
    const struct {
        const char *octets;
        bool may_be_indefinite;
        int position;  // -1: refused
        uint32_t length, indefinite;
    } rows[] = {
        {"", false, -1, 0, 0},
        {"00", false, 1, 0, 0},
        {"81 00", false, 2, 0, 0},
        {"81 02 AABB", false, 2, 2, 0},
        {"82 0002 AABB", false, 3, 2, 0},
        {"84 00000002 AABB", false, 5, 2, 0},
        {"85 0000000001 AA", false, -1, 0, 0},
        {"FF", false, -1, 0, 0},
        {"80", false, -1, 0, 0},
        {"80", true, 1, 0, 1},
        {"02 AA", false, -1, 2, 0},  // beyond the end, stored all the same
        {"84 FFFFFFFF", true, -1, 0xFFFFFFFF, 0},
        {"81", false, -1, 0, 0},  // length octets cut off
        {"83 0000", false, -1, 0, 0},
    };
    for (const auto &row : rows) {
        const Input input(row.octets);
        uint32_t length = 77, indefinite = 77;
        const uint8_t *z =
            asn1_Length_d(input.begin(), input.end(), &length, row.may_be_indefinite ? &indefinite : nullptr, 0);
        EXPECT_EQ(z == nullptr ? -1 : z - input.begin(), row.position) << row.octets;
        EXPECT_EQ(length, row.length) << row.octets;
        if (row.may_be_indefinite) {
            EXPECT_EQ(indefinite, row.indefinite) << row.octets;
        }
    }
}

TEST(Tag, FormAndImplicitTagDecideWhatPasses) {
    const struct {
        uint8_t octet, impl_tag, tag;
        bool passes, passes_with_form;
    } rows[] = {
        {0x02, 0, 0x02, true, true},    {0x22, 0, 0x02, false, true},     {0x30, 0, 0x30, true, true},
        {0x10, 0, 0x30, true, true},  // primitive where constructed is expected
        {0x03, 0, 0x02, false, false},  {0x80, 0x80, 0x02, true, true},   {0xA0, 0x80, 0x02, false, true},
        {0xA0, 0x80, 0x30, true, true},  // the implicit tag inherits the constructed bit
        {0x80, 0x80, 0x30, true, true}, {0x02, 0x80, 0x02, false, false}, {0xC0, 0x80, 0x02, false, false},
    };
    for (const auto &row : rows) {
        const Input input(Bytes{row.octet});
        uint32_t constructed = 77;
        const auto *plain = asn1_Tag_d(input.begin(), input.end(), row.impl_tag, row.tag, nullptr, 0);
        const auto *form = asn1_Tag_d(input.begin(), input.end(), row.impl_tag, row.tag, &constructed, 0);
        EXPECT_EQ(plain == input.end(), row.passes) << +row.octet;
        EXPECT_EQ(form == input.end(), row.passes_with_form) << +row.octet;
        EXPECT_EQ(constructed, form != nullptr && (row.octet & 0x20) != 0 ? 1u : 0u) << +row.octet;
    }
    const Input empty("");
    EXPECT_EQ(asn1_Tag_d(empty.begin(), empty.end(), 0, 0x02, nullptr, 0), nullptr);
}

TEST(EndOfContents, IsTwoZeroOctets) {
    for (const auto &[octets, found] :
         {std::pair("0000", true), {"000001", true}, {"00", false}, {"", false}, {"0001", false}, {"0100", false}}) {
        const Input input(octets);
        EXPECT_EQ(asn1_eoc_d(input.begin(), input.end()) == input.begin() + 2, found) << octets;
    }
    EXPECT_EQ(encoded([](uint8_t **cursor) { return asn1_eoc_e(cursor); }), "0000");
}

TEST(Wrappers, AreWrittenAroundOrOverTheElement) {
    const asn1_Integer *five = asn1_Integer_3();
    const auto implicit = [&](uint8_t **cursor) { return asn1_implicit_e(cursor, 0x80, five, integer.e); };
    const auto explicit_ = [&](uint8_t **cursor) { return asn1_explicit_e(cursor, 0x81, five, integer.e); };
    EXPECT_EQ(encoded(implicit), "800103");
    EXPECT_EQ(encoded(explicit_), "A103020103");
}

TEST(Wrappers, LeaveSurplusToTheCaller) {
    const Input input("A1 06 020103 040100");
    void *value = nullptr;
    const uint8_t *z = asn1_explicit_d(input.begin(), input.end(), 0x81, integer.d, &value, 0);
    EXPECT_EQ(z, input.begin() + 5);
    integer.free(value);
    const Input indefinite("A1 80 020103 0000");
    value = nullptr;
    EXPECT_EQ(asn1_explicit_d(indefinite.begin(), indefinite.end(), 0x81, integer.d, &value, 0), nullptr);
    EXPECT_EQ(value, nullptr);
}

TEST(ListCoder, EmptyListsAreHeaders) {
    List *list = List_new(0);
    EXPECT_EQ(encoded([&](uint8_t **c) { return asn1_SeqOf_e(c, list, integer.e); }), "3000");
    EXPECT_EQ(encoded([&](uint8_t **c) { return asn1_SetOf_e(c, list, integer.e); }), "3100");
    EXPECT_EQ(encoded([&](uint8_t **c) { return asn1_expl_SeqOf_e(c, 0x82, list, integer.e); }), "A2023000");
    EXPECT_EQ(asn1_expl_SetOf_e(nullptr, 0x82, nullptr, integer.e), 0u);
    List_free(list, nullptr);
}

TEST(ListCoder, ElementsKeepTheirOrderAndFailTogether) {
    List *list = List_new(0);
    for (const uint32_t value : {3u, 1u, 2u})
        List_append(list, asn1_Integer_set(value), nullptr);
    EXPECT_EQ(encoded([&](uint8_t **c) { return asn1_SetOf_e(c, list, integer.e); }), "3109020103020101020102");
    List_append(list, nullptr, nullptr);
    EXPECT_EQ(asn1_SetOf_e(nullptr, list, integer.e), 0u);
    List_free(list, integer.free);
}

TEST(ListCoder, TakesIndefiniteLengthOnlyAtTheEndOfTheSpan) {
    const struct {
        const char *octets;
        int position;
        int count;  // -1: no list, -2: the empty list of a refused header
    } rows[] = {
        {"30 06 020101 020102", 8, 2},
        {"30 03 020101 020102", 5, 1},
        {"10 03 020101", 5, 1},
        {"30 80 020101 0000", 7, 1},
        {"30 80 0000", 4, 0},
        {"30 80 020101 0000 00", -1, -1},
        {"30 80 020101 0000 0000", -1, -1},
        {"30 80 00", -1, -1},
        {"30 80", -1, -1},
        {"30 06 020101 0401FF", -1, -1},
        {"30 04 020101", -1, -2},
        {"31 03 020101", -1, -2},
        {"", -1, -2},
    };
    for (const auto &row : rows) {
        const Input input(row.octets);
        List *list = nullptr;
        const uint8_t *z = asn1_SeqOf_d(input.begin(), input.end(), 0, integer.d, integer.free, &list, 0);
        EXPECT_EQ(z == nullptr ? -1 : z - input.begin(), row.position) << row.octets;
        const int count = list == nullptr ? -1 : z == nullptr ? -2 : List_len(list);
        EXPECT_EQ(count, row.count) << row.octets;
        List_free(list, integer.free);
    }
}

TEST(ListCoder, ExplicitWrapperBoundsTheInnerList) {
    const Input input("A2 07 30 80 020101 0000");
    List *list = nullptr;
    EXPECT_EQ(asn1_expl_SeqOf_d(input.begin(), input.end(), 0x82, integer.d, integer.free, &list, 0), input.end());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(List_len(list), 1);
    List_free(list, integer.free);
    EXPECT_EQ(asn1_expl_SetOf_d(input.begin(), input.end(), 0x82, integer.d, integer.free, nullptr, 0), nullptr);
}

TEST(OneOctet, ValuesPassUnchanged) {
    using Decode = const uint8_t *(*)(const uint8_t *, const uint8_t *, uint8_t, uint32_t *, uint16_t);
    const struct {
        Decode d;
        const char *octets;
        int position;
        uint32_t value;
    } rows[] = {
        {asn1_Boolean_d, "01 01 FF", 3, 0xFF},      {asn1_Boolean_d, "01 01 01", 3, 1},
        {asn1_Boolean_d, "01 01 00", 3, 0},         {asn1_Boolean_d, "01 02 00 01", -1, 77},
        {asn1_Boolean_d, "01 00", -1, 77},          {asn1_Boolean_d, "", 0, 77},
        {asn1_Boolean_d, "0A 01 01", -1, 77},       {asn1_Enumerated_d, "0A 01 83", 3, 0x83},
        {asn1_Enumerated_d, "0A 02 00 01", -1, 77}, {asn1_Enumerated_d, "", 0, 77},
    };
    for (const auto &row : rows) {
        const Input input(row.octets);
        uint32_t value = 77;
        const uint8_t *z = row.d(input.begin(), input.end(), 0, &value, 0);
        EXPECT_EQ(z == nullptr ? -1 : static_cast<int>(z - input.begin()), row.position) << row.octets;
        EXPECT_EQ(value, row.value) << row.octets;
    }
    EXPECT_EQ(encoded([](uint8_t **cursor) { return asn1_Boolean_e(cursor, 0x101); }), "010101");
    EXPECT_EQ(encoded([](uint8_t **cursor) { return asn1_Enumerated_e(cursor, 7); }), "0A0107");
    EXPECT_EQ(encoded([](uint8_t **cursor) { return asn1_Null_e(cursor); }), "0500");
    const Input null("05 01 AA");
    EXPECT_EQ(asn1_Null_d(null.begin(), null.end(), 0, nullptr, 0), null.begin() + 2);
}

TEST(Assertions, ProgrammingErrorsEndTheProcessWithTheirCondition) {
    const uint8_t octets[] = {0x02, 0x01, 0x05};
    asn1_OctetString *string = nullptr;
    void *value = nullptr;
    EXPECT_DEATH(asn1_Tag_d(nullptr, octets, 0, 2, nullptr, 0), "z != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_Tag_d(octets, nullptr, 0, 2, nullptr, 0), "end != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_Length_d(octets, octets + 3, nullptr, nullptr, 0), "length != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_OctetString_d(octets, octets + 3, 0, nullptr, 0), "s != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_OctetString_d(nullptr, octets + 3, 0, &string, 0), "z != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_implicit_e(nullptr, 0x80, nullptr, integer.e), "`pElement'");
    EXPECT_DEATH(asn1_explicit_e(nullptr, 0x80, octets, nullptr), "`element_e'");
    EXPECT_DEATH(asn1_explicit_d(octets, octets + 3, 0x80, nullptr, &value, 0), "`element_d'");
    EXPECT_DEATH(asn1_explicit_d(octets, octets + 3, 0x80, integer.d, nullptr, 0), "`ppElement'");
    EXPECT_DEATH(asn1_SeqOf_d(octets, octets + 3, 0, integer.d, integer.free, nullptr, 0),
                 "ppList != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_Any_d(octets, octets + 3, 0x80, &string, 0), "impl_tag == 0");
    EXPECT_DEATH(asn1_SeqOf_e(nullptr, nullptr, integer.e), "list != \\(\\(void \\*\\)0\\)");
}

}  // namespace

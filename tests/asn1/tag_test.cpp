// Tags, lengths, wrappers and lists.
#include <gtest/gtest.h>

#include "asn1/bytes.h"

namespace {

uint32_t integer_e(uint8_t **cursor, const void *value) {
    return asn1_Integer_e(cursor, static_cast<const asn1_Integer *>(value));
}

const uint8_t *integer_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void **value, uint16_t level) {
    auto *typed = static_cast<asn1_Integer *>(*value);
    z = asn1_Integer_d(z, end, impl_tag, &typed, level);
    *value = typed;
    return z;
}

void integer_free(void *value) {
    asn1_Integer_free(static_cast<asn1_Integer *>(value));
}

TEST(Length, IsWrittenInTheShortestForm) {
    const struct {
        uint32_t length;
        const char *octets;
    } rows[] = {
        {0, "00"},
        {1, "01"},
        {127, "7F"},
        {128, "8180"},
        {255, "81FF"},
        {256, "820100"},
        {0xFFFF, "82FFFF"},
        {0x10000, "83010000"},
        {0xFFFFFF, "83FFFFFF"},
        {0x1000000, "8401000000"},
        {0xFFFFFFFF, "84FFFFFFFF"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(to_hex(encode([&](uint8_t **cursor) { return asn1_Length_e(cursor, row.length); })), row.octets);
}

TEST(Length, IsReadInEveryFormUpToFourOctets) {
    const struct {
        const char *octets;
        bool may_be_indefinite;
        int position;  // -1: refused
        uint32_t length;
        uint32_t indefinite;
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
        uint32_t length = 77;
        uint32_t indefinite = 77;
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
    const struct {
        const char *octets;
        bool found;
    } rows[] = {{"0000", true}, {"000001", true}, {"00", false}, {"", false}, {"0001", false}, {"0100", false}};
    for (const auto &row : rows) {
        const Input input(row.octets);
        EXPECT_EQ(asn1_eoc_d(input.begin(), input.end()) == input.begin() + 2, row.found) << row.octets;
    }
    EXPECT_EQ(to_hex(encode([](uint8_t **cursor) { return asn1_eoc_e(cursor); })), "0000");
}

TEST(Wrappers, AreWrittenAroundOrOverTheElement) {
    const asn1_Integer *five = asn1_Integer_3();
    const auto implicit = [&](uint8_t **cursor) { return asn1_implicit_e(cursor, 0x80, five, integer_e); };
    const auto explicit_ = [&](uint8_t **cursor) { return asn1_explicit_e(cursor, 0x81, five, integer_e); };
    EXPECT_EQ(to_hex(encode(implicit)), "800103");
    EXPECT_EQ(to_hex(encode(explicit_)), "A103020103");
}

TEST(Wrappers, LeaveSurplusToTheCaller) {
    const Input input("A1 06 020103 040100");
    void *value = nullptr;
    const uint8_t *z = asn1_explicit_d(input.begin(), input.end(), 0x81, integer_d, &value, 0);
    EXPECT_EQ(z, input.begin() + 5);
    integer_free(value);
    const Input indefinite("A1 80 020103 0000");
    value = nullptr;
    EXPECT_EQ(asn1_explicit_d(indefinite.begin(), indefinite.end(), 0x81, integer_d, &value, 0), nullptr);
    EXPECT_EQ(value, nullptr);
}

TEST(ListCoder, EmptyListsAreHeaders) {
    List *list = List_new(0);
    EXPECT_EQ(to_hex(encode([&](uint8_t **c) { return asn1_SeqOf_e(c, list, integer_e); })), "3000");
    EXPECT_EQ(to_hex(encode([&](uint8_t **c) { return asn1_SetOf_e(c, list, integer_e); })), "3100");
    EXPECT_EQ(to_hex(encode([&](uint8_t **c) { return asn1_expl_SeqOf_e(c, 0x82, list, integer_e); })), "A2023000");
    EXPECT_EQ(asn1_expl_SetOf_e(nullptr, 0x82, nullptr, integer_e), 0u);
    List_free(list, nullptr);
}

TEST(ListCoder, ElementsKeepTheirOrderAndFailTogether) {
    List *list = List_new(0);
    for (const uint32_t value : {3u, 1u, 2u})
        List_append(list, asn1_Integer_set(value), nullptr);
    EXPECT_EQ(to_hex(encode([&](uint8_t **c) { return asn1_SetOf_e(c, list, integer_e); })), "3109020103020101020102");
    List_append(list, nullptr, nullptr);
    EXPECT_EQ(asn1_SetOf_e(nullptr, list, integer_e), 0u);
    List_free(list, integer_free);
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
        const uint8_t *z = asn1_SeqOf_d(input.begin(), input.end(), 0, integer_d, integer_free, &list, 0);
        EXPECT_EQ(z == nullptr ? -1 : z - input.begin(), row.position) << row.octets;
        const int count = list == nullptr ? -1 : z == nullptr ? -2 : List_len(list);
        EXPECT_EQ(count, row.count) << row.octets;
        List_free(list, integer_free);
    }
}

TEST(ListCoder, ExplicitWrapperBoundsTheInnerList) {
    const Input input("A2 07 30 80 020101 0000");
    List *list = nullptr;
    EXPECT_EQ(asn1_expl_SeqOf_d(input.begin(), input.end(), 0x82, integer_d, integer_free, &list, 0), input.end());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(List_len(list), 1);
    List_free(list, integer_free);
    EXPECT_EQ(asn1_expl_SetOf_d(input.begin(), input.end(), 0x82, integer_d, integer_free, nullptr, 0), nullptr);
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
    EXPECT_DEATH(asn1_implicit_e(nullptr, 0x80, nullptr, integer_e), "`pElement'");
    EXPECT_DEATH(asn1_explicit_e(nullptr, 0x80, octets, nullptr), "`element_e'");
    EXPECT_DEATH(asn1_explicit_d(octets, octets + 3, 0x80, nullptr, &value, 0), "`element_d'");
    EXPECT_DEATH(asn1_explicit_d(octets, octets + 3, 0x80, integer_d, nullptr, 0), "`ppElement'");
    EXPECT_DEATH(asn1_SeqOf_d(octets, octets + 3, 0, integer_d, integer_free, nullptr, 0),
                 "ppList != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_Any_d(octets, octets + 3, 0x80, &string, 0), "impl_tag == 0");
    EXPECT_DEATH(asn1_SeqOf_e(nullptr, nullptr, integer_e), "list != \\(\\(void \\*\\)0\\)");
}

}  // namespace

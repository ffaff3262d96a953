// INTEGER, strings, BIT STRING, OBJECT IDENTIFIER, ANY and the one-octet types.
#include <gtest/gtest.h>

#include "asn1/bytes.h"

namespace {

constexpr int refused = -1;

// What a decoder left behind, as text: position, then the value by `show`.
template <class T, class Decode, class Show, class Free>
std::string decoded(std::string_view hex, Decode decode, Show show, Free free) {
    const Input input(hex);
    T *value = nullptr;
    const uint8_t *z = decode(input.begin(), input.end(), 0, &value, 0);
    const std::string text = z == nullptr ? "refused" : std::to_string(z - input.begin()) + ":" + show(value);
    if (z == nullptr) {
        EXPECT_EQ(value, nullptr) << hex;
    }
    free(value);
    return text;
}

std::string decoded_integer(std::string_view hex) {
    return decoded<asn1_Integer>(
        hex, asn1_Integer_d, [](asn1_Integer *i) { return to_hex(i->data, i->len) + (i->negative != 0 ? "-" : ""); },
        asn1_Integer_free);
}

std::string decoded_octets(std::string_view hex) {
    return decoded<asn1_OctetString>(
        hex, asn1_OctetString_d, [](asn1_OctetString *s) { return to_hex(s->data, s->len); }, asn1_OctetString_free);
}

std::string decoded_bits(std::string_view hex) {
    return decoded<asn1_BitString>(
        hex, asn1_BitString_d,
        [](asn1_BitString *bs) { return std::to_string(bs->bits) + "/" + to_hex(bs->data, (bs->bits + 7) / 8); },
        asn1_BitString_free);
}

std::string decoded_any(std::string_view hex) {
    return decoded<asn1_Any>(
        hex, asn1_Any_d, [](asn1_Any *any) { return to_hex(any->data, any->len); }, asn1_Any_free);
}

std::string dotted(const asn1_ObjId *id) {
    uint32_t size = 0;
    EXPECT_EQ(asn1_ObjId_sprint(id, nullptr, &size), 0);
    std::string text(size, '\0');
    EXPECT_EQ(asn1_ObjId_sprint(id, text.data(), &size), 0);
    text.resize(size - 1);
    return text;
}

std::string decoded_objid(std::string_view hex) {
    return decoded<asn1_ObjId>(hex, asn1_ObjId_d, dotted, asn1_ObjId_free);
}

template <class T>
struct Row {
    const char *octets;
    const char *result;
};

TEST(Integer, Decodes) {
    const Row<asn1_Integer> rows[] = {
        {"02 01 00", "3:"},
        {"02 01 05", "3:05"},
        {"02 02 00 80", "4:80"},
        {"02 01 80", "3:80-"},
        {"02 03 00 00 01", "5:0001"},  // one zero octet is taken off, once
        {"02 04 00 FF FF FF", "6:FFFFFF"},
        {"02 00", "refused"},
        {"02 02 01", "refused"},
        {"22 03 02 01 01", "refused"},
        {"02 80 01 00 00", "refused"},
        {"", "refused"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(decoded_integer(row.octets), row.result) << row.octets;
    asn1_Integer *value = nullptr;
    EXPECT_EQ(asn1_Integer_d(nullptr, nullptr, 0, &value, 0), nullptr);
}

TEST(Integer, EncodesItsMagnitude) {
    const struct {
        const char *data;
        uint32_t negative;
        const char *octets;
    } rows[] = {
        {"", 0, "020100"},   {"000000", 0, "020100"}, {"0000FF", 0, "020200FF"}, {"80", 0, "02020080"},
        {"80", 1, "020180"}, {"7F", 0, "02017F"},     {"FFFE", 1, "0202FFFE"},
    };
    for (const auto &row : rows) {
        Bytes data = from_hex(row.data);
        const asn1_Integer i = {static_cast<uint32_t>(data.size()), data.empty() ? nullptr : data.data(), row.negative};
        EXPECT_EQ(to_hex(encode([&](uint8_t **cursor) { return asn1_Integer_e(cursor, &i); })), row.octets);
    }
    EXPECT_EQ(asn1_Integer_e(nullptr, nullptr), 0u);
}

TEST(Integer, GetAndSetMeetAt32Bits) {
    const struct {
        const char *data;
        uint32_t value;
    } rows[] = {{"", 0},
                {"00", 0},
                {"FF", 255},
                {"01000000", 0x1000000},
                {"FFFFFFFF", UINT32_MAX},
                {"0100000000", UINT32_MAX},
                {"0000000001", 1},
                {"01FFFFFFFFFF", UINT32_MAX}};
    for (const auto &row : rows) {
        Bytes data = from_hex(row.data);
        const asn1_Integer i = {static_cast<uint32_t>(data.size()), data.data(), 0};
        EXPECT_EQ(asn1_Integer_get(&i), row.value) << row.data;
    }
    for (const uint32_t value : {0u, 1u, 0xFFu, 0x100u, 0xFFFFFFu, 0x1000000u, 0x80000000u, 0xFFFFFFFEu}) {
        asn1_Integer *i = asn1_Integer_set(value);
        EXPECT_EQ(asn1_Integer_get(i), value);
        EXPECT_TRUE(i->len == 0 || i->data[0] != 0);
        asn1_Integer_free(i);
    }
    EXPECT_EQ(asn1_Integer_get(asn1_Integer_0()) + asn1_Integer_get(asn1_Integer_1()) +
                  asn1_Integer_get(asn1_Integer_2()) + asn1_Integer_get(asn1_Integer_3()),
              6u);
    EXPECT_EQ(asn1_Integer_0()->len, 1u);
}

TEST(Integer, Compares) {
    uint8_t a[] = {1, 2};
    uint8_t b[] = {1, 3};
    const asn1_Integer ia = {2, a, 0};
    const asn1_Integer ib = {2, b, 0};
    const asn1_Integer shorter = {1, b, 0};
    const asn1_Integer negative = {2, a, 1};
    EXPECT_EQ(asn1_Integer_cmp(&ia, &ia), 0);
    EXPECT_EQ(asn1_Integer_cmp(&ia, &ib), -1);
    EXPECT_EQ(asn1_Integer_cmp(&ib, &ia), 1);
    EXPECT_EQ(asn1_Integer_cmp(&ia, &shorter), 1);
    EXPECT_EQ(asn1_Integer_cmp(&ia, &negative), 1);
}

TEST(String, Decodes) {
    const Row<asn1_OctetString> rows[] = {
        {"04 00", "2:"},
        {"04 02 41 42", "4:4142"},
        {"04 81 02 41 42", "5:4142"},
        {"24 06 04 01 41 04 01 42", "8:4142"},
        {"24 00", "2:"},
        {"24 80 04 01 41 04 01 42 00 00", "10:4142"},
        {"24 80 04 01 41 00 00 04 01 42", "7:41"},  // end-of-contents are found wherever they stand
        {"24 80 24 80 04 01 41 00 00 04 01 42 00 00", "14:4142"},
        {"24 07 24 03 04 01 41 04 00", "9:41"},
        {"04 80 41 42 00 00", "6:4142"},  // no valid form, and taken
        {"04 80 00 00", "4:"},
        {"04 80 41 00 42 00 00", "7:410042"},
        {"04 80 41 42 00", "refused"},
        {"04 80", "refused"},
        {"24 80 04 01 41", "refused"},
        {"24 80 04 01 41 00", "refused"},
        {"24 80", "refused"},
        {"24 80 00", "refused"},
        {"24 03 0C 01 41", "refused"},  // segments carry the type's own tag
        {"24 04 04 01 41 04", "refused"},
        {"24 03 04 02 41 42", "refused"},
        {"0C 01 41", "refused"},
        {"04 05", "refused"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(decoded_octets(row.octets), row.result) << row.octets;
}

TEST(String, ManySegmentsJoin) {
    Bytes input = {0x24, 0x80};
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        input.insert(input.end(), {0x04, 0x01, static_cast<uint8_t>(i % 255 + 1)});
        expected += to_hex(&input.back(), 1);
    }
    input.insert(input.end(), {0, 0});
    EXPECT_EQ(decoded_octets(to_hex(input)), "3004:" + expected);
}

TEST(String, FamilyDiffersByTagAlone) {
    const struct {
        uint8_t tag;
        const uint8_t *(*d)(const uint8_t *, const uint8_t *, uint8_t, asn1_ASN1String **, uint16_t);
        uint32_t (*e)(uint8_t **, const asn1_ASN1String *);
    } rows[] = {
        {4, asn1_OctetString_d, asn1_OctetString_e},
        {12, asn1_UTF8String_d, asn1_UTF8String_e},
        {18, asn1_NumericString_d, asn1_NumericString_e},
        {19, asn1_PrintableString_d, asn1_PrintableString_e},
        {20, asn1_TeletexString_d, asn1_TeletexString_e},
        {21, asn1_VideotextString_d, asn1_VideotextString_e},
        {22, asn1_IA5String_d, asn1_IA5String_e},
        {25, asn1_GraphicString_d, asn1_GraphicString_e},
        {26, asn1_VisibleString_d, asn1_VisibleString_e},
        {27, asn1_GeneralString_d, asn1_GeneralString_e},
        {28, asn1_UniversalString_d, asn1_UniversalString_e},
    };
    for (const auto &row : rows) {
        const Bytes octets = {row.tag, 2, 0xC3, 0x28};  // not even UTF-8: nothing here looks at the text
        const Input input(octets);
        asn1_ASN1String *s = nullptr;
        ASSERT_EQ(row.d(input.begin(), input.end(), 0, &s, 0), input.end());
        EXPECT_EQ(encode([&](uint8_t **cursor) { return row.e(cursor, s); }), octets);
        asn1_ASN1String_free(s);
    }
}

TEST(String, NewTakesTextsAndCounts) {
    const auto *text = reinterpret_cast<const uint8_t *>("token");
    const struct {
        uint32_t count;
        const uint8_t *source;
        const char *data;
    } rows[] = {{0, text, "746F6B656E"},
                {3, text, "746F6B"},
                {2, nullptr, "0000"},
                {0, nullptr, ""},
                {0, reinterpret_cast<const uint8_t *>(""), ""}};
    for (const auto &row : rows) {
        asn1_ASN1String *s = asn1_ASN1String_new(row.count, row.source);
        EXPECT_EQ(to_hex(s->data, s->len), row.data);
        asn1_ASN1String_free(s);
    }
}

TEST(String, AppendAndCompare) {
    const uint8_t more[] = {3, 4};
    asn1_ASN1String *s = asn1_ASN1String_new(0, nullptr);
    EXPECT_EQ(asn1_ASN1String_append(s, 0, more), s);
    EXPECT_EQ(asn1_ASN1String_append(s, 2, more), s);
    EXPECT_EQ(asn1_ASN1String_append(s, 1, more), s);
    EXPECT_EQ(to_hex(s->data, s->len), "030403");
    EXPECT_EQ(asn1_ASN1String_append(s, 4, nullptr), s);
    EXPECT_EQ(s->len, 7u);
    EXPECT_EQ(asn1_ASN1String_append(s, UINT32_MAX - 3, more), nullptr);
    EXPECT_EQ(s->len, 7u);
    asn1_ASN1String *copy = asn1_ASN1String_clone(s);
    EXPECT_EQ(asn1_ASN1String_cmp(s, copy), 0);
    copy->data[0] = 0xFF;
    EXPECT_EQ(asn1_ASN1String_cmp(s, copy), -1);
    EXPECT_EQ(asn1_ASN1String_cmp(copy, s), 1);
    copy->len = 1;
    EXPECT_EQ(asn1_ASN1String_cmp(s, copy), 1);
    asn1_ASN1String_free(copy);
    asn1_ASN1String_free(s);
    EXPECT_EQ(asn1_ASN1String_clone(nullptr), nullptr);
}

TEST(BitString, Decodes) {
    const Row<asn1_BitString> rows[] = {
        {"03 01 00", "3:0/"},
        {"03 02 05 A0", "4:3/A0"},
        {"03 03 00 A0 01", "5:16/A001"},
        {"03 02 07 80", "4:1/80"},
        {"03 02 08 80", "refused"},
        {"03 01 01", "refused"},
        {"03 00", "refused"},
        {"23 08 03 02 04 A0 03 02 00 01", "10:16/A001"},  // a segment's unused bits are lost
        {"23 04 03 02 04 A0", "6:8/A0"},
        {"23 80 03 02 00 A0 00 00", "8:8/A0"},
        {"23 02 03 00", "refused"},
        {"23 00", "2:0/"},
        {"03 80 05 A0 00 00", "6:3/A0"},
        {"03 80 00 00", "refused"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(decoded_bits(row.octets), row.result) << row.octets;
}

TEST(BitString, NamedFormDropsTrailingZerosTheOtherKeepsThem) {
    const struct {
        uint32_t bits;
        const char *data;
        const char *named;
        const char *all;
    } rows[] = {
        {8, "A0", "030205A0", "030200A0"},
        {3, "A0", "030205A0", "030205A0"},
        {0, "", "030100", "030100"},
        {16, "0000", "030100", "0303000000"},
        {9, "0180", "0303070180", "0303070180"},
        {16, "0100", "03020001", "0303000100"},
    };
    for (const auto &row : rows) {
        Bytes data = from_hex(row.data);
        const asn1_BitString bs = {row.bits, data.data()};
        EXPECT_EQ(to_hex(encode([&](uint8_t **cursor) { return asn1_BitString_e(cursor, &bs); })), row.named);
        EXPECT_EQ(to_hex(encode([&](uint8_t **cursor) { return asn1_BitString_BER_e(cursor, &bs); })), row.all);
        const asn1_ASN1String same = {row.bits, data.data()};
        EXPECT_EQ(to_hex(encode([&](uint8_t **cursor) { return asn1_ASN1String_e(cursor, 3, &same); })), row.named);
    }
    EXPECT_EQ(asn1_BitString_e(nullptr, nullptr), 0u);
    EXPECT_EQ(asn1_BitString_BER_e(nullptr, nullptr), 0u);
}

TEST(BitString, BitsAreSetTestedAndAppended) {
    asn1_BitString *bs = asn1_BitString_new(3);
    EXPECT_EQ(asn1_BitString_set(bs, 5, 1), bs);  // inside the byte: only the count grows
    EXPECT_EQ(bs->bits, 6u);
    EXPECT_EQ(asn1_BitString_set(bs, 17, 1), bs);
    EXPECT_EQ(bs->bits, 18u);
    EXPECT_EQ(to_hex(bs->data, 3), "040040");
    EXPECT_EQ(asn1_BitString_set(bs, 17, 0), bs);
    EXPECT_EQ(asn1_BitString_set(bs, 400, 0), bs);
    EXPECT_EQ(bs->bits, 18u);
    EXPECT_EQ(asn1_BitString_test(bs, 5), 1u);
    EXPECT_EQ(asn1_BitString_test(bs, 17), 0u);
    bs->bits = 5;
    EXPECT_EQ(asn1_BitString_test(bs, 5), 0u);  // not below the count, whatever the byte holds
    EXPECT_EQ(asn1_BitString_test(nullptr, 0), 0u);
    const uint8_t more[] = {0xFF};
    EXPECT_EQ(asn1_BitString_append(bs, 1, more), bs);
    EXPECT_EQ(bs->bits, 16u);
    EXPECT_EQ(to_hex(bs->data, 2), "04FF");
    EXPECT_EQ(asn1_BitString_append(bs, 0, nullptr), bs);
    EXPECT_EQ(asn1_BitString_set(bs, UINT32_MAX, 1), nullptr);
    asn1_BitString *copy = asn1_BitString_clone(bs);
    EXPECT_EQ(asn1_BitString_cmp(bs, copy), 0);
    copy->data[1] = 0;
    EXPECT_EQ(asn1_BitString_cmp(bs, copy), 1);
    EXPECT_EQ(asn1_BitString_cmp(copy, bs), -1);
    asn1_BitString_free(copy);
    asn1_BitString_free(bs);
}

TEST(ObjectIdentifier, Decodes) {
    const Row<asn1_ObjId> rows[] = {
        {"06 03 2A 86 48", "5:1.2.840"},
        {"06 00", "2:0"},
        {"06 01 00", "3:0.0"},
        {"06 01 7F", "3:3.7"},  // second arc above 39: no special case for a first arc of 2
        {"06 05 8F FF FF FF 7F", "7:107374182.15"},
        {"06 06 2A 8F FF FF FF 7F", "8:1.2.-1"},
        {"06 06 2A 90 80 80 80 00", "refused"},  // beyond 32 bits
        {"06 07 2A 80 80 80 80 80 01", "refused"},
        {"06 02 2A 86", "refused"},
        {"06 03 2A", "refused"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(decoded_objid(row.octets), row.result) << row.octets;
}

TEST(ObjectIdentifier, EveryEncodingComesBack) {
    for (const char *hex : {"06032A8648", "06017F", "06058FFFFFFF7F", "06062A8FFFFFFF7F", "0609 2A864886F70D010101"}) {
        const Input input(hex);
        asn1_ObjId *id = nullptr;
        ASSERT_EQ(asn1_ObjId_d(input.begin(), input.end(), 0, &id, 0), input.end());
        EXPECT_EQ(encode([&](uint8_t **cursor) { return asn1_ObjId_e(cursor, id); }), from_hex(hex));
        asn1_ObjId_free(id);
    }
    asn1_ObjId *one = asn1_ObjId_new(1);
    EXPECT_EQ(asn1_ObjId_e(nullptr, one), 0u);
    EXPECT_EQ(asn1_ObjId_e(nullptr, nullptr), 0u);
    asn1_ObjId_free(one);
}

TEST(ObjectIdentifier, TextsAreParsed) {
    const struct {
        const char *text;
        const char *dotted;  // null: refused
        const char *rest;
    } rows[] = {
        {"1.2.840(19)", "1.2.840", "(19)"},
        {"2.16.840.1", "2.16.840.1", ""},
        {"010.2", "8.2", ""},
        {"0", "0", ""},
        {"", nullptr, nullptr},
        {".1", nullptr, nullptr},
        {"1.", nullptr, nullptr},
        {"1..2", nullptr, nullptr},
        {"1.2.", nullptr, nullptr},
        {"x1", nullptr, nullptr},
        {"1.4294967296", nullptr, nullptr},
        {"1.09.5", nullptr, nullptr},
        {"1.-2", nullptr, nullptr},
        {"1.4294967295 tail", "1.-1", " tail"},
    };
    for (const auto &row : rows) {
        const char *text = row.text;
        asn1_ObjId *id = asn1_ObjId_parse(&text);
        ASSERT_EQ(id == nullptr, row.dotted == nullptr) << row.text;
        if (id != nullptr) {
            EXPECT_EQ(dotted(id), row.dotted);
            EXPECT_STREQ(text, row.rest);
        } else {
            EXPECT_EQ(text, row.text);
        }
        asn1_ObjId_free(id);
    }
}

TEST(ObjectIdentifier, PrintsIntoWhatFits) {
    const char *text = "1.2.840";
    asn1_ObjId *id = asn1_ObjId_parse(&text);
    char buffer[8];
    uint32_t size = 7;
    EXPECT_EQ(asn1_ObjId_sprint(id, buffer, &size), -1);
    EXPECT_EQ(size, 7u);
    size = 8;
    EXPECT_EQ(asn1_ObjId_sprint(id, buffer, &size), 0);
    EXPECT_STREQ(buffer, "1.2.840");
    asn1_ObjId *prefix = asn1_ObjId_clone(id);
    EXPECT_EQ(asn1_ObjId_cmp(id, prefix), 0);
    prefix->count = 2;
    EXPECT_EQ(asn1_ObjId_cmp(id, prefix), 1);
    asn1_ObjId_free(prefix);
    asn1_ObjId_free(id);
    EXPECT_DEATH(asn1_ObjId_sprint(nullptr, buffer, &size), "oid != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_ObjId_fprint(nullptr, stderr), "oid != \\(\\(void \\*\\)0\\)");
}

TEST(Any, StoresTheElementAsItStands) {
    const Row<asn1_Any> rows[] = {
        {"05 00", "2:0500"},
        {"1F 01 AA BB", "3:1F01AA"},            // one tag octet, whatever it says
        {"30 81 03 02 01 05", "6:3081030201"},  // a longer length form cuts the tail, the position stays true
        {"30 80 00 00", "refused"},
        {"30", "refused"},
        {"", "refused"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(decoded_any(row.octets), row.result) << row.octets;
    asn1_Any *empty = asn1_Any_new(0);
    EXPECT_EQ(asn1_Any_e(nullptr, empty), 0u);
    EXPECT_EQ(asn1_OctetString_e(nullptr, empty), 2u);
    EXPECT_EQ(asn1_Any_e(nullptr, nullptr), 0u);
    asn1_Any_free(empty);
    EXPECT_EQ(to_hex(encode([](uint8_t **cursor) { return asn1_Any_e(cursor, asn1_Any_NULL()); })), "0500");
}

TEST(OneOctet, ValuesPassUnchanged) {
    using Decode = const uint8_t *(*)(const uint8_t *, const uint8_t *, uint8_t, uint32_t *, uint16_t);
    const struct {
        Decode d;
        const char *octets;
        int position;
        uint32_t value;
    } rows[] = {
        {asn1_Boolean_d, "01 01 FF", 3, 0xFF},
        {asn1_Boolean_d, "01 01 01", 3, 1},
        {asn1_Boolean_d, "01 01 00", 3, 0},
        {asn1_Boolean_d, "01 02 00 01", refused, 77},
        {asn1_Boolean_d, "01 00", refused, 77},
        {asn1_Boolean_d, "", 0, 77},
        {asn1_Boolean_d, "0A 01 01", refused, 77},
        {asn1_Enumerated_d, "0A 01 83", 3, 0x83},
        {asn1_Enumerated_d, "0A 02 00 01", refused, 77},
        {asn1_Enumerated_d, "", 0, 77},
    };
    for (const auto &row : rows) {
        const Input input(row.octets);
        uint32_t value = 77;
        const uint8_t *z = row.d(input.begin(), input.end(), 0, &value, 0);
        EXPECT_EQ(z == nullptr ? refused : static_cast<int>(z - input.begin()), row.position) << row.octets;
        EXPECT_EQ(value, row.value) << row.octets;
    }
    EXPECT_EQ(to_hex(encode([](uint8_t **cursor) { return asn1_Boolean_e(cursor, 0x101); })), "010101");
    EXPECT_EQ(to_hex(encode([](uint8_t **cursor) { return asn1_Enumerated_e(cursor, 7); })), "0A0107");
    EXPECT_EQ(to_hex(encode([](uint8_t **cursor) { return asn1_Null_e(cursor); })), "0500");
    const Input null("05 01 AA");
    EXPECT_EQ(asn1_Null_d(null.begin(), null.end(), 0, nullptr, 0), null.begin() + 2);
}

}  // namespace

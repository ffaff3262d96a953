// INTEGER, strings, BIT STRING, OBJECT IDENTIFIER, ANY, times as they are encoded, and the one-octet types.
#include <gtest/gtest.h>
#include <map>
#include <openssl/objects.h>
#include <set>

#include "asn1/asn1_oid.h"
#include "asn1/record_table.h"

namespace {

std::string dotted(const asn1_ObjId *id) {
    uint32_t size = 0;
    EXPECT_EQ(asn1_ObjId_sprint(id, nullptr, &size), 0);
    std::string text(size, '\0');
    EXPECT_EQ(asn1_ObjId_sprint(id, text.data(), &size), 0);
    text.resize(size - 1);
    return text;
}

// What a decoder left behind, as text.
std::string shown(const Record &record) {
    if (record.position < 0)
        return record.position == -1 ? "refused" : "half done";
    std::string text = std::to_string(record.position) + ":";
    if (const std::string type = record.type->name; type == "Integer") {
        const auto *i = record.as<asn1_Integer>();
        text += to_hex(i->data, i->len) + (i->negative != 0 ? "-" : "");
    } else if (type == "BitString") {
        const auto *bits = record.as<asn1_BitString>();
        text += std::to_string(bits->bits) + "/" + to_hex(bits->data, (bits->bits + 7) / 8);
    } else if (type == "ObjId") {
        text += dotted(record.as<asn1_ObjId>());
    } else if (type == "Time") {
        const auto *time = record.as<asn1_Time>();
        text += std::to_string(time->tag) + " " + time->text;
    } else {
        const auto *string = record.as<asn1_OctetString>();
        text += to_hex(string->data, string->len);
    }
    return text;
}

const struct {
    const char *type, *octets, *result;
} decodings[] = {
    {"Integer", "02 01 00", "3:"},
    {"Integer", "02 01 05", "3:05"},
    {"Integer", "02 02 00 80", "4:80"},
    {"Integer", "02 01 80", "3:80-"},
    {"Integer", "02 03 00 00 01", "5:0001"},  // one zero octet is taken off, once
    {"Integer", "02 04 00 FF FF FF", "6:FFFFFF"},
    {"Integer", "02 00", "refused"},
    {"Integer", "02 02 01", "refused"},
    {"Integer", "22 03 02 01 01", "refused"},
    {"Integer", "02 80 01 00 00", "refused"},
    {"Integer", "", "refused"},
    {"OctetString", "04 00", "2:"},
    {"OctetString", "04 81 02 41 42", "5:4142"},
    {"OctetString", "24 06 04 01 41 04 01 42", "8:4142"},
    {"OctetString", "24 00", "2:"},
    {"OctetString", "24 80 04 01 41 04 01 42 00 00", "10:4142"},
    {"OctetString", "24 80 04 01 41 00 00 04 01 42", "7:41"},  // end-of-contents are found wherever they stand
    {"OctetString", "24 80 24 80 04 01 41 00 00 04 01 42 00 00", "14:4142"},
    {"OctetString", "24 07 24 03 04 01 41 04 00", "9:41"},
    {"OctetString", "04 80 41 42 00 00", "6:4142"},  // no valid form, and taken
    {"OctetString", "04 80 00 00", "4:"},
    {"OctetString", "04 80 41 00 42 00 00", "7:410042"},
    {"OctetString", "04 80 41 42 00", "refused"},
    {"OctetString", "04 80", "refused"},
    {"OctetString", "24 80 04 01 41", "refused"},
    {"OctetString", "24 80 04 01 41 00", "refused"},
    {"OctetString", "24 80", "refused"},
    {"OctetString", "24 80 00", "refused"},
    {"OctetString", "24 03 0C 01 41", "refused"},  // segments carry the type's own tag
    {"OctetString", "24 04 04 01 41 04", "refused"},
    {"OctetString", "24 03 04 02 41 42", "refused"},
    {"OctetString", "0C 01 41", "refused"},
    {"OctetString", "04 05", "refused"},
    {"BitString", "03 01 00", "3:0/"},
    {"BitString", "03 02 05 A0", "4:3/A0"},
    {"BitString", "03 03 00 A0 01", "5:16/A001"},
    {"BitString", "03 02 07 80", "4:1/80"},
    {"BitString", "03 02 08 80", "refused"},
    {"BitString", "03 01 01", "refused"},
    {"BitString", "03 00", "refused"},
    {"BitString", "23 08 03 02 04 A0 03 02 00 01", "10:16/A001"},  // a segment's unused bits are lost
    {"BitString", "23 04 03 02 04 A0", "6:8/A0"},
    {"BitString", "23 80 03 02 00 A0 00 00", "8:8/A0"},
    {"BitString", "23 02 03 00", "refused"},
    {"BitString", "23 00", "2:0/"},
    {"BitString", "03 80 05 A0 00 00", "6:3/A0"},
    {"BitString", "03 80 00 00", "refused"},
    {"ObjId", "06 03 2A 86 48", "5:1.2.840"},
    {"ObjId", "06 00", "2:0"},
    {"ObjId", "06 01 00", "3:0.0"},
    {"ObjId", "06 01 7F", "3:3.7"},  // second arc above 39: no special case for a first arc of 2
    {"ObjId", "06 05 8F FF FF FF 7F", "7:107374182.15"},
    {"ObjId", "06 06 2A 8F FF FF FF 7F", "8:1.2.-1"},
    {"ObjId", "06 06 2A 90 80 80 80 00", "refused"},  // beyond 32 bits
    {"ObjId", "06 07 2A 80 80 80 80 80 01", "refused"},
    {"ObjId", "06 02 2A 86", "refused"},
    {"Any", "05 00", "2:0500"},
    {"Any", "1F 01 AA BB", "3:1F01AA"},            // one tag octet, whatever it says
    {"Any", "30 81 03 02 01 05", "6:3081030201"},  // a longer length form cuts the tail, the position stays true
    {"Any", "30 80 00 00", "refused"},
    {"Any", "30", "refused"},
    {"Any", "", "refused"},
    {"Time", "17 03 303132", "5:23 012"},
    {"Time", "18 03 303132", "5:24 012"},
    {"Time", "18 00", "2:24 "},
    {"Time", "17 14 3132333435363738393031323334353637383930", "22:23 12345678901234567890"},  // longer than any time
    {"Time", "80 03 303132", "refused"},
    {"Time", "57 03 303132", "refused"},
    {"Time", "37 03 303132", "refused"},
    {"Time", "17 04 303132", "refused"},
    {"Time", "", "refused"},
};

TEST(Primitives, Decode) {
    for (const auto &row : decodings)
        EXPECT_EQ(shown(Record(row.type, row.octets)), row.result) << row.type << " " << row.octets;
    asn1_Integer *value = nullptr;
    EXPECT_EQ(asn1_Integer_d(nullptr, nullptr, 0, &value, 0), nullptr);
}

TEST(Primitives, OfShortestFormComeBack) {
    for (const auto &[type, octets] : {std::pair("ObjId", "06032A8648"),
                                       {"ObjId", "06017F"},
                                       {"ObjId", "06058FFFFFFF7F"},
                                       {"ObjId", "06062A8FFFFFFF7F"},
                                       {"Time", "1703303132"},
                                       {"Time", "17143132333435363738393031323334353637383930"},
                                       {"Any", "30020500"}}) {
        const Record record(type, octets);
        EXPECT_EQ(to_hex(record.written()), octets);
        EXPECT_EQ(to_hex(record.copy().written()), octets);
    }
    asn1_ObjId *one = asn1_ObjId_new(1);
    EXPECT_EQ(asn1_ObjId_e(nullptr, one), 0u);
    asn1_ObjId_free(one);
    EXPECT_EQ(Record("Time", "1800").written(), Bytes());
    EXPECT_EQ(asn1_UTCTime_e(nullptr, ""), 0u);
    asn1_Any *empty = asn1_Any_new(0);
    EXPECT_EQ(asn1_Any_e(nullptr, empty), 0u);
    EXPECT_EQ(asn1_OctetString_e(nullptr, empty), 2u);
    asn1_Any_free(empty);
    EXPECT_EQ(encoded([](uint8_t **cursor) { return asn1_Any_e(cursor, asn1_Any_NULL()); }), "0500");
    EXPECT_EQ(asn1_Integer_e(nullptr, nullptr) + asn1_BitString_e(nullptr, nullptr) +
                  asn1_BitString_BER_e(nullptr, nullptr) + asn1_ObjId_e(nullptr, nullptr) +
                  asn1_Any_e(nullptr, nullptr) + asn1_GeneralizedTime_e(nullptr, nullptr),
              0u);
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
        EXPECT_EQ(encoded([&](uint8_t **cursor) { return asn1_Integer_e(cursor, &i); }), row.octets);
    }
}

TEST(Integer, GetAndSetMeetAt32Bits) {
    for (const auto &[octets, value] : {std::pair("", 0u),
                                        {"00", 0u},
                                        {"FF", 255u},
                                        {"01000000", 0x1000000u},
                                        {"FFFFFFFF", UINT32_MAX},
                                        {"0100000000", UINT32_MAX},
                                        {"0000000001", 1u},
                                        {"01FFFFFFFFFF", UINT32_MAX}}) {
        Bytes data = from_hex(octets);
        const asn1_Integer i = {static_cast<uint32_t>(data.size()), data.data(), 0};
        EXPECT_EQ(asn1_Integer_get(&i), value) << octets;
    }
    for (const uint32_t value : {0u, 1u, 0xFFu, 0x100u, 0xFFFFFFu, 0x1000000u, 0x80000000u, 0xFFFFFFFEu}) {
        asn1_Integer *i = asn1_Integer_set(value);
        EXPECT_EQ(asn1_Integer_get(i), value);
        EXPECT_TRUE(i->len == 0 || i->data[0] != 0);
        asn1_Integer_free(i);
    }
    uint32_t value = 0;
    for (const asn1_Integer *i : {asn1_Integer_0(), asn1_Integer_1(), asn1_Integer_2(), asn1_Integer_3()})
        EXPECT_EQ(asn1_Integer_get(i), value++);
    EXPECT_EQ(asn1_Integer_0()->len, 1u);
}

TEST(Integer, Compares) {
    uint8_t a[] = {1, 2};
    uint8_t b[] = {1, 3};
    const asn1_Integer ia = {2, a, 0}, ib = {2, b, 0}, shorter = {1, b, 0}, negative = {2, a, 1};
    EXPECT_EQ(asn1_Integer_cmp(&ia, &ia), 0);
    EXPECT_EQ(asn1_Integer_cmp(&ia, &ib), -1);
    EXPECT_EQ(asn1_Integer_cmp(&ib, &ia), 1);
    EXPECT_EQ(asn1_Integer_cmp(&ia, &shorter), 1);
    EXPECT_EQ(asn1_Integer_cmp(&ia, &negative), 1);
}

TEST(String, ManySegmentsJoin) {
    Bytes input = {0x24, 0x80}, expected;
    for (int i = 0; i < 1000; ++i) {
        expected.push_back(static_cast<uint8_t>(i % 255 + 1));
        input.insert(input.end(), {0x04, 0x01, expected.back()});
    }
    EXPECT_EQ(shown(Record("OctetString", Input(input + Bytes{0, 0}))), "3004:" + to_hex(expected));
}

TEST(String, FamilyDiffersByTagAlone) {
    const struct {
        uint8_t tag;
        decltype(asn1_OctetString_d) *d;
        decltype(asn1_OctetString_e) *e;
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

TEST(String, NewAppendAndCompare) {
    const auto *text = reinterpret_cast<const uint8_t *>("token");
    const struct {
        uint32_t count;
        const uint8_t *source;
        const char *data;
    } rows[] = {
        {0, text, "746F6B656E"}, {3, text, "746F6B"}, {2, nullptr, "0000"}, {0, nullptr, ""}, {0, text + 5, ""}};
    for (const auto &row : rows) {
        asn1_ASN1String *s = asn1_ASN1String_new(row.count, row.source);
        EXPECT_EQ(to_hex(s->data, s->len), row.data);
        asn1_ASN1String_free(s);
    }
    const uint8_t more[] = {3, 4};
    asn1_ASN1String *s = asn1_ASN1String_new(0, nullptr);
    for (const uint32_t count : {0u, 2u, 1u})
        EXPECT_EQ(asn1_ASN1String_append(s, count, more), s);
    EXPECT_EQ(asn1_ASN1String_append(s, 1, nullptr), s);
    EXPECT_EQ(asn1_ASN1String_append(s, UINT32_MAX - 3, more), nullptr);
    EXPECT_EQ(s->len, 4u);
    EXPECT_EQ(to_hex(s->data, 3), "030403");
    asn1_ASN1String *copy = asn1_ASN1String_clone(s);
    EXPECT_EQ(asn1_ASN1String_cmp(s, copy), 0);
    copy->data[0] = 0xFF;
    EXPECT_EQ(asn1_ASN1String_cmp(s, copy), -1);
    EXPECT_EQ(asn1_ASN1String_cmp(copy, s), 1);
    copy->len = 1;
    EXPECT_EQ(asn1_ASN1String_cmp(s, copy), 1);
    asn1_ASN1String_free(copy);
    asn1_ASN1String_free(s);
}

TEST(BitString, NamedFormDropsTrailingZerosTheOtherKeepsThem) {
    const struct {
        uint32_t bits;
        const char *data, *named, *all;
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
        EXPECT_EQ(encoded([&](uint8_t **cursor) { return asn1_BitString_e(cursor, &bs); }), row.named);
        EXPECT_EQ(encoded([&](uint8_t **cursor) { return asn1_BitString_BER_e(cursor, &bs); }), row.all);
        const asn1_ASN1String same = {row.bits, data.data()};
        EXPECT_EQ(encoded([&](uint8_t **cursor) { return asn1_ASN1String_e(cursor, 3, &same); }), row.named);
    }
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
    EXPECT_EQ(asn1_BitString_append(bs, 0, nullptr), bs);
    EXPECT_EQ(bs->bits, 16u);
    EXPECT_EQ(to_hex(bs->data, 2), "04FF");
    EXPECT_EQ(asn1_BitString_set(bs, UINT32_MAX, 1), nullptr);
    asn1_BitString *copy = asn1_BitString_clone(bs);
    EXPECT_EQ(asn1_BitString_cmp(bs, copy), 0);
    copy->data[1] = 0;
    EXPECT_EQ(asn1_BitString_cmp(bs, copy), 1);
    EXPECT_EQ(asn1_BitString_cmp(copy, bs), -1);
    asn1_BitString_free(copy);
    asn1_BitString_free(bs);
}

TEST(ObjectIdentifier, TextsAreParsed) {
    const struct {
        const char *text, *dotted, *rest;  // dotted is null where the text is refused
    } rows[] = {
        {"1.2.840(19)", "1.2.840", "(19)"},
        {"2.16.840.1", "2.16.840.1", ""},
        {"010.2", "8.2", ""},
        {"0", "0", ""},
        {"1.4294967295 tail", "1.-1", " tail"},
        {"", nullptr, ""},
        {".1", nullptr, ""},
        {"1.", nullptr, ""},
        {"1..2", nullptr, ""},
        {"1.2.", nullptr, ""},
        {"x1", nullptr, ""},
        {"1.4294967296", nullptr, ""},
        {"1.09.5", nullptr, ""},
        {"1.-2", nullptr, ""},
    };
    for (const auto &row : rows) {
        const char *text = row.text;
        asn1_ObjId *id = asn1_ObjId_parse(&text);
        ASSERT_EQ(id == nullptr, row.dotted == nullptr) << row.text;
        EXPECT_STREQ(text, id != nullptr ? row.rest : row.text);
        if (id != nullptr) {
            EXPECT_EQ(dotted(id), row.dotted);
        }
        asn1_ObjId_free(id);
    }
}

TEST(ObjectIdentifier, PrintsIntoWhatFits) {
    const Record id("ObjId", "06032A8648");
    char buffer[8];
    uint32_t size = 7;
    EXPECT_EQ(asn1_ObjId_sprint(id.as<asn1_ObjId>(), buffer, &size), -1);
    EXPECT_EQ(size, 7u);
    size = 8;
    EXPECT_EQ(asn1_ObjId_sprint(id.as<asn1_ObjId>(), buffer, &size), 0);
    EXPECT_STREQ(buffer, "1.2.840");
    const Record prefix = id.copy();
    EXPECT_EQ(asn1_ObjId_cmp(id.as<asn1_ObjId>(), prefix.as<asn1_ObjId>()), 0);
    prefix.as<asn1_ObjId>()->count = 2;
    EXPECT_EQ(asn1_ObjId_cmp(id.as<asn1_ObjId>(), prefix.as<asn1_ObjId>()), 1);
    EXPECT_DEATH(asn1_ObjId_sprint(nullptr, buffer, &size), "oid != \\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(asn1_ObjId_fprint(nullptr, stderr), "oid != \\(\\(void \\*\\)0\\)");
}

// Those that OpenSSL does not know, or not by the name used here.
// clang-format off
const std::map<std::string, std::string> not_in_openssl = {
    {"rsaSignatureWithripemd160", "1.3.36.3.3.1.2"}, {"digestedData", "1.2.840.113549.1.7.5"},
    {"issuerAndSerialNumber", "1.2.840.113549.1.9.10"}, {"passwordCheck", "1.2.840.113549.1.9.11"},
    {"publicKey", "1.2.840.113549.1.9.12"}, {"signingDescription", "1.2.840.113549.1.9.13"},
    {"certTypes", "1.2.840.113549.1.9.22"}, {"crlTypes", "1.2.840.113549.1.9.23"},
    {"userPKCS12", "2.16.840.1.113730.3.1.216"}, {"pkcs15Token", "1.2.840.113549.1.9.25.1"},
    {"encryptedPrivateKeyInfo", "1.2.840.113549.1.9.25.2"}, {"randomNonce", "1.2.840.113549.1.9.25.3"},
    {"sequenceNumber", "1.2.840.113549.1.9.25.4"}, {"pkcs7PDU", "1.2.840.113549.1.9.25.5"}, {"id_at", "2.5.4"},
    {"id_at_objectClass", "2.5.4.0"}, {"id_at_aliasedEntryName", "2.5.4.1"},
    {"id_at_knowledgeInformation", "2.5.4.2"}, {"id_at_collectiveLocalityName", "2.5.4.7.1"},
    {"id_at_collectiveStateOrProvinceName", "2.5.4.8.1"}, {"id_at_collectiveStreetAddress", "2.5.4.9.1"},
    {"id_at_collectiveOrganizationName", "2.5.4.10.1"}, {"id_at_collectiveOrganizationalUnitName", "2.5.4.11.1"},
};
// clang-format on

// Letters and digits in lower case, without the prefix of attributes.
std::string plain(std::string text) {
    for (const char *prefix : {"id_at_", "id_"})
        if (text.rfind(prefix, 0) == 0)
            text.erase(0, std::string(prefix).size());
    std::erase_if(text, [](char c) { return std::isalnum(c) == 0; });
    std::transform(text.begin(), text.end(), text.begin(), [](char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

const struct {
    const char *name;
    const asn1_ObjId *(*get)();
} catalogue[] = {
#define ASN1_OID(name, ...) {#name, asn1_Get_##name},
#include "asn1/asn1_oid.def"
#undef ASN1_OID
};

TEST(ObjectIdentifier, NamesAreOpenSslsNames) {
    std::set<std::string> all = {dotted(asn1_Get_quorvanGlobalIdentifier())};
    for (const auto &[name, get] : catalogue) {
        const std::string text = dotted(get());
        EXPECT_TRUE(all.insert(text).second) << name << " is another one, too";
        EXPECT_EQ(get(), get()) << "always the same constant";
        if (const auto found = not_in_openssl.find(name); found != not_in_openssl.end()) {
            EXPECT_EQ(text, found->second) << name;
            continue;
        }
        const int nid = OBJ_txt2nid(text.c_str());
        ASSERT_NE(nid, NID_undef) << name << " " << text;
        EXPECT_TRUE(plain(OBJ_nid2ln(nid)).find(plain(name)) != std::string::npos ||
                    plain(OBJ_nid2sn(nid)).find(plain(name)) != std::string::npos)
            << name << " is " << OBJ_nid2ln(nid);
    }
}

}  // namespace

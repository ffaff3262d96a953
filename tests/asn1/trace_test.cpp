// The trace: what decoders write, line by line.
#include <gtest/gtest.h>
#include <regex.h>

#include "asn1/record_table.h"

namespace {

// Runs `work` with the trace on a stream in memory; the text with each line's head (process, thread, time) as "|".
template <class Work>
std::string traced(Work work) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    asn1_LogStart(stream);
    work();
    asn1_LogStart(nullptr);
    std::fclose(stream);
    regex_t head;
    regcomp(&head, "[0-9]{4,}:[0-9]{4,} [0-9]{2}:[0-9]{2}:[0-9]{2} ASN\\.1: ", REG_EXTENDED);
    std::string result;
    const char *rest = text;
    for (regmatch_t match; regexec(&head, rest, 1, &match, 0) == 0; rest += match.rm_eo)
        result += std::string(rest, static_cast<size_t>(match.rm_so)) + "|";
    result += rest;
    regfree(&head);
    std::free(text);
    return result;
}

std::string trace_of(std::string_view type, std::string_view hex, uint16_t level, uint8_t impl_tag = 0) {
    return traced([&] { Record(type, Input(hex), impl_tag, level); });
}

// The rest of a line of `count` octets, with their text.
std::string pad(size_t count, const char *text) {
    return std::string(48 - 3 * count, ' ') + text + "\n";
}

TEST(Trace, ShowsALevelsMessages) {
    EXPECT_EQ(traced([] { asn1_LogMessage(0, "text\n"); }), "");
    asn1_LogMessage(1, "no stream\n");
    EXPECT_EQ(traced([] { asn1_LogMessage(3, "%s\n", "text"); }), "|. . text\n");
    EXPECT_EQ(traced([] { asn1_LogMessage(1, "text\n"); }), "|text\n");
}

TEST(Trace, ListsBytesInLinesOfSixteen) {
    const auto listing = [](uint32_t count) {
        const std::string text = "ABCDEFGHIJKLMNO\x01Q";
        return traced([&] { asn1_LogByteArray(1, reinterpret_cast<const uint8_t *>(text.data()), count); });
    };
    const std::string first = "|  0x00000000 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 01 ABCDEFGHIJKLMNO.\n";
    EXPECT_EQ(listing(0), "");
    EXPECT_EQ(listing(16), first);
    EXPECT_EQ(listing(17), first + "|  0x00000010 51 " + pad(1, "Q"));
    EXPECT_EQ(traced([] { asn1_LogByteArray(1, nullptr, 3); }), "");
}

const std::string signed_type = "06{2A864886F70D010702}";
const std::string inner = "30{02{01} 31{} 30{" + signed_type + "} 31{}}";
const std::string outer = "30{02{01} 31{} 30{" + signed_type + "A0{" + inner + "}} A0{0500} 31{}}";

const struct {
    const char *type;
    std::string octets;
    uint16_t level;
    std::string lines;
    uint8_t impl_tag = 0;
} rows[] = {
    {"Integer", "020105", 0, ""},
    {"Integer", "020105", 2, "|. INTEGER\n|.  5\n"},
    {"Integer", "800105", 1, "|CONTEXT-SPECIFIC PRIMITIVE [0] INTEGER\n| 5\n", 0x80},
    {"Integer", "02050102030405", 1, "|INTEGER\n|  0x00000000 01 02 03 04 05 " + pad(5, ".....")},
    {"BitString", "030204F0", 1, "|BITSTRING\n|  (4 unused bits)\n|  0x00000000 F0 " + pad(1, ".")},
    {"ObjId", "06032A8648", 1, "|OBJECT IDENTIFIER \n|  1.2.840\n"},
    {"Any", "0500", 1, "|[ANY]\n|  0x00000000 05 00 " + pad(2, "..")},
    {"GeneralizedTime", "180130", 1, "|GENERALIZEDTIME \n|  \"0\"\n"},
    {"OctetString", "0405", 1, "|OCTETSTRING\n|z larger than end!\n"},
    // Constructed strings close one level up.
    {"OctetString", "2403040141", 2, "|. OCTETSTRING {\n|. OCTETSTRING\n|.   0x00000000 41 " + pad(1, "A") + "|}\n"},
    // The records of PKCS #15 keep their level and lists deepen it; other records indent their fields and close.
    {"CommonObjectAttributes", "30 0D 30 0B 30 09 03 02 07 80 04 03 000000", 1,
     "|SEQUENCE {\n|SEQUENCE {\n|. SEQUENCE {\n|. BITSTRING\n|.   (7 unused bits)\n|.   0x00000000 80 " + pad(1, ".") +
         "|. OCTETSTRING\n|.   0x00000000 00 00 00 " + pad(3, "...") + "|}\n"},
    {"SecurityCondition", "A1 03 04 01 41", 1,
     "|CONTEXT-SPECIFIC CONSTRUCTED [1] {\n|. OCTETSTRING\n|.   0x00000000 41 " + pad(1, "A") + "|}\n"},
    {"RSAPublicKey", "3006 020105 020103", 1, "|SEQUENCE {\n|. INTEGER\n|.  5\n|. INTEGER\n|.  3\n|}\n"},
    {"RSAPublicKey", "3006 020105 020103", 0, ""},
    {"RSAPublicKey", "3003 020105", 1, "|SEQUENCE {\n|. INTEGER\n|.  5\n"},
    {"DigestInfo", "3007 3003 06012A 0400", 1,
     "|SEQUENCE {\n|. SEQUENCE {\n|. . OBJECT IDENTIFIER \n|. .   1.2\n|. }\n|. OCTETSTRING\n|}\n"},
    // A message shows its content's wrapper among the record's fields, and signed data as it shows on its own.
    {"ContentInfo", "3080 06012A A080 0500 0000 0000", 1,
     "|SEQUENCE {\n|. OBJECT IDENTIFIER \n|.   1.2\n|. CONTEXT-SPECIFIC CONSTRUCTED [0] {\n|. [ANY]\n"
     "|.   0x00000000 05 00 " +
         pad(2, "..") + "|. }\n|}\n"},
    {"ContentInfo", "30{" + signed_type + "A0{" + outer + "}}", 1,
     "|SEQUENCE {\n|. OBJECT IDENTIFIER \n|.   1.2.840.113549.1.7.2\n|. CONTEXT-SPECIFIC CONSTRUCTED [0] {\n" +
         trace_of("SignedData", outer, 2) + "|. }\n|}\n"},
};

TEST(Trace, Decoders) {
    for (const auto &row : rows)
        EXPECT_EQ(trace_of(row.type, row.octets, row.level, row.impl_tag), row.lines) << row.type;
}

TEST(Trace, OneOctetDecoders) {
    uint32_t value = 0;
    const Input flag("0101FF"), number("0A0102");
    EXPECT_EQ(traced([&] { asn1_Boolean_d(flag.begin(), flag.end(), 0, &value, 1); }), "|BOOLEAN \n|  TRUE (ff)\n");
    EXPECT_EQ(traced([&] { asn1_Boolean_d(flag.end(), flag.end(), 0, &value, 1); }), "|  TRUE (ff)\n");
    EXPECT_EQ(traced([&] { asn1_Enumerated_d(flag.begin(), flag.end(), 0x81, &value, 1); }), "");
    EXPECT_EQ(traced([&] { asn1_Enumerated_d(number.begin(), number.end(), 0, &value, 1); }), "|ENUMERATED \n|  2\n");
}

}  // namespace

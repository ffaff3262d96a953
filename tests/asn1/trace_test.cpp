// The trace: what decoders write, line by line.
#include <gtest/gtest.h>
#include <regex>

#include "asn1/bytes.h"
#include "asn1/record_table.h"

namespace {

// Runs `work` with the trace on a stream in memory; the text with each head replaced by "HEAD ".
template <class Work>
std::string traced(Work work) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    asn1_LogStart(stream);
    work();
    asn1_LogStart(nullptr);
    std::fclose(stream);
    const std::string result(text, size);
    std::free(text);
    return std::regex_replace(result, std::regex("[0-9]{4,}:[0-9]{4,} [0-9]{2}:[0-9]{2}:[0-9]{2} ASN\\.1: "), "|");
}

template <class T, class Decode, class Free>
std::string trace_of(std::string_view hex, Decode decode, Free free, uint16_t level, uint8_t impl_tag = 0) {
    return traced([&] {
        const Input input(hex);
        T *value = nullptr;
        decode(input.begin(), input.end(), impl_tag, &value, level);
        free(value);
    });
}

std::string trace_of_record(const RecordType *record, std::string_view hex, uint16_t level) {
    return trace_of<void>(hex, record->d, record->free, level);
}

TEST(Trace, IsSilentWithoutStreamOrLevel) {
    EXPECT_EQ(traced([] { asn1_LogMessage(0, "text\n"); }), "");
    asn1_LogMessage(1, "no stream\n");
    EXPECT_EQ(trace_of<asn1_Integer>("020105", asn1_Integer_d, asn1_Integer_free, 0), "");
}

TEST(Trace, IndentsByLevel) {
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
    EXPECT_EQ(listing(17), first + "|  0x00000010 51 " + std::string(45, ' ') + "Q\n");
    EXPECT_EQ(traced([] { asn1_LogByteArray(1, nullptr, 3); }), "");
}

TEST(Trace, PrimitiveDecoders) {
    const std::string pad(45, ' ');
    EXPECT_EQ(trace_of<asn1_Integer>("020105", asn1_Integer_d, asn1_Integer_free, 2), "|. INTEGER\n|.  5\n");
    EXPECT_EQ(trace_of<asn1_Integer>("800105", asn1_Integer_d, asn1_Integer_free, 1, 0x80),
              "|CONTEXT-SPECIFIC PRIMITIVE [0] INTEGER\n| 5\n");
    EXPECT_EQ(trace_of<asn1_Integer>("02050102030405", asn1_Integer_d, asn1_Integer_free, 1),
              "|INTEGER\n|  0x00000000 01 02 03 04 05 " + std::string(33, ' ') + ".....\n");
    EXPECT_EQ(trace_of<asn1_BitString>("030204F0", asn1_BitString_d, asn1_BitString_free, 1),
              "|BITSTRING\n|  (4 unused bits)\n|  0x00000000 F0 " + pad + ".\n");
    EXPECT_EQ(trace_of<asn1_ObjId>("06032A8648", asn1_ObjId_d, asn1_ObjId_free, 1),
              "|OBJECT IDENTIFIER \n|  1.2.840\n");
    EXPECT_EQ(trace_of<asn1_Any>("0500", asn1_Any_d, asn1_Any_free, 1),
              "|[ANY]\n|  0x00000000 05 00 " + std::string(42, ' ') + "..\n");
    EXPECT_EQ(trace_of<char>("180130", asn1_GeneralizedTime_d, asn1_GeneralizedTime_free, 1),
              "|GENERALIZEDTIME \n|  \"0\"\n");
    EXPECT_EQ(trace_of<asn1_OctetString>("0405", asn1_OctetString_d, asn1_OctetString_free, 1),
              "|OCTETSTRING\n|z larger than end!\n");
    uint32_t value = 0;
    const Input flag("0101FF");
    EXPECT_EQ(traced([&] { asn1_Boolean_d(flag.begin(), flag.end(), 0, &value, 1); }), "|BOOLEAN \n|  TRUE (ff)\n");
    EXPECT_EQ(traced([&] { asn1_Boolean_d(flag.end(), flag.end(), 0, &value, 1); }), "|  TRUE (ff)\n");
    EXPECT_EQ(traced([&] { asn1_Enumerated_d(flag.begin(), flag.end(), 0x81, &value, 1); }), "");
    const Input number("0A0102");
    EXPECT_EQ(traced([&] { asn1_Enumerated_d(number.begin(), number.end(), 0, &value, 1); }), "|ENUMERATED \n|  2\n");
}

TEST(Trace, ConstructedStringsCloseOneLevelUp) {
    EXPECT_EQ(trace_of<asn1_OctetString>("2403040141", asn1_OctetString_d, asn1_OctetString_free, 2),
              "|. OCTETSTRING {\n|. OCTETSTRING\n|.   0x00000000 41 " + std::string(45, ' ') + "A\n|}\n");
}

TEST(Trace, RecordsKeepTheirLevelAndListsDeepenIt) {
    const RecordType *type = find_record_type("CommonObjectAttributes");
    const std::string text = traced([&] {
        const Input input("30 0D 30 0B 30 09 03 02 07 80 04 03 000000");
        void *value = nullptr;
        type->d(input.begin(), input.end(), 0, &value, 1);
        type->free(value);
    });
    EXPECT_EQ(text,
              "|SEQUENCE {\n"
              "|SEQUENCE {\n"
              "|. SEQUENCE {\n"
              "|. BITSTRING\n|.   (7 unused bits)\n|.   0x00000000 80 " +
                  std::string(45, ' ') +
                  ".\n"
                  "|. OCTETSTRING\n|.   0x00000000 00 00 00 " +
                  std::string(39, ' ') +
                  "...\n"
                  "|}\n");
    // The records outside PKCS#15 indent their fields and close.
    const RecordType *key = find_record_type("RSAPublicKey");
    const RecordType *digest = find_record_type("DigestInfo");
    EXPECT_EQ(trace_of_record(key, "3006 020105 020103", 1), "|SEQUENCE {\n|. INTEGER\n|.  5\n|. INTEGER\n|.  3\n|}\n");
    EXPECT_EQ(trace_of_record(key, "3006 020105 020103", 0), "");
    EXPECT_EQ(trace_of_record(key, "3003 020105", 1), "|SEQUENCE {\n|. INTEGER\n|.  5\n");
    EXPECT_EQ(trace_of_record(digest, "3007 3003 06012A 0400", 1),
              "|SEQUENCE {\n|. SEQUENCE {\n|. . OBJECT IDENTIFIER \n|. .   1.2\n|. }\n|. OCTETSTRING\n|}\n");
    const RecordType *condition = find_record_type("SecurityCondition");
    EXPECT_EQ(traced([&] {
                  const Input input("A1 03 04 01 41");
                  void *value = nullptr;
                  condition->d(input.begin(), input.end(), 0, &value, 1);
                  condition->free(value);
              }),
              "|CONTEXT-SPECIFIC CONSTRUCTED [1] {\n"
              "|. OCTETSTRING\n|.   0x00000000 41 " +
                  std::string(45, ' ') + "A\n|}\n");
}

// A message shows its content's wrapper among the record's fields, and signed data as it shows on its own.
TEST(Trace, Messages) {
    const RecordType *message = find_record_type("ContentInfo");
    EXPECT_EQ(trace_of_record(message, "3080 06012A A080 0500 0000 0000", 1),
              "|SEQUENCE {\n|. OBJECT IDENTIFIER \n|.   1.2\n|. CONTEXT-SPECIFIC CONSTRUCTED [0] {\n|. [ANY]\n"
              "|.   0x00000000 05 00 " +
                  std::string(42, ' ') + "..\n|. }\n|}\n");
    const std::string type = "06{2A864886F70D010702}";
    const std::string inner = "30{02{01} 31{} 30{" + type + "} 31{}}";
    const std::string outer = "30{02{01} 31{} 30{" + type + "A0{" + inner + "}} A0{0500} 31{}}";
    EXPECT_EQ(trace_of_record(message, "30{" + type + "A0{" + outer + "}}", 1),
              "|SEQUENCE {\n|. OBJECT IDENTIFIER \n|.   1.2.840.113549.1.7.2\n|. CONTEXT-SPECIFIC CONSTRUCTED [0] {\n" +
                  trace_of_record(find_record_type("SignedData"), outer, 2) + "|. }\n|}\n");
}

}  // namespace

// Strings, integers, bit strings, object identifiers, times, one-octet types, lists, and the texts of identifiers.
#include <algorithm>
#include <cstring>

#include "codec.h"
#include "runtime/owned.h"

namespace {

using ObjId = Owned<asn1_ObjId, asn1_ObjId_free>;

/// What is printed can be parsed back, as long as no arc shows negative.
void check_identifier(const uint8_t *data, size_t size) {
    asn1_ObjId *decoded = nullptr;
    if (asn1_ObjId_d(data, data + size, 0, &decoded, 0) == nullptr)
        return;
    const ObjId id(decoded);
    uint32_t length = 0;
    fuzz::require(asn1_ObjId_sprint(id.get(), nullptr, &length) == 0, "ObjId", "its text can be measured");
    const std::unique_ptr<char[]> text(new char[length]);
    fuzz::require(asn1_ObjId_sprint(id.get(), text.get(), &length) == 0, "ObjId", "its text can be printed");
    fuzz::require(std::strlen(text.get()) + 1 == length, "ObjId", "the text is as long as measured");
    if (std::any_of(id->arcs, id->arcs + id->count, [](uint32_t arc) { return arc > INT32_MAX; }))
        return;
    const char *position = text.get();
    const ObjId again(asn1_ObjId_parse(&position));
    fuzz::require(again != nullptr && *position == '\0', "ObjId", "its text can be parsed");
    fuzz::require(asn1_ObjId_cmp(id.get(), again.get()) == 0, "ObjId", "its text stands for it");
}

/// Any text may be given to the parser.
void check_text(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    const char *position = text.c_str();
    const ObjId id(asn1_ObjId_parse(&position));
    fuzz::require(position >= text.c_str() && position <= text.c_str() + text.size(), "ObjId", "parsing stays inside");
    asn1_Time time{.tag = (size & 1) != 0 ? 23u : 24u, .text = const_cast<char *>(text.c_str())};
    uint32_t seconds = 0;
    const int result = asn1_Time2Seconds(&seconds, &time);
    fuzz::require(result == 0 || result == -1, "Time", "a text is a time or is none");
    fuzz::require(result != 0 || asn1_Time_cmp(&time, &time) == 0, "Time", "a time equals itself");
}

/// A list of whatever stands there, in both forms of header.
void check_list(const uint8_t *data, size_t size) {
    static const RecordType &any = *find_record_type("Any");
    List *list = nullptr;
    const uint8_t *position = asn1_SeqOf_d(data, data + size, 0, any.d, any.free, &list, 0);
    if (position != nullptr) {
        fuzz::require(position <= data + size, "SEQUENCE OF", "the position lies within bounds");
        fuzz::require(asn1_SeqOf_e(nullptr, list, any.e) >= 2, "SEQUENCE OF", "a decoded list encodes");
    }
    List_free(list, any.free);
}

/// All bits are written as well, in so many octets as were measured.
void check_all_bits(const uint8_t *data, size_t size) {
    const Record record("BitString", Input(Bytes(data, data + size)));
    if (record.value == nullptr)
        return;
    const auto *bits = record.as<asn1_BitString>();
    const Record again("BitString",
                       Input(encode([bits](uint8_t **cursor) { return asn1_BitString_BER_e(cursor, bits); })));
    fuzz::require(again.value != nullptr && again.as<asn1_BitString>()->bits == bits->bits, "BitString",
                  "bits come back");
}

void check_one_octet_types(const uint8_t *data, size_t size) {
    uint32_t value = 0x100;
    const uint8_t *end = data + size;
    const uint8_t *position = asn1_Boolean_d(data, end, 0, &value, 0);
    fuzz::require(position == nullptr || (position > data && position <= end && value <= 0xFF), "BOOLEAN", "one octet");
    position = asn1_Enumerated_d(data, end, 0, &value, 0);
    fuzz::require(position == nullptr || (position > data && position <= end), "ENUMERATED", "within bounds");
    position = asn1_Null_d(data, end, 0, nullptr, 0);
    fuzz::require(position == nullptr || (position > data && position <= end), "NULL", "within bounds");
}

constexpr void (*checks[])(const uint8_t *, size_t) = {check_identifier, check_text, check_list, check_one_octet_types,
                                                       check_all_bits};

}  // namespace

const fuzz::Target fuzz::target = {"OctetString", "Time", checks};

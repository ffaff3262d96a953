// Strings, integers, bit strings, object identifiers, times, one-octet types, lists, and the texts of identifiers.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/asn1_x680.h"
#include "codec.h"

namespace {

#define FUZZ_PRIMITIVE(T, NAME) fuzz::codec<T, asn1_##NAME##_e, asn1_##NAME##_d, asn1_##NAME##_free>(#NAME),

constexpr fuzz::Codec codecs[] = {
#include "primitives.def"
    fuzz::codec<asn1_BitString, asn1_BitString_BER_e, asn1_BitString_d, asn1_BitString_free>("BitString, all bits"),
};

template <class T, void (*Free)(T *)>
struct Releaser {
    void operator()(T *value) const {
        Free(value);
    }
};
using ObjId = std::unique_ptr<asn1_ObjId, Releaser<asn1_ObjId, asn1_ObjId_free>>;

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
    const fuzz::Codec any = fuzz::codec<asn1_Any, asn1_Any_e, asn1_Any_d, asn1_Any_free>("Any");
    List *list = nullptr;
    const uint8_t *position = asn1_SeqOf_d(data, data + size, 0, any.decode, any.release, &list, 0);
    if (position != nullptr) {
        fuzz::require(position <= data + size, "SEQUENCE OF", "the position lies within bounds");
        const uint32_t length = asn1_SeqOf_e(nullptr, list, any.encode);
        fuzz::require(length >= 2, "SEQUENCE OF", "a decoded list encodes");
    }
    List_free(list, any.release);
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

constexpr void (*other_checks[])(const uint8_t *, size_t) = {check_identifier, check_text, check_list,
                                                             check_one_octet_types};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    return 0;
}

// The first octet: C0 and above one of the other checks, below it a type as in every codec target.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2)
        return -1;
    if (data[0] < 0xC0)
        return fuzz::run_codecs(codecs, data, size);
    other_checks[data[0] % std::size(other_checks)](data + 1, size - 1);
    return 0;
}

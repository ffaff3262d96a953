// UTCTime and GeneralizedTime as texts, and the CHOICE of the two.
#include <cstring>

#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "runtime/owned.h"

namespace {

constexpr uint8_t utc_time = 23;
constexpr uint8_t generalized_time = 24;
constexpr size_t utc_buffer = 18;
constexpr size_t generalized_buffer = 27;

// A terminated copy of `length` characters in a buffer of at least `capacity`.
char *copy_text(const char *text, size_t length, size_t capacity) {
    char *copy = allocate<char>(length < capacity ? capacity : length + 1);
    if (copy != nullptr && length != 0)
        std::memcpy(copy, text, length);
    return copy;
}

char *clone_text(const char *text) {
    return text == nullptr ? nullptr : copy_text(text, std::strlen(text), 0);
}

uint32_t encode_text(uint8_t **cursor, uint8_t tag, const char *text) {
    const size_t length = text != nullptr ? std::strlen(text) : 0;
    if (length == 0 || length > UINT32_MAX - 5)
        return 0;
    const auto octets = static_cast<uint32_t>(length);
    const uint32_t header = asn1_TagLength_e(cursor, tag, octets);
    if (cursor != nullptr) {
        std::memcpy(*cursor, text, octets);
        *cursor += octets;
    }
    return header + octets;
}

// The text is not looked at here. One that is longer than any valid time gets a buffer of its own size.
const uint8_t *decode_text(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag, size_t capacity,
                           char **text, uint16_t level) {
    if (z == nullptr || text == nullptr)
        return nullptr;
    *text = nullptr;
    uint32_t length = 0;
    z = asn1_TagLength_d(z, end, impl_tag, tag, nullptr, &length, nullptr, level);
    if (z == nullptr)
        return nullptr;
    *text = copy_text(reinterpret_cast<const char *>(z), length, capacity);
    if (*text == nullptr)
        return nullptr;
    asn1_LogMessage(level, "  \"%s\"\n", *text);
    return z + length;
}

}  // namespace

extern "C" {

char *asn1_UTCTime_new(void) {
    return allocate<char>(utc_buffer);
}

char *asn1_GeneralizedTime_new(void) {
    return allocate<char>(generalized_buffer);
}

void asn1_UTCTime_free(char *text) {
    std::free(text);
}

void asn1_GeneralizedTime_free(char *text) {
    std::free(text);
}

char *asn1_UTCTime_clone(const char *text) {
    return clone_text(text);
}

char *asn1_GeneralizedTime_clone(const char *text) {
    return clone_text(text);
}

uint32_t asn1_UTCTime_e(uint8_t **cursor, const char *text) {
    return encode_text(cursor, utc_time, text);
}

uint32_t asn1_GeneralizedTime_e(uint8_t **cursor, const char *text) {
    return encode_text(cursor, generalized_time, text);
}

const uint8_t *asn1_UTCTime_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, char **text, uint16_t level) {
    return decode_text(z, end, impl_tag, utc_time, utc_buffer, text, level);
}

const uint8_t *asn1_GeneralizedTime_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, char **text,
                                      uint16_t level) {
    return decode_text(z, end, impl_tag, generalized_time, generalized_buffer, text, level);
}

asn1_Time *asn1_Time_new(void) {
    return allocate<asn1_Time>();
}

void asn1_Time_free(asn1_Time *time) {
    if (time == nullptr)
        return;
    std::free(time->text);
    std::free(time);
}

asn1_Time *asn1_Time_clone(const asn1_Time *time) {
    if (time == nullptr || (time->tag != utc_time && time->tag != generalized_time))
        return nullptr;
    Owned<asn1_Time, asn1_Time_free> clone(asn1_Time_new());
    if (clone == nullptr)
        return nullptr;
    clone->tag = time->tag;
    clone->text = clone_text(time->text);
    return clone->text != nullptr || time->text == nullptr ? clone.release() : nullptr;
}

uint32_t asn1_Time_e(uint8_t **cursor, const asn1_Time *time) {
    if (time == nullptr)
        return 0;
    switch (time->tag) {
        case utc_time:
            return asn1_UTCTime_e(cursor, time->text);
        case generalized_time:
            return asn1_GeneralizedTime_e(cursor, time->text);
        default:
            return 0;
    }
}

const uint8_t *asn1_Time_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_Time **time, uint16_t level) {
    if (time == nullptr)
        return nullptr;
    *time = nullptr;
    if (asn1::remaining(z, end) < 1)
        return nullptr;
    Owned<asn1_Time, asn1_Time_free> value(asn1_Time_new());
    if (value == nullptr)
        return nullptr;
    // The whole octet counts, unmasked: only the two universal tags choose an alternative.
    value->tag = *z;
    if (value->tag == utc_time)
        z = asn1_UTCTime_d(z, end, impl_tag, &value->text, level);
    else if (value->tag == generalized_time)
        z = asn1_GeneralizedTime_d(z, end, impl_tag, &value->text, level);
    else
        z = nullptr;
    if (z != nullptr)
        *time = value.release();
    return z;
}
}

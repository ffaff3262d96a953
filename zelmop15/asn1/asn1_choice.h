// How a CHOICE is declared: once, as the list of its alternatives.
//
//     template <>
//     struct Schema<::KeyInfo> {
//         using fields = Choice<
//             Alternative<2,  Reference>,
//             Alternative<16, Any>>;
//     };
//     ASN1_CHOICE(KeyInfo)
//
// The record has two members: the alternative's tag number, which is the low five bits of the first octet, and the
// value.
#ifndef ZELMOP15_ASN1_ASN1_CHOICE_H
#define ZELMOP15_ASN1_ASN1_CHOICE_H

#include "asn1/asn1_record.h"

namespace asn1 {

/// Class and constructed bit are thrown away, so that [16] and SEQUENCE look alike.
inline constexpr uint8_t tag_number_mask = 0x1F;

/// Alternatives with the numbers First to Last, all of one type. `Written` is the octet that replaces the type's own on
/// writing (0: none), `Read` the same on reading, to which the number is added where there are several.
template <uint32_t First, uint32_t Last, class C, uint8_t Written = 0, uint8_t Read = Written>
struct Alternatives {
    using T = typename C::value_type;

    static constexpr bool matches(uint32_t tag) {
        return tag >= First && tag <= Last;
    }
    static uint32_t encode(uint8_t **cursor, const void *value) {
        return C::e(cursor, Written, static_cast<const T *>(value));
    }
    static const uint8_t *decode(const uint8_t *z, const uint8_t *end, uint32_t tag, void *&value, uint16_t level) {
        const auto impl_tag = static_cast<uint8_t>(First == Last || Read == 0 ? Read : Read + tag);
        T *typed = nullptr;
        z = C::d(z, end, impl_tag, &typed, level);
        value = typed;
        return z;
    }
    static void free(void *value) {
        C::free(static_cast<T *>(value));
    }
};

/// One alternative.
template <uint32_t Tag, class C, uint8_t Written = 0, uint8_t Read = Written>
using Alternative = Alternatives<Tag, Tag, C, Written, Read>;

/// The alternatives of a CHOICE; a number that none of them has is refused in both directions.
template <class... A>
struct Choice {
    static uint32_t encode(uint8_t **cursor, uint32_t tag, const void *value) {
        uint32_t length = 0;
        (void)((A::matches(tag) && (length = A::encode(cursor, value), true)) || ...);
        return length;
    }
    static const uint8_t *decode(const uint8_t *z, const uint8_t *end, uint32_t tag, void *&value, uint16_t level) {
        const uint8_t *position = nullptr;
        (void)((A::matches(tag) && (position = A::decode(z, end, tag, value, level), true)) || ...);
        return position;
    }
    static void free(uint32_t tag, void *value) {
        (void)((A::matches(tag) && (A::free(value), true)) || ...);
    }
    template <class R>
    static void free_members(R &record) {
        free(record.tag, record.value);
    }
};

template <class R>
uint32_t encode_choice(uint8_t **cursor, const R *record) {
    return record == nullptr ? 0 : Schema<R>::fields::encode(cursor, record->tag, record->value);
}

template <class R>
const uint8_t *decode_choice(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, R **record, uint16_t level) {
    ZELMO_ASSERT(impl_tag == 0, "impl_tag == 0");
    *record = nullptr;
    if (remaining(z, end) < 1)
        return nullptr;
    OwnedRecord<R> value(allocate<R>());
    if (value == nullptr)
        return nullptr;
    value->tag = *z & tag_number_mask;
    z = Schema<R>::fields::decode(z, end, value->tag, value->value, level);
    if (z != nullptr)
        *record = value.release();
    return z;
}

/// Defines new and free of a CHOICE from its schema.
#define ASN1_CHOICE_RECORD(T)                   \
    extern "C" T *asn1_##T##_new(void) {        \
        return allocate<T>();                   \
    }                                           \
    extern "C" void asn1_##T##_free(T *value) { \
        asn1::free_record(value);               \
    }

/// Defines the encoder of a CHOICE from its schema.
#define ASN1_CHOICE_ENCODER(T)                                           \
    extern "C" uint32_t asn1_##T##_e(uint8_t **cursor, const T *value) { \
        return asn1::encode_choice(cursor, value);                       \
    }

/// Defines the decoder of a CHOICE from its schema.
#define ASN1_CHOICE_DECODER(T)                                                                                \
    extern "C" const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **value, \
                                           uint16_t level) {                                                  \
        return asn1::decode_choice(z, end, impl_tag, value, level);                                           \
    }

/// Defines new, free, encode and decode of a CHOICE from its schema, with C linkage.
#define ASN1_CHOICE(T)     \
    ASN1_CHOICE_RECORD(T)  \
    ASN1_CHOICE_ENCODER(T) \
    ASN1_CHOICE_DECODER(T)

}  // namespace asn1

#endif

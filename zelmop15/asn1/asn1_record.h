// How a record is declared: once, as the list of its fields in the order of the encoding. Everything that a record can
// do - free, clone, measure, encode, decode - follows from that list.
//
//     template <>
//     struct Schema<::Path> {
//         using R = ::Path;
//         using fields = Sequence<
//             Mandatory<&R::path,   OctetString>,
//             Optional <&R::index,  Integer, 0x02>,
//             Optional <&R::length, Integer, 0x80>>;
//     };
//     ASN1_RECORD(Path)
//
// A field names its member, the coder of its type, and the octet with which it begins. An octet other than the type's
// own is an implicit tag. A coder is a class with the member's type `value_type`, its own `octet`, and e, d, free and
// clone as static functions; the same four with void pointers serve where elements are passed as such.
#ifndef ZELMOP15_ASN1_ASN1_RECORD_H
#define ZELMOP15_ASN1_ASN1_RECORD_H

#include <type_traits>

#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "runtime/assertion.h"
#include "runtime/owned.h"

namespace asn1 {

inline constexpr uint8_t constructed_bit = 0x20;
inline constexpr uint8_t sequence_octet = 0x30;
inline constexpr uint8_t set_octet = 0x31;
inline constexpr uint8_t no_octet = 0;  // a CHOICE or ANY has no octet of its own

// ---- coders --------------------------------------------------------------------------------------------------------

/// The typed functions of a coder in the shapes that lists and wrappers take.
template <class C, class T>
struct Thunks {
    using value_type = T;

    static uint32_t e_thunk(uint8_t **cursor, const void *value) {
        return C::e(cursor, 0, static_cast<const T *>(value));
    }
    static const uint8_t *d_thunk(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void **value,
                                  uint16_t level) {
        T *typed = static_cast<T *>(*value);
        z = C::d(z, end, impl_tag, &typed, level);
        *value = typed;
        return z;
    }
    static void free_thunk(void *value) {
        C::free(static_cast<T *>(value));
    }
    static void *clone_thunk(const void *value) {
        return C::clone(static_cast<const T *>(value));
    }
};

/// Coder of a type with functions of its own.
template <class T, uint8_t Octet, auto Encode, auto Decode, auto Free, auto Clone = nullptr>
struct Coder : Thunks<Coder<T, Octet, Encode, Decode, Free, Clone>, T> {
    static constexpr uint8_t octet = Octet;

    /// `tag` other than 0 replaces the first octet, all but its constructed bit.
    static uint32_t e(uint8_t **cursor, uint8_t tag, const T *value) {
        return tag != 0 ? asn1_implicit_e(cursor, tag, value, Coder::e_thunk) : Encode(cursor, value);
    }
    static const uint8_t *d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **value, uint16_t level) {
        return Decode(z, end, impl_tag, value, level);
    }
    static void free(T *value) {
        Free(value);
    }
    static T *clone(const T *value) {
        static_assert(!std::is_null_pointer_v<decltype(Clone)>, "this type cannot be cloned");
        return Clone(value);
    }
};

/// Coder of elements in a row, held as a List.
template <class Element, uint8_t Octet>
struct ListOf : Thunks<ListOf<Element, Octet>, List> {
    static constexpr uint8_t octet = Octet;

    static uint32_t e(uint8_t **cursor, uint8_t tag, const List *list) {
        return list == nullptr ? 0 : asn1_List_e(cursor, tag != 0 ? tag : octet, list, Element::e_thunk);
    }
    static const uint8_t *d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, List **list, uint16_t level) {
        return asn1_List_d(z, end, impl_tag, octet, Element::d_thunk, Element::free_thunk, list, level);
    }
    static void free(List *list) {
        List_free(list, Element::free_thunk);
    }
    static List *clone(const List *list) {
        return List_clone(list, Element::clone_thunk, Element::free_thunk);
    }
};

template <class Element>
using SeqOf = ListOf<Element, sequence_octet>;
template <class Element>
using SetOf = ListOf<Element, set_octet>;

/// Coder of a type inside an explicit wrapper; the field's octet is the wrapper's.
template <class Inner>
struct Explicit : Thunks<Explicit<Inner>, typename Inner::value_type> {
    using T = typename Inner::value_type;
    static constexpr uint8_t octet = no_octet;

    static uint32_t e(uint8_t **cursor, uint8_t tag, const T *value) {
        return asn1_explicit_e(cursor, tag, value, Inner::e_thunk);
    }
    static const uint8_t *d(const uint8_t *z, const uint8_t *end, uint8_t tag, T **value, uint16_t level) {
        void *untyped = nullptr;
        z = asn1_explicit_d(z, end, tag, Inner::d_thunk, &untyped, level);
        *value = static_cast<T *>(untyped);
        return z;
    }
    static void free(T *value) {
        Inner::free(value);
    }
    static T *clone(const T *value) {
        return Inner::clone(value);
    }
};

#define ASN1_CODER(Name, T, octet) \
    using Name = Coder<T, octet, asn1_##Name##_e, asn1_##Name##_d, asn1_##Name##_free, asn1_##Name##_clone>
ASN1_CODER(OctetString, asn1_OctetString, 0x04);
ASN1_CODER(UTF8String, asn1_UTF8String, 0x0C);
ASN1_CODER(PrintableString, asn1_PrintableString, 0x13);
ASN1_CODER(BitString, asn1_BitString, 0x03);
ASN1_CODER(Integer, asn1_Integer, 0x02);
ASN1_CODER(ObjId, asn1_ObjId, 0x06);
ASN1_CODER(GeneralizedTime, char, 0x18);
ASN1_CODER(Time, asn1_Time, no_octet);
#undef ASN1_CODER

/// ANY: the octet of its field only tells it apart and stays in the stored bytes.
struct Any : Thunks<Any, asn1_Any> {
    static constexpr uint8_t octet = no_octet;

    static uint32_t e(uint8_t **cursor, uint8_t /*tag*/, const asn1_Any *value) {
        return asn1_Any_e(cursor, value);
    }
    static const uint8_t *d(const uint8_t *z, const uint8_t *end, uint8_t /*tag*/, asn1_Any **value, uint16_t level) {
        return asn1_Any_d(z, end, 0, value, level);
    }
    static void free(asn1_Any *value) {
        asn1_Any_free(value);
    }
    static asn1_Any *clone(const asn1_Any *value) {
        return asn1_Any_clone(value);
    }
};

using Label = Coder<::Label, 0x0C, asn1_Label_e, asn1_Label_d, asn1_UTF8String_free, asn1_UTF8String_clone>;
using Identifier = OctetString;
using Reference = Integer;

/// Coder of a record or CHOICE that can be cloned, and of one that cannot.
#define ASN1_RECORD_CODER(T, octet)       Coder<::T, octet, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free, asn1_##T##_clone>
#define ASN1_PLAIN_RECORD_CODER(T, octet) Coder<::T, octet, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free>

// ---- fields --------------------------------------------------------------------------------------------------------

template <class R, class M>
R record_of(M R::*);
template <auto Member>
using RecordOf = decltype(record_of(Member));

/// Whether a field that begins with `octet` stands at `z`.
inline bool stands_at(const uint8_t *z, const uint8_t *limit, uint8_t octet) {
    return remaining(z, limit) > 0 && *z == octet;
}

/// A member that points to a value of the coder's type.
template <auto Member, class C, uint8_t Octet>
struct PointerField {
    using R = RecordOf<Member>;
    static constexpr uint8_t tag = Octet == C::octet ? 0 : Octet;

    static void preset(R &) {}
    static bool take(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        z = C::d(z, limit, tag, &(record.*Member), level);
        return z != nullptr;
    }
    static bool put(uint8_t **cursor, const R &record, uint32_t &sum) {
        const uint32_t length = C::e(cursor, tag, record.*Member);
        return length != 0 && add_length(sum, length);
    }
    static void free(R &record) {
        C::free(record.*Member);
    }
    static bool clone(R &to, const R &from) {
        if (from.*Member != nullptr)
            to.*Member = C::clone(from.*Member);
        return to.*Member != nullptr || from.*Member == nullptr;
    }
};

/// A member that must be there, in both directions. At the record's end its coder is not even called.
template <auto Member, class C, uint8_t Octet = C::octet>
struct Mandatory : PointerField<Member, C, Octet> {
    using Field = PointerField<Member, C, Octet>;
    static bool decode(const uint8_t *&z, const uint8_t *limit, typename Field::R &record, uint16_t level) {
        return remaining(z, limit) > 0 && Field::take(z, limit, record, level);
    }
    static bool encode(uint8_t **cursor, const typename Field::R &record, uint32_t &sum) {
        return Field::put(cursor, record, sum);
    }
};

/// A member that is there when the next octet is exactly its own.
template <auto Member, class C, uint8_t Octet>
struct Optional : PointerField<Member, C, Octet> {
    using Field = PointerField<Member, C, Octet>;
    static bool decode(const uint8_t *&z, const uint8_t *limit, typename Field::R &record, uint16_t level) {
        return !stands_at(z, limit, Octet) || Field::take(z, limit, record, level);
    }
    static bool encode(uint8_t **cursor, const typename Field::R &record, uint32_t &sum) {
        return record.*Member == nullptr || Field::put(cursor, record, sum);
    }
};

/// A member that is there when anything at all is left of the record, whatever its first octet.
template <auto Member, class C>
struct OptionalRest : Optional<Member, C, C::octet> {
    using Field = PointerField<Member, C, C::octet>;
    static bool decode(const uint8_t *&z, const uint8_t *limit, typename Field::R &record, uint16_t level) {
        return remaining(z, limit) == 0 || Field::take(z, limit, record, level);
    }
};

/// A CHOICE member that is there when the next octet begins one of two alternatives.
template <auto Member, class C, uint8_t Octet, uint8_t Other>
struct OptionalEither : Optional<Member, C, C::octet> {
    using Field = PointerField<Member, C, C::octet>;
    static bool decode(const uint8_t *&z, const uint8_t *limit, typename Field::R &record, uint16_t level) {
        const bool present = stands_at(z, limit, Octet) || stands_at(z, limit, Other);
        return !present || Field::take(z, limit, record, level);
    }
};

/// A member that may be absent on reading and must be there for writing.
template <auto Member, class C, uint8_t Octet>
struct OptionalToRead : Optional<Member, C, Octet> {
    using Field = PointerField<Member, C, Octet>;
    static bool encode(uint8_t **cursor, const typename Field::R &record, uint32_t &sum) {
        return Field::put(cursor, record, sum);
    }
};

/// A member that holds the octet of a BOOLEAN or ENUMERATED.
template <auto Member>
struct OctetField {
    using R = RecordOf<Member>;
    static void free(R &) {}
    static bool clone(R &to, const R &from) {
        to.*Member = from.*Member;
        return true;
    }
};

/// BOOLEAN with a default: written only when the member holds the other value. TRUE is 0xFF when the field is absent.
template <auto Member, bool Default, uint8_t Octet>
struct DefaultBoolean : OctetField<Member> {
    using R = RecordOf<Member>;
    static constexpr uint8_t own_octet = 0x01;

    static void preset(R &record) {
        record.*Member = Default ? 0xFF : 0;
    }
    static bool decode(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        if (!stands_at(z, limit, Octet))
            return true;
        z = asn1_Boolean_d(z, limit, Octet == own_octet ? 0 : Octet, &(record.*Member), level);
        return z != nullptr;
    }
    static bool encode(uint8_t **cursor, const R &record, uint32_t &sum) {
        if ((record.*Member != 0) == Default)
            return true;
        uint8_t *const start = cursor != nullptr ? *cursor : nullptr;
        const uint32_t length = asn1_Boolean_e(cursor, record.*Member);
        if (start != nullptr)
            *start = Octet;
        return add_length(sum, length);
    }
};

/// Mandatory ENUMERATED.
template <auto Member>
struct Enumerated : OctetField<Member> {
    using R = RecordOf<Member>;

    static void preset(R &) {}
    static bool decode(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        if (remaining(z, limit) == 0)
            return false;
        z = asn1_Enumerated_d(z, limit, 0, &(record.*Member), level);
        return z != nullptr;
    }
    static bool encode(uint8_t **cursor, const R &record, uint32_t &sum) {
        return add_length(sum, asn1_Enumerated_e(cursor, record.*Member));
    }
};

// ---- records -------------------------------------------------------------------------------------------------------

/// The fields of a record, in the order of the encoding.
template <class... Fields>
struct Sequence {
    template <class R>
    static void free_members(R &record) {
        (Fields::free(record), ...);
    }
    template <class R>
    static bool clone_members(R &to, const R &from) {
        return (Fields::clone(to, from) && ...);
    }
    template <class R>
    static bool encode_fields(uint8_t **cursor, const R &record, uint32_t &sum) {
        return (Fields::encode(cursor, record, sum) && ...);
    }
    /// Position behind the last field that was taken, or null.
    template <class R>
    static const uint8_t *decode_fields(const uint8_t *z, const uint8_t *limit, R &record, uint16_t level) {
        (Fields::preset(record), ...);
        return (Fields::decode(z, limit, record, level) && ...) ? z : nullptr;
    }
};

/// Declares a record or CHOICE: specialised with a Sequence or a Choice as its `fields`.
template <class T>
struct Schema;

template <class R>
void free_record(R *record) {
    if (record == nullptr)
        return;
    Schema<R>::fields::free_members(*record);
    std::free(record);
}

template <class R>
using OwnedRecord = Owned<R, free_record<R>>;

template <class R>
R *clone_record(const R *record) {
    if (record == nullptr)
        return nullptr;
    OwnedRecord<R> clone(allocate<R>());
    if (clone == nullptr || !Schema<R>::fields::clone_members(*clone, *record))
        return nullptr;
    return clone.release();
}

/// Encodes a SEQUENCE: its fields are measured before the header can be written. `put_fields(cursor, sum)` adds what
/// it writes or measures to the sum and is false on failure.
template <class PutFields>
uint32_t encode_sequence(uint8_t **cursor, PutFields put_fields) {
    uint32_t content = 0;
    if (!put_fields(nullptr, content))
        return 0;
    uint32_t total = asn1_TagLength_e(cursor, sequence_octet, content);
    if (cursor == nullptr)
        return add_length(total, content) ? total : 0;
    return put_fields(cursor, total) ? total : 0;
}

template <class R>
uint32_t encode_record(uint8_t **cursor, const R *record) {
    if (record == nullptr)
        return 0;
    return encode_sequence(cursor, [record](uint8_t **position, uint32_t &sum) {
        return Schema<R>::fields::encode_fields(position, *record, sum);
    });
}

/// Reads a SEQUENCE header; `limit` becomes the end of the fields.
inline const uint8_t *decode_header(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, const uint8_t *&limit,
                                    uint16_t level) {
    uint32_t length = 0;
    const auto expected = static_cast<uint8_t>(impl_tag != 0 ? impl_tag | constructed_bit : 0);
    z = asn1_TagLength_d(z, end, expected, sequence_octet, nullptr, &length, nullptr, level);
    limit = z != nullptr ? z + length : nullptr;
    return z;
}

/// Decodes a SEQUENCE whose fields are traced at `field_level`. What follows the last known field inside it is neither
/// skipped nor refused.
template <class R>
const uint8_t *decode_record(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, R **record, uint16_t level,
                             uint16_t field_level) {
    const uint8_t *limit = nullptr;
    z = decode_header(z, end, impl_tag, limit, level);
    if (z == nullptr)
        return nullptr;
    *record = nullptr;
    OwnedRecord<R> value(allocate<R>());
    if (value == nullptr)
        return nullptr;
    z = Schema<R>::fields::decode_fields(z, limit, *value, field_level);
    if (z != nullptr)
        *record = value.release();
    return z;
}

/// The PKCS#15 records trace their fields at their own level.
template <class R>
const uint8_t *decode_record(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, R **record, uint16_t level) {
    return decode_record(z, end, impl_tag, record, level, level);
}

/// All other records trace them one level deeper, and close with a brace.
template <class R>
const uint8_t *decode_nested_record(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, R **record,
                                    uint16_t level) {
    z = decode_record(z, end, impl_tag, record, level, static_cast<uint16_t>(level != 0 ? level + 1 : 0));
    if (z != nullptr)
        asn1_LogMessage(level, "}\n");
    return z;
}

/// Defines new, free, encode and decode of a record from its schema, with C linkage.
#define ASN1_RECORD_DECODED_BY(T, decode)                                                                     \
    extern "C" T *asn1_##T##_new(void) {                                                                      \
        return allocate<T>();                                                                                 \
    }                                                                                                         \
    extern "C" void asn1_##T##_free(T *value) {                                                               \
        asn1::free_record(value);                                                                             \
    }                                                                                                         \
    extern "C" uint32_t asn1_##T##_e(uint8_t **cursor, const T *value) {                                      \
        return asn1::encode_record(cursor, value);                                                            \
    }                                                                                                         \
    extern "C" const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **value, \
                                           uint16_t level) {                                                  \
        return decode(z, end, impl_tag, value, level);                                                        \
    }

/// The functions of a PKCS#15 record.
#define ASN1_RECORD(T) ASN1_RECORD_DECODED_BY(T, asn1::decode_record)

/// The functions of any other record, its deep copy among them.
#define ASN1_NESTED_RECORD(T)                             \
    ASN1_RECORD_DECODED_BY(T, asn1::decode_nested_record) \
    ASN1_RECORD_CLONE(T)

/// Defines the deep copy of a record from its schema.
#define ASN1_RECORD_CLONE(T)                         \
    extern "C" T *asn1_##T##_clone(const T *value) { \
        return asn1::clone_record(value);            \
    }

/// Defines free, clone, encode and decode of a type that is a List, by its coder of the same name.
#define ASN1_LIST(T)                                                                                         \
    extern "C" void asn1_##T##_free(T *list) {                                                               \
        asn1::T::free(list);                                                                                 \
    }                                                                                                        \
    extern "C" T *asn1_##T##_clone(const T *list) {                                                          \
        return list != nullptr ? asn1::T::clone(list) : nullptr;                                             \
    }                                                                                                        \
    extern "C" uint32_t asn1_##T##_e(uint8_t **cursor, const T *list) {                                      \
        return asn1::T::e(cursor, 0, list);                                                                  \
    }                                                                                                        \
    extern "C" const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **list, \
                                           uint16_t level) {                                                 \
        return asn1::T::d(z, end, impl_tag, list, level);                                                    \
    }

}  // namespace asn1

#endif

// Objects of every kind, the type CHOICEs that hold them, and the entries of the object directory.
#include "asn1/asn1_choice.h"
#include "asn1/asn1_pkcs15_coders.h"

namespace {

constexpr uint8_t sub_class_tag = 0x80;
constexpr uint8_t type_tag = 0x81;
constexpr uint32_t last_object_type = PKCS15_AUTH_OBJECTS;

// Reads the optional [0] wrapper. An empty one is stepped over.
const uint8_t *decode_sub_class(const uint8_t *z, const uint8_t *limit, asn1_element_d sca_d, void **attributes,
                                uint16_t level) {
    constexpr uint8_t octet = sub_class_tag | asn1::constructed_bit;
    if (!asn1::stands_at(z, limit, octet))
        return z;
    if (sca_d == nullptr)
        return nullptr;
    uint32_t length = 0;
    const uint8_t *const content = asn1_TagLength_d(z, limit, 0, octet, nullptr, &length, nullptr, 0);
    if (content != nullptr && length == 0)
        return content;
    return asn1_explicit_d(z, limit, sub_class_tag, sca_d, attributes, level);
}

const uint8_t *decode_attributes(const uint8_t *z, const uint8_t *limit, asn1_element_d ca_d, asn1_element_d sca_d,
                                 asn1_element_d ta_d, PKCS15Object &object, uint16_t level) {
    using asn1::remaining;
    if (remaining(z, limit) > 0)
        z = asn1_CommonObjectAttributes_d(z, limit, 0, &object.commonObjectAttributes, level);
    else
        return nullptr;
    if (z == nullptr || remaining(z, limit) == 0)
        return nullptr;
    z = ca_d(z, limit, 0, &object.classAttributes, level);
    if (z != nullptr)
        z = decode_sub_class(z, limit, sca_d, &object.subClassAttributes, level);
    return z == nullptr ? nullptr : asn1_explicit_d(z, limit, type_tag, ta_d, &object.typeAttributes, level);
}

}  // namespace

extern "C" {

PKCS15Object *asn1_PKCS15Object_new(void) {
    return allocate<PKCS15Object>();
}

void asn1_PKCS15Object_free(PKCS15Object *object, asn1_element_free ca_free, asn1_element_free sca_free,
                            asn1_element_free ta_free) {
    ZELMO_ASSERT(ca_free != nullptr, "ca_free");
    ZELMO_ASSERT(ta_free != nullptr, "ta_free");
    if (object == nullptr)
        return;
    asn1_CommonObjectAttributes_free(object->commonObjectAttributes);
    ca_free(object->classAttributes);
    if (object->subClassAttributes != nullptr) {
        ZELMO_ASSERT(sca_free != nullptr, "sca_free");
        sca_free(object->subClassAttributes);
    }
    ta_free(object->typeAttributes);
    std::free(object);
}

uint32_t asn1_PKCS15Object_e(uint8_t **cursor, const PKCS15Object *object, asn1_element_e ca_e, asn1_element_e sca_e,
                             asn1_element_e ta_e) {
    if (object == nullptr)
        return 0;
    return asn1::encode_sequence(cursor, [=](uint8_t **position, uint32_t &sum) {
        const auto put = [&sum](uint32_t length) { return length != 0 && asn1::add_length(sum, length); };
        if (!put(asn1_CommonObjectAttributes_e(position, object->commonObjectAttributes)) ||
            !put(ca_e(position, object->classAttributes)))
            return false;
        if (object->subClassAttributes != nullptr) {
            ZELMO_ASSERT(sca_e != nullptr, "sca_e");
            if (!put(asn1_explicit_e(position, sub_class_tag, object->subClassAttributes, sca_e)))
                return false;
        }
        return put(asn1_explicit_e(position, type_tag, object->typeAttributes, ta_e));
    });
}

const uint8_t *asn1_PKCS15Object_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_element_d ca_d,
                                   asn1_element_d sca_d, asn1_element_d ta_d, asn1_element_free ca_free,
                                   asn1_element_free sca_free, asn1_element_free ta_free, PKCS15Object **object,
                                   uint16_t level) {
    const uint8_t *limit = nullptr;
    z = asn1::decode_header(z, end, impl_tag, limit, level);
    if (z == nullptr)
        return nullptr;
    *object = asn1_PKCS15Object_new();
    if (*object == nullptr)
        return nullptr;
    z = decode_attributes(z, limit, ca_d, sca_d, ta_d, **object, level);
    if (z == nullptr) {
        asn1_PKCS15Object_free(*object, ca_free, sca_free, ta_free);
        *object = nullptr;
    }
    return z;
}
}

namespace asn1 {

/// For kinds of objects that have no subclass attributes.
struct NoSubClass {
    static constexpr asn1_element_e e_thunk = nullptr;
    static constexpr asn1_element_d d_thunk = nullptr;
    static constexpr asn1_element_free free_thunk = nullptr;
};

/// A kind of object: the coders of its three attribute records.
template <class ClassAttributes, class SubClassAttributes, class TypeAttributes>
struct ObjectOf : Thunks<ObjectOf<ClassAttributes, SubClassAttributes, TypeAttributes>, PKCS15Object> {
    static constexpr uint8_t octet = sequence_octet;

    static uint32_t e(uint8_t **cursor, uint8_t /*tag*/, const PKCS15Object *object) {
        return asn1_PKCS15Object_e(cursor, object, ClassAttributes::e_thunk, SubClassAttributes::e_thunk,
                                   TypeAttributes::e_thunk);
    }
    static const uint8_t *d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, PKCS15Object **object,
                            uint16_t level) {
        return asn1_PKCS15Object_d(z, end, impl_tag, ClassAttributes::d_thunk, SubClassAttributes::d_thunk,
                                   TypeAttributes::d_thunk, ClassAttributes::free_thunk, SubClassAttributes::free_thunk,
                                   TypeAttributes::free_thunk, object, level);
    }
    static void free(PKCS15Object *object) {
        asn1_PKCS15Object_free(object, ClassAttributes::free_thunk, SubClassAttributes::free_thunk,
                               TypeAttributes::free_thunk);
    }
};

using PinObject = ObjectOf<CommonAuthenticationObjectAttributes, NoSubClass, PinAttributes>;
using BiometricObject = ObjectOf<CommonAuthenticationObjectAttributes, NoSubClass, BiometricAttributes>;
using AuthKeyObject = ObjectOf<CommonAuthenticationObjectAttributes, NoSubClass, AuthKeyAttributes>;
using DataObject = ObjectOf<CommonDataObjectAttributes, NoSubClass, Opaque>;
using X509Certificate = ObjectOf<CommonCertificateAttributes, NoSubClass, X509CertificateAttributes>;
using SecretKey = ObjectOf<CommonKeyAttributes, CommonSecretKeyAttributes, GenericSecretKeyAttributes>;
using PublicRSAKey = ObjectOf<CommonKeyAttributes, CommonPublicKeyAttributes, PublicRSAKeyAttributes>;
using PrivateRSAKey = ObjectOf<CommonKeyAttributes, CommonPrivateKeyAttributes, PrivateRSAKeyAttributes>;

/// An alternative that is an object; it is read with the tag `Read` and gets its tag from the type's encoder.
template <uint32_t Tag, class Kind, uint8_t Read>
using Object = Alternative<Tag, Kind, 0, Read>;
/// The same for a run of numbers, each read with its own tag.
template <uint32_t First, uint32_t Last, class Kind, uint8_t Read>
using Objects = Alternatives<First, Last, Kind, 0, Read>;
/// Alternatives that are only carried as bytes.
template <uint32_t First, uint32_t Last = First>
using Carried = Alternatives<First, Last, Any>;

// clang-format off
// On reading, the constructed bit is added: 0x10 is the universal SEQUENCE.
template <>
struct Schema<::PrivateKeyType> {
    using fields = Choice<
        Object <16, PrivateRSAKey, 0x10>,
        Carried<0,  3>>;
};
template <>
struct Schema<::PublicKeyType> {
    using fields = Choice<
        Object <16, PublicRSAKey, 0x10>,
        Carried<0,  3>>;
};
template <>
struct Schema<::CertificateType> {
    using fields = Choice<
        Object <16, X509Certificate, 0x10>,
        Carried<0,  5>>;
};
template <>
struct Schema<::DataType> {
    using fields = Choice<
        Object <16, DataObject, 0x10>,
        Carried<0,  1>>;
};
template <>
struct Schema<::AuthenticationType> {
    using fields = Choice<
        Object <16, PinObject,       0x10>,
        Object <0,  BiometricObject, 0x80>,
        Object <1,  AuthKeyObject,   0x81>,
        Carried<2>>;
};
// A generic key is written with 30 and read only with B0; another algorithm's key is written with AE and read only with
// 30, which is never the number 14. Both are meant.
template <>
struct Schema<::SecretKeyType> {
    using fields = Choice<
        Objects    <0, 13, SecretKey, 0x80>,
        Object     <16,    SecretKey, 0x90>,
        Alternative<14,    OtherKey>>;
};

template <>
struct Schema<::OtherKey> {
    using R = ::OtherKey;
    using fields = Sequence<
        Mandatory<&R::keyType, ObjId>,
        Mandatory<&R::keyAttr, SecretKey>>;
};
// clang-format on

/// The tag octet of a type's alternative: a universal SEQUENCE, or a context tag.
constexpr uint8_t type_octet(uint32_t tag) {
    return static_cast<uint8_t>(tag == 16 ? 0x10 : tag | 0x80);
}

/// PKCS15Objects holds one kind of value whatever its number.
struct ObjectsEntry {
    static void free_members(::PKCS15Objects &record) {
        if (record.tag <= last_object_type)
            asn1_PathOrObjects_free(record.value);
    }
};

template <>
struct Schema<::PKCS15Objects> {
    using fields = ObjectsEntry;
};

}  // namespace asn1

// A type CHOICE: the inner encoder writes the alternative with its own tag, the outer one puts the number in its place.
#define ASN1_TYPE_CHOICE(T)                                                                               \
    ASN1_CHOICE_RECORD(T)                                                                                 \
    ASN1_CHOICE_DECODER(T)                                                                                \
    extern "C" uint32_t asn1_pkcs15_##T##_e(uint8_t **cursor, const T *value) {                           \
        return asn1::encode_choice(cursor, value);                                                        \
    }                                                                                                     \
    extern "C" uint32_t asn1_##T##_e(uint8_t **cursor, const T *value) {                                  \
        using Inner = asn1::Coder<T, asn1::no_octet, asn1_pkcs15_##T##_e, asn1_##T##_d, asn1_##T##_free>; \
        ZELMO_ASSERT(value != nullptr, "pElement");                                                       \
        return asn1_implicit_e(cursor, asn1::type_octet(value->tag), value, Inner::e_thunk);              \
    }

ASN1_TYPE_CHOICE(PrivateKeyType)
ASN1_TYPE_CHOICE(PublicKeyType)
ASN1_TYPE_CHOICE(SecretKeyType)
ASN1_TYPE_CHOICE(CertificateType)
ASN1_TYPE_CHOICE(DataType)
ASN1_TYPE_CHOICE(AuthenticationType)

#undef ASN1_TYPE_CHOICE

ASN1_RECORD(OtherKey)

ASN1_CHOICE_RECORD(PKCS15Objects)

extern "C" {

uint32_t asn1_PKCS15Objects_e(uint8_t **cursor, const PKCS15Objects *value) {
    if (value == nullptr || value->tag > last_object_type)
        return 0;
    return asn1_explicit_e(cursor, static_cast<uint8_t>(0x80 + value->tag), value->value, asn1::PathOrObjects::e_thunk);
}

const uint8_t *asn1_PKCS15Objects_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, PKCS15Objects **value,
                                    uint16_t level) {
    ZELMO_ASSERT(impl_tag == 0, "impl_tag == 0");
    *value = nullptr;
    if (asn1::remaining(z, end) == 0 || (*z & asn1::tag_number_mask) > last_object_type)
        return nullptr;
    asn1::OwnedRecord<PKCS15Objects> entry(asn1_PKCS15Objects_new());
    if (entry == nullptr)
        return nullptr;
    entry->tag = *z & asn1::tag_number_mask;
    z = asn1::Explicit<asn1::PathOrObjects>::d(z, end, static_cast<uint8_t>(0x80 + entry->tag), &entry->value, level);
    if (z != nullptr)
        *value = entry.release();
    return z;
}
}

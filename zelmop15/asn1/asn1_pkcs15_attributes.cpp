// Paths, values and the attributes that objects have in common.
#include "asn1/asn1_choice.h"
#include "asn1/asn1_pkcs15_coders.h"

namespace asn1 {

// clang-format off
template <>
struct Schema<::Path> {
    using R = ::Path;
    using fields = Sequence<
        Mandatory<&R::path,   OctetString>,
        Optional <&R::index,  Integer,     0x02>,
        Optional <&R::length, Integer,     0x80>>;
};

template <>
struct Schema<::CommonObjectAttributes> {
    using R = ::CommonObjectAttributes;
    using fields = Sequence<
        Optional<&R::label,              Label,                    0x0C>,
        Optional<&R::flags,              BitString,                0x03>,
        Optional<&R::authId,             Identifier,               0x04>,
        Optional<&R::userConsent,        Integer,                  0x02>,
        Optional<&R::accessControlRules, SeqOf<AccessControlRule>, 0x30>>;
};

template <>
struct Schema<::AccessControlRule> {
    using R = ::AccessControlRule;
    using fields = Sequence<
        Mandatory<&R::accessMode,        BitString>,
        Mandatory<&R::securityCondition, SecurityCondition>>;
};

// The url forms stay opaque.
template <>
struct Schema<::ReferencedValue> {
    using fields = Choice<
        Alternative<16, Path>,
        Alternative<19, Any>,
        Alternative<22, Any>,
        Alternative<3,  Any>>;
};

// An indirect-protected value is refused on reading by the ReferencedValue, which knows no number 1.
template <>
struct Schema<::ObjectValue> {
    using fields = Choice<
        Alternative<0,  Any>,
        Alternative<1,  ReferencedValue>,
        Alternative<2,  Any>,
        Alternative<3,  ReferencedValue>,
        Alternative<16, ReferencedValue>,
        Alternative<19, ReferencedValue>,
        Alternative<22, ReferencedValue>>;
};

template <>
struct Schema<::PathOrObjects> {
    using fields = Choice<
        Alternative<16, Path>,
        Alternative<0,  SeqOf<Any>,      0xA0>,
        Alternative<2,  Any>,
        Alternative<1,  ReferencedValue>>;
};

template <>
struct Schema<::KeyInfo> {
    using fields = Choice<
        Alternative<2,  Reference>,
        Alternative<16, Any>>;
};

// In memory keyReference stands before accessFlags.
template <>
struct Schema<::CommonKeyAttributes> {
    using R = ::CommonKeyAttributes;
    using fields = Sequence<
        Mandatory     <&R::iD,           Identifier>,
        Mandatory     <&R::usage,        BitString>,
        DefaultBoolean<&R::native,       true,            0x01>,
        Optional      <&R::accessFlags,  BitString,       0x03>,
        Optional      <&R::keyReference, Reference,       0x02>,
        Optional      <&R::startDate,    GeneralizedTime, 0x18>,
        Optional      <&R::endDate,      GeneralizedTime, 0x80>>;
};

template <>
struct Schema<::CommonPrivateKeyAttributes> {
    using R = ::CommonPrivateKeyAttributes;
    using fields = Sequence<
        Optional<&R::subjectName,    Any,        0x30>,
        Optional<&R::keyIdentifiers, SeqOf<Any>, 0xA0>>;
};

template <>
struct Schema<::CommonPublicKeyAttributes> {
    using R = ::CommonPublicKeyAttributes;
    using fields = Sequence<
        Optional<&R::subjectName,  Any, 0x30>,
        Optional<&R::trustedUsage, Any, 0xA0>>;
};

template <>
struct Schema<::CommonSecretKeyAttributes> {
    using R = ::CommonSecretKeyAttributes;
    using fields = Sequence<
        Optional<&R::keyLen, Integer, 0x02>>;
};

template <>
struct Schema<::CommonCertificateAttributes> {
    using R = ::CommonCertificateAttributes;
    using fields = Sequence<
        Mandatory     <&R::iD,            Identifier>,
        DefaultBoolean<&R::authority,     false,      0x01>,
        Optional      <&R::identifier,    Any,        0x30>,
        Optional      <&R::certHash,      Any,        0xA0>,
        Optional      <&R::trustedUsage,  Any,        0xA1>,
        Optional      <&R::identifiers,   SeqOf<Any>, 0xA2>,
        DefaultBoolean<&R::implicitTrust, false,      0x83>>;
};

template <>
struct Schema<::CommonDataObjectAttributes> {
    using R = ::CommonDataObjectAttributes;
    using fields = Sequence<
        Optional<&R::applicationName, Label, 0x0C>,
        Optional<&R::applicationOID,  ObjId, 0x06>>;
};

template <>
struct Schema<::CommonAuthenticationObjectAttributes> {
    using R = ::CommonAuthenticationObjectAttributes;
    using fields = Sequence<
        Mandatory<&R::authId, Identifier>>;
};
// clang-format on

}  // namespace asn1

ASN1_RECORD(Path)
ASN1_RECORD(CommonObjectAttributes)
ASN1_RECORD_CLONE(CommonObjectAttributes)
ASN1_RECORD(AccessControlRule)
ASN1_RECORD_CLONE(AccessControlRule)
ASN1_CHOICE(ReferencedValue)
ASN1_CHOICE_RECORD(ObjectValue)
ASN1_CHOICE_ENCODER(ObjectValue)
ASN1_CHOICE(PathOrObjects)
ASN1_CHOICE(KeyInfo)
ASN1_RECORD(CommonKeyAttributes)
ASN1_RECORD(CommonPrivateKeyAttributes)
ASN1_RECORD(CommonPublicKeyAttributes)
ASN1_RECORD(CommonSecretKeyAttributes)
ASN1_RECORD(CommonCertificateAttributes)
ASN1_RECORD(CommonDataObjectAttributes)
ASN1_RECORD(CommonAuthenticationObjectAttributes)

namespace {

// A direct value goes on into an indirect one: a ReferencedValue must stand right behind the element, and it takes the
// element's place. The record then carries the reference's own number, so that encoding and release know what it holds.
const uint8_t *decode_direct_value(const uint8_t *z, const uint8_t *end, ObjectValue **value, uint16_t level) {
    asn1_Any *any = nullptr;
    z = asn1_Any_d(z, end, 0, &any, level);
    asn1_Any_free(any);
    if (z == nullptr)
        return nullptr;
    ReferencedValue *reference = nullptr;
    z = asn1_ReferencedValue_d(z, end, 0, &reference, level);
    if (z == nullptr)
        return nullptr;
    *value = asn1_ObjectValue_new();
    if (*value == nullptr) {
        asn1_ReferencedValue_free(reference);
        return nullptr;
    }
    (*value)->tag = reference->tag;
    (*value)->value = reference;
    return z;
}

}  // namespace

extern "C" {

const uint8_t *asn1_ObjectValue_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, ObjectValue **value,
                                  uint16_t level) {
    ZELMO_ASSERT(impl_tag == 0, "impl_tag == 0");
    if (asn1::remaining(z, end) == 0 || (*z & asn1::tag_number_mask) != 0)
        return asn1::decode_choice(z, end, impl_tag, value, level);
    *value = nullptr;
    return decode_direct_value(z, end, value, level);
}

uint32_t asn1_Opaque_e(uint8_t **cursor, const Opaque *value) {
    return asn1_ObjectValue_e(cursor, value);
}

const uint8_t *asn1_Opaque_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, Opaque **value, uint16_t level) {
    return asn1_ObjectValue_d(z, end, impl_tag, value, level);
}

void asn1_Opaque_free(Opaque *value) {
    asn1_ObjectValue_free(value);
}

// Unlike the other copies, that of a Path demands its mandatory member.
Path *asn1_Path_clone(const Path *value) {
    return value == nullptr || value->path == nullptr ? nullptr : asn1::clone_record(value);
}

uint32_t asn1_Label_e(uint8_t **cursor, const Label *value) {
    return asn1_UTF8String_e(cursor, value);
}

const uint8_t *asn1_Label_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, Label **value, uint16_t level) {
    return asn1_UTF8String_d(z, end, impl_tag, value, level);
}

uint32_t asn1_Reference_e(uint8_t **cursor, const Reference *value) {
    return asn1_Integer_e(cursor, value);
}

const uint8_t *asn1_Reference_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, Reference **value,
                                uint16_t level) {
    return asn1_Integer_d(z, end, impl_tag, value, level);
}

Identifier *asn1_Identifier_set(uint8_t value) {
    return asn1_ASN1String_new(1, &value);
}

uint8_t asn1_Identifier_get(const Identifier *id) {
    ZELMO_ASSERT(id->len == 1, "id->len == 1");
    return id->data[0];
}
}

// Skeletons of new objects. Every object made here is indirect: its value lies in a file that a path names.
#include "asn1/asn1_x680.h"
#include "runtime/owned.h"
#include "token/pkcs15_accessors.h"
#include "zelmop15/pkcs15.h"

namespace {

using OwnedValue = Owned<ObjectValue, asn1_ObjectValue_free>;

constexpr uint32_t usage_bits = 4;

// Puts a new record into a member of its owner, which releases it from then on. The record, or null.
template <auto New, class Member>
auto *attach(Member *&member) {
    auto *record = New();
    member = record;
    return record;
}

// Value, reference and path, one inside the other. The path, or null.
template <class Member>
Path *attach_path(Member *&member) {
    ObjectValue *value = attach<asn1_ObjectValue_new>(member);
    if (value == nullptr)
        return nullptr;
    value->tag = token::sequence_choice;
    ReferencedValue *reference = attach<asn1_ReferencedValue_new>(value->value);
    if (reference == nullptr)
        return nullptr;
    reference->tag = token::sequence_choice;
    return attach<asn1_Path_new>(reference->value);
}

bool attach_empty_string(asn1_OctetString *&member) {
    member = asn1_OctetString_new(0);
    return member != nullptr;
}

template <class Member>
bool attach_empty_value(Member *&member) {
    Path *path = attach_path(member);
    return path != nullptr && attach_empty_string(path->path);
}

bool attach_key_attributes(PKCS15Object &object, uint32_t native) {
    auto *attributes = attach<asn1_CommonKeyAttributes_new>(object.classAttributes);
    if (attributes == nullptr || !attach_empty_string(attributes->iD))
        return false;
    attributes->native = native;
    attributes->usage = asn1_BitString_new(usage_bits);
    return attributes->usage != nullptr;
}

bool fill_data(PKCS15Object &object) {
    return attach<asn1_CommonDataObjectAttributes_new>(object.classAttributes) != nullptr &&
           attach_empty_value(object.typeAttributes);
}

bool fill_certificate(PKCS15Object &object) {
    auto *attributes = attach<asn1_CommonCertificateAttributes_new>(object.classAttributes);
    if (attributes == nullptr || !attach_empty_string(attributes->iD))
        return false;
    auto *type = attach<asn1_X509CertificateAttributes_new>(object.typeAttributes);
    return type != nullptr && attach_empty_value(type->value);
}

bool fill_secret_key(PKCS15Object &object) {
    if (!attach_key_attributes(object, 1) ||
        attach<asn1_CommonSecretKeyAttributes_new>(object.subClassAttributes) == nullptr)
        return false;
    auto *type = attach<asn1_GenericSecretKeyAttributes_new>(object.typeAttributes);
    return type != nullptr && attach_empty_value(type->value);
}

// Public and private keys differ in the records of their subclass and type, and in whether the card is said to use
// them: a public key says so only when its maker does.
template <auto NewSubClass, auto NewType, uint32_t Native>
bool fill_rsa_key(PKCS15Object &object) {
    if (!attach_key_attributes(object, Native) || attach<NewSubClass>(object.subClassAttributes) == nullptr)
        return false;
    auto *type = attach<NewType>(object.typeAttributes);
    if (type == nullptr || !attach_empty_value(type->value))
        return false;
    type->modulusLength = asn1_Integer_new(0);
    return type->modulusLength != nullptr;
}

// A record of an object type with the object that `Fill` completes; null, with nothing left behind, when memory is
// short.
template <auto New, auto Free, auto Fill>
auto *create(uint32_t tag) {
    using Record = std::remove_pointer_t<decltype(New())>;
    Owned<Record, Free> record(New());
    if (record == nullptr)
        return static_cast<Record *>(nullptr);
    record->tag = tag;
    PKCS15Object *object = attach<asn1_PKCS15Object_new>(record->value);
    const bool complete = object != nullptr &&
                          attach<asn1_CommonObjectAttributes_new>(object->commonObjectAttributes) != nullptr &&
                          Fill(*object);
    return complete ? record.release() : nullptr;
}

}  // namespace

extern "C" {

ObjectValue *pkcs15_CreateObjectValue(const asn1_OctetString *path, uint32_t index, uint32_t length) {
    ObjectValue *value = nullptr;
    Path *place = attach_path(value);
    OwnedValue owner(value);
    if (place == nullptr)
        return nullptr;
    place->path = asn1_OctetString_clone(path);
    if (place->path == nullptr)
        return nullptr;
    if (index == 0 && length == 0)
        return owner.release();
    place->index = asn1_Integer_set(index);
    place->length = asn1_Integer_set(length);
    return place->index != nullptr && place->length != nullptr ? owner.release() : nullptr;
}

DataType *pkcs15_CreateDataType(void) {
    return create<asn1_DataType_new, asn1_DataType_free, fill_data>(token::sequence_choice);
}

CertificateType *pkcs15_CreateX509CertificateType(void) {
    return create<asn1_CertificateType_new, asn1_CertificateType_free, fill_certificate>(token::sequence_choice);
}

SecretKeyType *pkcs15_CreateSecretKey(uint32_t keyType) {
    constexpr uint32_t des = 2;
    constexpr uint32_t triple_des = 4;
    if (keyType != des && keyType != triple_des)
        return nullptr;
    return create<asn1_SecretKeyType_new, asn1_SecretKeyType_free, fill_secret_key>(keyType);
}

PrivateKeyType *pkcs15_CreatePrivateRSAKey(void) {
    return create<asn1_PrivateKeyType_new, asn1_PrivateKeyType_free,
                  fill_rsa_key<asn1_CommonPrivateKeyAttributes_new, asn1_PrivateRSAKeyAttributes_new, 1>>(
        token::sequence_choice);
}

PublicKeyType *pkcs15_CreatePublicRSAKey(void) {
    return create<asn1_PublicKeyType_new, asn1_PublicKeyType_free,
                  fill_rsa_key<asn1_CommonPublicKeyAttributes_new, asn1_PublicRSAKeyAttributes_new, 0>>(
        token::sequence_choice);
}
}

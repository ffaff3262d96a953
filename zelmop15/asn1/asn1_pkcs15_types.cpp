// The type attributes of the objects.
#include "asn1/asn1_choice.h"
#include "asn1/asn1_pkcs15_coders.h"

namespace asn1 {

// clang-format off
template <>
struct Schema<::PinAttributes> {
    using R = ::PinAttributes;
    using fields = Sequence<
        Mandatory <&R::pinFlags,      BitString>,
        Enumerated<&R::pinType>,
        Mandatory <&R::minLength,     Integer>,
        Mandatory <&R::storedLength,  Integer>,
        Optional  <&R::maxLength,     Integer,         0x02>,
        Optional  <&R::pinReference,  Reference,       0x80>,
        Optional  <&R::padChar,       OctetString,     0x04>,
        Optional  <&R::lastPinChange, GeneralizedTime, 0x18>,
        Optional  <&R::path,          Path,            0x30>>;
};

template <>
struct Schema<::BiometricAttributes> {
    using R = ::BiometricAttributes;
    using fields = Sequence<
        Mandatory<&R::bioFlags,     BitString>,
        Mandatory<&R::templateId,   ObjId>,
        Mandatory<&R::bioType,      BiometricType>,
        Optional <&R::bioReference, Reference,       0x02>,
        Optional <&R::lastChange,   GeneralizedTime, 0x18>,
        Optional <&R::path,         Path,            0x30>>;
};

// Both are written with the tag 30 and chosen by their first octet, so an iris scan is never read back.
template <>
struct Schema<::BiometricType> {
    using fields = Choice<
        Alternative<0,  IrisScan>,
        Alternative<16, FingerPrint>>;
};

template <>
struct Schema<::IrisScan> {
    using R = ::IrisScan;
    using fields = Sequence<
        Enumerated<&R::eye>>;
};

template <>
struct Schema<::FingerPrint> {
    using R = ::FingerPrint;
    using fields = Sequence<
        Enumerated<&R::hand>,
        Enumerated<&R::finger>>;
};

template <>
struct Schema<::AuthKeyAttributes> {
    using R = ::AuthKeyAttributes;
    using fields = Sequence<
        DefaultBoolean<&R::derivedKey, true,       0x01>,
        Mandatory     <&R::authKeyId,  Identifier>>;
};

template <>
struct Schema<::X509CertificateAttributes> {
    using R = ::X509CertificateAttributes;
    using fields = Sequence<
        Mandatory<&R::value,        ObjectValue>,
        Optional <&R::subject,      Any,         0x30>,
        Optional <&R::issuer,       Any,         0xA0>,
        Optional <&R::serialNumber, Integer,     0x02>>;
};

template <>
struct Schema<::GenericSecretKeyAttributes> {
    using R = ::GenericSecretKeyAttributes;
    using fields = Sequence<
        Mandatory<&R::value, ObjectValue>>;
};

template <>
struct Schema<::PublicRSAKeyAttributes> {
    using R = ::PublicRSAKeyAttributes;
    using fields = Sequence<
        Mandatory     <&R::value,         ObjectValue>,
        Mandatory     <&R::modulusLength, Integer>,
        OptionalEither<&R::keyInfo,       KeyInfo,     0x02, 0x30>>;
};

template <>
struct Schema<::PrivateRSAKeyAttributes> {
    using R = ::PrivateRSAKeyAttributes;
    using fields = Sequence<
        Mandatory     <&R::value,         ObjectValue>,
        Mandatory     <&R::modulusLength, Integer>,
        OptionalEither<&R::keyInfo,       KeyInfo,     0x02, 0x30>>;
};
// clang-format on

}  // namespace asn1

ASN1_RECORD(PinAttributes)
ASN1_RECORD(BiometricAttributes)
ASN1_CHOICE(BiometricType)
ASN1_RECORD(IrisScan)
ASN1_RECORD(FingerPrint)
ASN1_RECORD(AuthKeyAttributes)
ASN1_RECORD(X509CertificateAttributes)
ASN1_RECORD(GenericSecretKeyAttributes)
ASN1_RECORD(PublicRSAKeyAttributes)
ASN1_RECORD(PrivateRSAKeyAttributes)

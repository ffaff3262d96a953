// The type attributes of the objects.
#include "asn1/asn1_choice.h"
#include "asn1/asn1_pkcs15_coders.h"

namespace asn1 {

template <>
struct Schema<::PinAttributes> : Sequence<Mandatory<&::PinAttributes::pinFlags, BitString>,
                                          Enumerated<&::PinAttributes::pinType>,
                                          Mandatory<&::PinAttributes::minLength, Integer>,
                                          Mandatory<&::PinAttributes::storedLength, Integer>,
                                          Optional<&::PinAttributes::maxLength, Integer, 0x02>,
                                          Optional<&::PinAttributes::pinReference, Reference, 0x80>,
                                          Optional<&::PinAttributes::padChar, OctetString, 0x04>,
                                          Optional<&::PinAttributes::lastPinChange, GeneralizedTime, 0x18>,
                                          Optional<&::PinAttributes::path, Path, 0x30>> {};

template <>
struct Schema<::BiometricAttributes> : Sequence<Mandatory<&::BiometricAttributes::bioFlags, BitString>,
                                                Mandatory<&::BiometricAttributes::templateId, ObjId>,
                                                Mandatory<&::BiometricAttributes::bioType, BiometricType>,
                                                Optional<&::BiometricAttributes::bioReference, Reference, 0x02>,
                                                Optional<&::BiometricAttributes::lastChange, GeneralizedTime, 0x18>,
                                                Optional<&::BiometricAttributes::path, Path, 0x30>> {};

// Both are written with the tag 30 and chosen by their first octet, so an iris scan is never read back.
template <>
struct Schema<::BiometricType> : Choice<Alternative<0, IrisScan>, Alternative<16, FingerPrint>> {};

template <>
struct Schema<::IrisScan> : Sequence<Enumerated<&::IrisScan::eye>> {};

template <>
struct Schema<::FingerPrint> : Sequence<Enumerated<&::FingerPrint::hand>, Enumerated<&::FingerPrint::finger>> {};

template <>
struct Schema<::AuthKeyAttributes> : Sequence<DefaultBoolean<&::AuthKeyAttributes::derivedKey, true, 0x01>,
                                              Mandatory<&::AuthKeyAttributes::authKeyId, Identifier>> {};

template <>
struct Schema<::X509CertificateAttributes>
    : Sequence<Mandatory<&::X509CertificateAttributes::value, ObjectValue>,
               Optional<&::X509CertificateAttributes::subject, Any, 0x30>,
               Optional<&::X509CertificateAttributes::issuer, Any, 0xA0>,
               Optional<&::X509CertificateAttributes::serialNumber, Integer, 0x02>> {};

template <>
struct Schema<::GenericSecretKeyAttributes> : Sequence<Mandatory<&::GenericSecretKeyAttributes::value, ObjectValue>> {
};

template <>
struct Schema<::PublicRSAKeyAttributes>
    : Sequence<Mandatory<&::PublicRSAKeyAttributes::value, ObjectValue>,
               Mandatory<&::PublicRSAKeyAttributes::modulusLength, Integer>,
               OptionalEither<&::PublicRSAKeyAttributes::keyInfo, KeyInfo, 0x02, 0x30>> {};

template <>
struct Schema<::PrivateRSAKeyAttributes>
    : Sequence<Mandatory<&::PrivateRSAKeyAttributes::value, ObjectValue>,
               Mandatory<&::PrivateRSAKeyAttributes::modulusLength, Integer>,
               OptionalEither<&::PrivateRSAKeyAttributes::keyInfo, KeyInfo, 0x02, 0x30>> {};

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

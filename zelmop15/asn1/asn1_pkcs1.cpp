#include "asn1/asn1_pkcs1.h"

#include "asn1/asn1_record.h"

namespace asn1 {

using AlgId = ASN1_RECORD_CODER(AlgId, sequence_octet);

// clang-format off
template <>
struct Schema<::AlgId> {
    using R = ::AlgId;
    using fields = Sequence<
        Mandatory   <&R::algorithm,  ObjId>,
        OptionalRest<&R::parameters, Any>>;
};

template <>
struct Schema<::DigestInfo> {
    using R = ::DigestInfo;
    using fields = Sequence<
        Mandatory<&R::digestAlgorithm, AlgId>,
        Mandatory<&R::digest,          OctetString>>;
};

template <>
struct Schema<::RSAPublicKey> {
    using R = ::RSAPublicKey;
    using fields = Sequence<
        Mandatory<&R::modulus,        Integer>,
        Mandatory<&R::publicExponent, Integer>>;
};

template <>
struct Schema<::RSAPrivateKey> {
    using R = ::RSAPrivateKey;
    using fields = Sequence<
        Mandatory<&R::version,         Integer>,
        Mandatory<&R::modulus,         Integer>,
        Mandatory<&R::publicExponent,  Integer>,
        Mandatory<&R::privateExponent, Integer>,
        Mandatory<&R::prime1,          Integer>,
        Mandatory<&R::prime2,          Integer>,
        Mandatory<&R::exponent1,       Integer>,
        Mandatory<&R::exponent2,       Integer>,
        Mandatory<&R::coefficient,     Integer>>;
};
// clang-format on

}  // namespace asn1

ASN1_NESTED_RECORD(AlgId)
ASN1_NESTED_RECORD(DigestInfo)
ASN1_NESTED_RECORD(RSAPublicKey)
ASN1_NESTED_RECORD(RSAPrivateKey)

// RSA keys and the digest inside an RSA signature (PKCS #1), and algorithm identifiers (X.509).
//
// The functions follow the conventions of asn1_pkcs15.h. Every member is mandatory when it is written and when it is
// read, except the parameters of an AlgId. Integers are magnitudes, as asn1_Integer_d leaves them.
#ifndef ZELMOP15_ASN1_ASN1_PKCS1_H
#define ZELMOP15_ASN1_ASN1_PKCS1_H

#include "asn1/asn1_x680.h"

extern "C" {

/// An algorithm with its parameters.
struct AlgId {
    asn1_ObjId *algorithm;
    asn1_Any *parameters;  ///< Optional. Whatever element follows the algorithm, when read; the NULL of DER is 05 00.
};

/// A digest and how it was made.
struct DigestInfo {
    AlgId *digestAlgorithm;
    asn1_OctetString *digest;
};

struct RSAPublicKey {
    asn1_Integer *modulus;
    asn1_Integer *publicExponent;
};

/// Released without being wiped.
struct RSAPrivateKey {
    asn1_Integer *version;
    asn1_Integer *modulus;
    asn1_Integer *publicExponent;
    asn1_Integer *privateExponent;
    asn1_Integer *prime1;
    asn1_Integer *prime2;
    asn1_Integer *exponent1;
    asn1_Integer *exponent2;
    asn1_Integer *coefficient;
};

ASN1_DECLARE_RECORD(AlgId);
ASN1_DECLARE_RECORD(DigestInfo);
ASN1_DECLARE_RECORD(RSAPublicKey);
ASN1_DECLARE_RECORD(RSAPrivateKey);
}

#endif

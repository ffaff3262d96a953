/**
 * @file asn1_pkcs15.h
 * @brief Coders of the PKCS#15 records: new, free, encode, decode, and for some clone.
 *
 * Conventions of this header, which hold for every type T:
 *
 *  - `T *asn1_T_new(void)`: a zero-filled record, or null when memory is short. Release: `asn1_T_free`.
 *  - `void asn1_T_free(T *value)`: releases the record and all it owns. Null is a no-op.
 *  - `T *asn1_T_clone(const T *value)`: a deep copy, or null; null for null. A copy that fails midway is released.
 *  - `uint32_t asn1_T_e(uint8_t **cursor, const T *value)`: encodes. With a null `cursor` nothing is written and the
 *    result is the whole encoded length in octets, header included. Otherwise the octets are written at `*cursor`,
 *    which moves behind them; the buffer is the caller's and must hold the measured length. The result 0 means
 *    failure: a mandatory member is null, a tag is unknown, or memory is short. The buffer's content is then undefined.
 *  - `const uint8_t *asn1_T_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **value, uint16_t level)`:
 *    decodes the element at `z`, reading nothing at or behind `end`. `impl_tag` is the tag octet that replaces the
 *    type's own, 0 for none; it must be 0 for a CHOICE (assertion "impl_tag == 0"). `level` is the depth of the trace,
 *    0 for silence. The result is the position behind the last field that was understood: octets that follow inside
 *    the element are neither skipped nor refused. Null means failure; `*value` is then null, or what it was when not
 *    even the header fitted. A decoded value is the caller's, to be released with `asn1_T_free`.
 *
 * Null `z` and `end` are programming errors and end the process by assertion where a header is to be read. Coders keep
 * no state and may run in any thread. Nesting is limited by the input's length alone and does not use up the C stack.
 */
#ifndef ZELMOP15_ASN1_PKCS15_H
#define ZELMOP15_ASN1_PKCS15_H

#include "zelmop15/pkcs15_types.h"

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/** Shape of every encoder, for calls that take one. */
typedef uint32_t (*asn1_element_e)(uint8_t **cursor, const void *element);
/** Shape of every decoder, for calls that take one. */
typedef const uint8_t *(*asn1_element_d)(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void **element,
                                         uint16_t level);
/** Shape of every release, for calls that take one. */
typedef void (*asn1_element_free)(void *element);

/** Declares the encoder and the decoder of a type. */
#define ZELMOP15_DECLARE_CODER(T)                            \
    uint32_t asn1_##T##_e(uint8_t **cursor, const T *value); \
    const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **value, uint16_t level)

/** Declares the four operations that every record has. */
#define ZELMOP15_DECLARE_RECORD(T)  \
    T *asn1_##T##_new(void);        \
    void asn1_##T##_free(T *value); \
    ZELMOP15_DECLARE_CODER(T)

/** Declares the deep copy of a record. */
#define ZELMOP15_DECLARE_CLONE(T) T *asn1_##T##_clone(const T *value)

/** Label: coded as a UTF8String; no size limit is enforced. */
ZELMOP15_DECLARE_CODER(Label);
/** Reference: coded as an INTEGER. */
ZELMOP15_DECLARE_CODER(Reference);
/** New one-byte Identifier, or null. It is released like any member of the record it is put into. */
Identifier *asn1_Identifier_set(uint8_t value);
/** The byte of a one-byte identifier. Any other length ends the process by the assertion "id->len == 1". */
uint8_t asn1_Identifier_get(const Identifier *id);

/** Path: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(Path);
/** Deep copy of a Path; one without `path` cannot be cloned. */
ZELMOP15_DECLARE_CLONE(Path);
/** CommonObjectAttributes: SEQUENCE, all fields optional. */
ZELMOP15_DECLARE_RECORD(CommonObjectAttributes);
/** Deep copy of what is present. */
ZELMOP15_DECLARE_CLONE(CommonObjectAttributes);
/** AccessControlRule: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(AccessControlRule);
/** Deep copy of what is present. */
ZELMOP15_DECLARE_CLONE(AccessControlRule);
/** SecurityCondition: CHOICE of not, and, or, authId. `always` and authReference are refused. */
ZELMOP15_DECLARE_RECORD(SecurityCondition);
/** Deep copy of the condition with all that it nests. */
ZELMOP15_DECLARE_CLONE(SecurityCondition);
/** ReferencedValue: CHOICE. */
ZELMOP15_DECLARE_RECORD(ReferencedValue);
/** ObjectValue: CHOICE. A direct value is refused on reading unless a ReferencedValue follows it. */
ZELMOP15_DECLARE_RECORD(ObjectValue);
/** Opaque: the same as ObjectValue. */
ZELMOP15_DECLARE_CODER(Opaque);
/** Releases an Opaque; null is a no-op. */
void asn1_Opaque_free(Opaque *value);
/** PathOrObjects: CHOICE. Objects stay undecoded. */
ZELMOP15_DECLARE_RECORD(PathOrObjects);
/** KeyInfo: CHOICE. */
ZELMOP15_DECLARE_RECORD(KeyInfo);
/** CommonKeyAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(CommonKeyAttributes);
/** CommonPrivateKeyAttributes: SEQUENCE, all fields optional. */
ZELMOP15_DECLARE_RECORD(CommonPrivateKeyAttributes);
/** CommonPublicKeyAttributes: SEQUENCE, all fields optional. */
ZELMOP15_DECLARE_RECORD(CommonPublicKeyAttributes);
/** CommonSecretKeyAttributes: SEQUENCE, all fields optional. */
ZELMOP15_DECLARE_RECORD(CommonSecretKeyAttributes);
/** CommonCertificateAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(CommonCertificateAttributes);
/** CommonDataObjectAttributes: SEQUENCE, all fields optional. */
ZELMOP15_DECLARE_RECORD(CommonDataObjectAttributes);
/** CommonAuthenticationObjectAttributes: SEQUENCE; only authId is read, whatever follows it. */
ZELMOP15_DECLARE_RECORD(CommonAuthenticationObjectAttributes);

/** DIRRecord: read with the tag 61, written with the tag 30. Encoding one without aid or path ends the process. */
ZELMOP15_DECLARE_RECORD(DIRRecord);
/** Deep copy of what is present. */
ZELMOP15_DECLARE_CLONE(DIRRecord);
/** DDO: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(DDO);
/** Deep copy of what is present. */
ZELMOP15_DECLARE_CLONE(DDO);
/** TokenInfo: SEQUENCE. serialNumber may be absent on reading and must be there for writing. */
ZELMOP15_DECLARE_RECORD(TokenInfo);
/** SecurityEnvironmentInfo: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(SecurityEnvironmentInfo);
/** RecordInfo: SEQUENCE. Members are written with implicit tags and read with implicit or explicit ones. */
ZELMOP15_DECLARE_RECORD(RecordInfo);
/** AlgorithmInfo: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(AlgorithmInfo);
/** LastUpdate: CHOICE. */
ZELMOP15_DECLARE_RECORD(LastUpdate);

/**
 * Encodes an object of any kind with the coders of its attributes. `sca_e` is null for a kind without subclass
 * attributes; an object that has them all the same ends the process by the assertion "sca_e".
 */
uint32_t asn1_PKCS15Object_e(uint8_t **cursor, const PKCS15Object *object, asn1_element_e ca_e, asn1_element_e sca_e,
                             asn1_element_e ta_e);
/** Decodes an object of any kind with the coders of its attributes. `sca_d` and `sca_free` may be null. */
const uint8_t *asn1_PKCS15Object_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_element_d ca_d,
                                   asn1_element_d sca_d, asn1_element_d ta_d, asn1_element_free ca_free,
                                   asn1_element_free sca_free, asn1_element_free ta_free, PKCS15Object **object,
                                   uint16_t level);
/** Releases an object of any kind. `ca_free` and `ta_free` are required, `sca_free` where there is a subclass. */
void asn1_PKCS15Object_free(PKCS15Object *object, asn1_element_free ca_free, asn1_element_free sca_free,
                            asn1_element_free ta_free);
/** New empty object, or null. */
PKCS15Object *asn1_PKCS15Object_new(void);

/** PKCS15Objects: CHOICE of the nine object types, one entry of the object directory file. */
ZELMOP15_DECLARE_RECORD(PKCS15Objects);

/** PrivateKeyType: CHOICE. */
ZELMOP15_DECLARE_RECORD(PrivateKeyType);
/** PublicKeyType: CHOICE. */
ZELMOP15_DECLARE_RECORD(PublicKeyType);
/** SecretKeyType: CHOICE. A generic key is read only with the tag B0; another algorithm's key is never read. */
ZELMOP15_DECLARE_RECORD(SecretKeyType);
/** CertificateType: CHOICE. */
ZELMOP15_DECLARE_RECORD(CertificateType);
/** DataType: CHOICE. */
ZELMOP15_DECLARE_RECORD(DataType);
/** AuthenticationType: CHOICE. */
ZELMOP15_DECLARE_RECORD(AuthenticationType);

/** Encodes the alternative of a private key with its untagged form. */
uint32_t asn1_pkcs15_PrivateKeyType_e(uint8_t **cursor, const PrivateKeyType *value);
/** Encodes the alternative of a public key with its untagged form. */
uint32_t asn1_pkcs15_PublicKeyType_e(uint8_t **cursor, const PublicKeyType *value);
/** Encodes the alternative of a secret key with its untagged form. */
uint32_t asn1_pkcs15_SecretKeyType_e(uint8_t **cursor, const SecretKeyType *value);
/** Encodes the alternative of a certificate with its untagged form. */
uint32_t asn1_pkcs15_CertificateType_e(uint8_t **cursor, const CertificateType *value);
/** Encodes the alternative of a data object with its untagged form. */
uint32_t asn1_pkcs15_DataType_e(uint8_t **cursor, const DataType *value);
/** Encodes the alternative of an authentication object with its untagged form. */
uint32_t asn1_pkcs15_AuthenticationType_e(uint8_t **cursor, const AuthenticationType *value);

/** OtherKey: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(OtherKey);
/** PinAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(PinAttributes);
/** BiometricAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(BiometricAttributes);
/** BiometricType: CHOICE. An iris scan is written in a form that is not read back. */
ZELMOP15_DECLARE_RECORD(BiometricType);
/** IrisScan: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(IrisScan);
/** FingerPrint: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(FingerPrint);
/** AuthKeyAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(AuthKeyAttributes);
/** X509CertificateAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(X509CertificateAttributes);
/** GenericSecretKeyAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(GenericSecretKeyAttributes);
/** PublicRSAKeyAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(PublicRSAKeyAttributes);
/** PrivateRSAKeyAttributes: SEQUENCE. */
ZELMOP15_DECLARE_RECORD(PrivateRSAKeyAttributes);

#undef ZELMOP15_DECLARE_RECORD
#undef ZELMOP15_DECLARE_CODER
#undef ZELMOP15_DECLARE_CLONE

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif

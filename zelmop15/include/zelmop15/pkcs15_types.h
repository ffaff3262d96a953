/**
 * @file pkcs15_types.h
 * @brief The PKCS#15 records as they stand in memory (PKCS #15 v1.1, ISO/IEC 7816-15).
 *
 * Conventions of this header:
 *  1. Every record is a heap block from the C allocator and owns all that its members point to. A null member is an
 *     absent optional field.
 *  2. A whole record is released by its `asn1_<Type>_free`, see asn1_pkcs15.h.
 *  3. A CHOICE is a record of two members: `tag`, the alternative's tag number, and `value`, whose type follows
 *     from it. 16 stands for a SEQUENCE alternative, 2 for an INTEGER, 4 for an OCTET STRING.
 *  4. Lengths count octets, unless the comment says bits.
 *  5. Character strings are kept as bytes, without a terminator and without any conversion.
 */
#ifndef ZELMOP15_PKCS15_TYPES_H
#define ZELMOP15_PKCS15_TYPES_H

#include <stdint.h>

#include "zelmop15/list.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- primitive values ------------------------------------------------------------------------------------------ */

/** INTEGER: big-endian content octets without the leading zero octet. */
typedef struct asn1_Integer {
    uint32_t len;      /**< Octets in data. */
    uint8_t *data;     /**< Big-endian; may be null when len is 0. */
    uint32_t negative; /**< 1 when data holds raw two's-complement octets with the top bit set. */
} asn1_Integer;

/** OCTET STRING, character string or ANY: counted bytes, no terminator. */
typedef struct asn1_ASN1String {
    uint32_t len;  /**< Octets in data. */
    uint8_t *data; /**< May be null when len is 0. */
} asn1_ASN1String;

/** BIT STRING; bit 0 is the top bit of the first byte. */
typedef struct asn1_BitString {
    uint32_t bits; /**< Number of bits. */
    uint8_t *data; /**< (bits + 7) / 8 bytes. */
} asn1_BitString;

/** OBJECT IDENTIFIER: one number per arc, the first two counted separately. */
typedef struct asn1_ObjId {
    uint32_t count; /**< Number of arcs. */
    uint32_t *arcs; /**< First arc first. */
} asn1_ObjId;

typedef asn1_ASN1String asn1_OctetString;     /**< OCTET STRING. */
typedef asn1_ASN1String asn1_UTF8String;      /**< UTF8String. */
typedef asn1_ASN1String asn1_PrintableString; /**< PrintableString. */
typedef asn1_ASN1String asn1_Any;             /**< A whole encoded element: tag, length and content. */
typedef asn1_UTF8String Label;                /**< Text that a person reads. */
typedef asn1_OctetString Identifier;          /**< Opaque identifier of an object. */
typedef asn1_Integer Reference;               /**< Number by which the card knows a key, PIN or algorithm. */

/* ---- paths, access rules and common attributes ----------------------------------------------------------------- */

/** Where a file, or a part of one, lies on the card. */
typedef struct Path {
    asn1_OctetString *path; /**< 2-byte file identifiers; one byte is a short file identifier. Mandatory. */
    asn1_Integer *index;    /**< Offset of the part in the file. Optional. */
    asn1_Integer *length;   /**< Octets of the part. Optional. */
} Path;

/**
 * Condition of an access rule (CHOICE). tag 0: `not`, a SecurityCondition (one read from a card is a condition of tag 4
 * that holds the octets); 1: `and`, a List of SecurityCondition; 2: `or`, likewise; 4: `authId`, an Identifier.
 */
typedef struct SecurityCondition {
    uint32_t tag; /**< 0, 1, 2 or 4. */
    void *value;  /**< By tag. */
} SecurityCondition;

/** One access rule: the kinds of access, and what must hold for them. */
typedef struct AccessControlRule {
    asn1_BitString *accessMode;           /**< Bit 0 read, 1 update, 2 execute. Mandatory. */
    SecurityCondition *securityCondition; /**< Mandatory. */
} AccessControlRule;

/** Attributes that every object has; all optional. */
typedef struct CommonObjectAttributes {
    Label *label;              /**< Name of the object. */
    asn1_BitString *flags;     /**< Bit 0 private, bit 1 modifiable. */
    Identifier *authId;        /**< The authentication object that guards this one. */
    asn1_Integer *userConsent; /**< Uses after which the user must authenticate again. */
    List *accessControlRules;  /**< Of AccessControlRule. */
} CommonObjectAttributes;

/** Reference to a value outside (CHOICE). tag 16: a Path; 19, 22 (url) and 3 (urlWithDigest): an asn1_Any. */
typedef struct ReferencedValue {
    uint32_t tag; /**< 16, 19, 22 or 3. */
    void *value;  /**< By tag. */
} ReferencedValue;

/**
 * Value of an object (CHOICE). tag 0 (direct) and 2 (direct, protected): an asn1_Any; 1 (indirect, protected) and
 * 3, 16, 19, 22 (indirect): a ReferencedValue.
 */
typedef struct ObjectValue {
    uint32_t tag; /**< 0, 1, 2, 3, 16, 19 or 22. */
    void *value;  /**< By tag. */
} ObjectValue;

/** Value of an opaque data object. */
typedef ObjectValue Opaque;

/** Objects of one ODF entry (CHOICE). tag 16: a Path; 0: a List of asn1_Any; 2: an asn1_Any; 1: a ReferencedValue. */
typedef struct PathOrObjects {
    uint32_t tag; /**< 16, 0, 2 or 1. */
    void *value;  /**< By tag. */
} PathOrObjects;

/** Algorithm parameters of a key (CHOICE). tag 2: a Reference into supportedAlgorithms; 16: an asn1_Any. */
typedef struct KeyInfo {
    uint32_t tag; /**< 2 or 16. */
    void *value;  /**< By tag. */
} KeyInfo;

/** Attributes of every key. */
typedef struct CommonKeyAttributes {
    Identifier *iD;              /**< Mandatory. */
    asn1_BitString *usage;       /**< KeyUsageFlags. Mandatory. */
    uint32_t native;             /**< Key usable by the card itself; DEFAULT TRUE, 0xFF when absent on the card. */
    Reference *keyReference;     /**< The card's number of the key. */
    asn1_BitString *accessFlags; /**< KeyAccessFlags. */
    char *startDate;             /**< GeneralizedTime text. */
    char *endDate;               /**< GeneralizedTime text. */
} CommonKeyAttributes;

/** Attributes of every private key. */
typedef struct CommonPrivateKeyAttributes {
    asn1_Any *subjectName; /**< A Name. */
    List *keyIdentifiers;  /**< Of asn1_Any. */
} CommonPrivateKeyAttributes;

/** Attributes of every public key. */
typedef struct CommonPublicKeyAttributes {
    asn1_Any *subjectName;  /**< A Name. */
    asn1_Any *trustedUsage; /**< With its [0] tag. */
} CommonPublicKeyAttributes;

/** Attributes of every secret key. */
typedef struct CommonSecretKeyAttributes {
    asn1_Integer *keyLen; /**< Length in bits. */
} CommonSecretKeyAttributes;

/** Attributes of every certificate. */
typedef struct CommonCertificateAttributes {
    Identifier *iD;         /**< That of the key. Mandatory. */
    uint32_t authority;     /**< The certificate is a CA's; DEFAULT FALSE. */
    asn1_Any *identifier;   /**< CredentialIdentifier. */
    asn1_Any *certHash;     /**< With its [0] tag. */
    asn1_Any *trustedUsage; /**< With its [1] tag. */
    List *identifiers;      /**< Of asn1_Any. */
    uint32_t implicitTrust; /**< DEFAULT FALSE. */
} CommonCertificateAttributes;

/** Attributes of every data object. */
typedef struct CommonDataObjectAttributes {
    Label *applicationName;     /**< Name of the application that owns it. */
    asn1_ObjId *applicationOID; /**< Its object identifier. */
} CommonDataObjectAttributes;

/** Attributes of every authentication object. */
typedef struct CommonAuthenticationObjectAttributes {
    Identifier *authId; /**< What other objects' authId refers to. Mandatory. */
} CommonAuthenticationObjectAttributes;

/* ---- token and directory records ------------------------------------------------------------------------------- */

/** Discretionary data of an application template. */
typedef struct DDO {
    asn1_ObjId *oid;     /**< Mandatory on the card; null in the built-in record. */
    Path *odfPath;       /**< The object directory file. */
    Path *tokenInfoPath; /**< The TokenInfo file. */
    Path *unusedPath;    /**< The file of unused space. */
} DDO;

/** One application template of EF.DIR. */
typedef struct DIRRecord {
    asn1_OctetString *aid;  /**< Application identifier. Mandatory. */
    asn1_UTF8String *label; /**< Optional. */
    asn1_OctetString *path; /**< Path of the application; mandatory when encoding. */
    DDO *ddo;               /**< Optional. */
} DIRRecord;

/** Security environment of the token. */
typedef struct SecurityEnvironmentInfo {
    asn1_Integer *se;      /**< Number of the environment. Mandatory. */
    asn1_ObjId *owner;     /**< Optional. */
    asn1_OctetString *aid; /**< Optional. */
} SecurityEnvironmentInfo;

/** Record lengths of the directory files that are kept as records; all optional. */
typedef struct RecordInfo {
    asn1_Integer *oDFRecordLength;   /**< Object directory file. */
    asn1_Integer *prKDFRecordLength; /**< Private keys. */
    asn1_Integer *puKDFRecordLength; /**< Public keys. */
    asn1_Integer *sKDFRecordLength;  /**< Secret keys. */
    asn1_Integer *cDFRecordLength;   /**< Certificates. */
    asn1_Integer *dODFRecordLength;  /**< Data objects. */
    asn1_Integer *aODFRecordLength;  /**< Authentication objects. */
} RecordInfo;

/** An algorithm that the card can compute. */
typedef struct AlgorithmInfo {
    Reference *reference;                /**< What KeyInfo refers to. Mandatory. */
    asn1_Integer *algorithm;             /**< PKCS #11 mechanism number. Mandatory. */
    asn1_Any *parameters;                /**< Mandatory. */
    asn1_BitString *supportedOperations; /**< Bit 1 compute signature, bit 5 decipher. Mandatory. */
    asn1_ObjId *algId;                   /**< Optional. */
    Reference *algRef;                   /**< The card's own number. Optional. */
} AlgorithmInfo;

/** Time of the last change (CHOICE). tag 24: a GeneralizedTime text (char); 16, 19, 3: a ReferencedValue. */
typedef struct LastUpdate {
    uint32_t tag; /**< 24, 16, 19 or 3. */
    void *value;  /**< By tag. */
} LastUpdate;

/** The whole content of the TokenInfo file. */
typedef struct TokenInfo {
    asn1_Integer *version;          /**< Mandatory. */
    asn1_OctetString *serialNumber; /**< May be absent on reading, mandatory for writing. */
    Label *manufacturerID;          /**< Optional. */
    Label *label;                   /**< Optional. */
    asn1_BitString *tokenflags;     /**< Bit 0 readonly, 1 login required, 2 PRN generation, 3 EID compliant. */
    List *seInfo;                   /**< Of SecurityEnvironmentInfo. */
    RecordInfo *recordInfo;         /**< Present when directory files are kept as records. */
    List *supportedAlgorithms;      /**< Of AlgorithmInfo. */
    Label *issuerId;                /**< Optional. */
    Label *holderId;                /**< Optional. */
    LastUpdate *lastUpdate;         /**< Optional. */
    asn1_PrintableString *preferredLanguage; /**< RFC 1766 language tag. Optional. */
} TokenInfo;

/* ---- objects --------------------------------------------------------------------------------------------------- */

/** An object of any kind. The types of the three last members depend on the kind; see the type attributes below. */
typedef struct PKCS15Object {
    CommonObjectAttributes *commonObjectAttributes; /**< Mandatory. */
    void *classAttributes;                          /**< CommonKeyAttributes and so on. Mandatory. */
    void *subClassAttributes;                       /**< CommonPrivateKeyAttributes and so on. Keys only, optional. */
    void *typeAttributes;                           /**< PrivateRSAKeyAttributes and so on. Mandatory. */
} PKCS15Object;

/** One entry of the object directory file (CHOICE): `tag` is the object type, 0 to 8. */
typedef struct PKCS15Objects {
    uint32_t tag;         /**< Object type, PKCS15_PRIVATE_KEYS to PKCS15_AUTH_OBJECTS. */
    PathOrObjects *value; /**< Where the objects are. */
} PKCS15Objects;

/** A private key (CHOICE). tag 16 (RSA): a PKCS15Object; 0 EC, 1 DH, 2 DSA, 3 KEA: an asn1_Any. */
typedef struct PrivateKeyType {
    uint32_t tag; /**< 16 or 0 to 3. */
    void *value;  /**< By tag. */
} PrivateKeyType;

/** A public key (CHOICE). tag 16 (RSA): a PKCS15Object; 0 EC, 1 DH, 2 DSA, 3 KEA: an asn1_Any. */
typedef struct PublicKeyType {
    uint32_t tag; /**< 16 or 0 to 3. */
    void *value;  /**< By tag. */
} PublicKeyType;

/** A secret key (CHOICE). tag 16 (generic) and 0 to 13 (by algorithm): a PKCS15Object; 14: an OtherKey. */
typedef struct SecretKeyType {
    uint32_t tag; /**< 16 or 0 to 14. */
    void *value;  /**< By tag. */
} SecretKeyType;

/** A certificate (CHOICE). tag 16 (X.509): a PKCS15Object; 0 to 5: an asn1_Any. */
typedef struct CertificateType {
    uint32_t tag; /**< 16 or 0 to 5. */
    void *value;  /**< By tag. */
} CertificateType;

/** A data object (CHOICE). tag 16 (opaque): a PKCS15Object; 0 external, 1 by object identifier: an asn1_Any. */
typedef struct DataType {
    uint32_t tag; /**< 16, 0 or 1. */
    void *value;  /**< By tag. */
} DataType;

/** An authentication object (CHOICE). tag 16 PIN, 0 biometric, 1 key: a PKCS15Object; 2 external: an asn1_Any. */
typedef struct AuthenticationType {
    uint32_t tag; /**< 16 or 0 to 2. */
    void *value;  /**< By tag. */
} AuthenticationType;

/** A secret key of another algorithm. */
typedef struct OtherKey {
    asn1_ObjId *keyType;   /**< Mandatory. */
    PKCS15Object *keyAttr; /**< A secret-key object. Mandatory. */
} OtherKey;

/** Type attributes of a PIN. */
typedef struct PinAttributes {
    asn1_BitString *pinFlags;   /**< PinFlags. Mandatory. */
    uint32_t pinType;           /**< 0 BCD, 1 ASCII numeric, 2 UTF-8, 3 half-nibble BCD, 4 ISO 9564-1. Mandatory. */
    asn1_Integer *minLength;    /**< Characters. Mandatory. */
    asn1_Integer *storedLength; /**< Octets on the card. Mandatory. */
    asn1_Integer *maxLength;    /**< Characters. Optional. */
    Reference *pinReference;    /**< The card's number of the PIN. Optional. */
    asn1_OctetString *padChar;  /**< One pad byte. Optional. */
    char *lastPinChange;        /**< GeneralizedTime text. Optional. */
    Path *path;                 /**< DF in which the PIN is known. Optional. */
} PinAttributes;

/** Which eye (iris scan). */
typedef struct IrisScan {
    uint32_t eye; /**< 0 left, 1 right. */
} IrisScan;

/** Which finger (fingerprint). */
typedef struct FingerPrint {
    uint32_t hand;   /**< 0 left, 1 right. */
    uint32_t finger; /**< 0 thumb to 4 little finger. */
} FingerPrint;

/** Kind of a biometric template (CHOICE). tag 0: an IrisScan; 16: a FingerPrint. */
typedef struct BiometricType {
    uint32_t tag; /**< 0 or 16. */
    void *value;  /**< By tag. */
} BiometricType;

/** Type attributes of a biometric template. */
typedef struct BiometricAttributes {
    asn1_BitString *bioFlags; /**< Mandatory. */
    asn1_ObjId *templateId;   /**< Mandatory. */
    BiometricType *bioType;   /**< Mandatory. */
    Reference *bioReference;  /**< Optional. */
    char *lastChange;         /**< GeneralizedTime text. Optional. */
    Path *path;               /**< Optional. */
} BiometricAttributes;

/** Type attributes of an authentication key. */
typedef struct AuthKeyAttributes {
    uint32_t derivedKey;   /**< DEFAULT TRUE, 0xFF when absent on the card. */
    Identifier *authKeyId; /**< iD of the secret key. Mandatory. */
} AuthKeyAttributes;

/** Type attributes of an X.509 certificate. */
typedef struct X509CertificateAttributes {
    ObjectValue *value;         /**< Mandatory. */
    asn1_Any *subject;          /**< Optional. */
    asn1_Any *issuer;           /**< With its [0] tag. Optional. */
    asn1_Integer *serialNumber; /**< Optional. */
} X509CertificateAttributes;

/** Type attributes of a secret key. */
typedef struct GenericSecretKeyAttributes {
    ObjectValue *value; /**< Mandatory. */
} GenericSecretKeyAttributes;

/** Type attributes of an RSA public key. */
typedef struct PublicRSAKeyAttributes {
    ObjectValue *value;          /**< Mandatory. */
    asn1_Integer *modulusLength; /**< Bits. Mandatory. */
    KeyInfo *keyInfo;            /**< Optional. */
} PublicRSAKeyAttributes;

/** Type attributes of an RSA private key. */
typedef struct PrivateRSAKeyAttributes {
    ObjectValue *value;          /**< Mandatory. */
    asn1_Integer *modulusLength; /**< Bits. Mandatory. */
    KeyInfo *keyInfo;            /**< Optional. */
} PrivateRSAKeyAttributes;

/** Object types: selectors of PKCS15Objects, rows of the coder table. */
enum {
    PKCS15_PRIVATE_KEYS = 0,         /**< PrivateKeyType. */
    PKCS15_PUBLIC_KEYS = 1,          /**< PublicKeyType. */
    PKCS15_TRUSTED_PUBLIC_KEYS = 2,  /**< PublicKeyType. */
    PKCS15_SECRET_KEYS = 3,          /**< SecretKeyType. */
    PKCS15_CERTIFICATES = 4,         /**< CertificateType. */
    PKCS15_TRUSTED_CERTIFICATES = 5, /**< CertificateType. */
    PKCS15_USEFUL_CERTIFICATES = 6,  /**< CertificateType. */
    PKCS15_DATA_OBJECTS = 7,         /**< DataType. */
    PKCS15_AUTH_OBJECTS = 8          /**< AuthenticationType. */
};

#ifdef __cplusplus
}
#endif

#endif

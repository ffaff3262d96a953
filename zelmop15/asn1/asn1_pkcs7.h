// Messages (PKCS #7): signed and encrypted data, and what they are wrapped in.
//
// Certificates, revocation lists, attributes and algorithms are carried and not looked into. The functions follow the
// conventions of asn1_pkcs15.h. ContentInfo, EncryptedData and EncryptedContentInfo are also read with indefinite
// lengths, where they fill the span up to `end`; they are never written so.
#ifndef ZELMOP15_ASN1_ASN1_PKCS7_H
#define ZELMOP15_ASN1_ASN1_PKCS7_H

#include "asn1/asn1_pkcs1.h"
#include "asn1/asn1_pkcs9.h"
#include "asn1/asn1_x501.h"

extern "C" {

/// Holds the value of a ContentInfo, whose type follows the content type.
struct Content {
    void *value;  ///< Null when there is none.
};

/// What stands in the holder: asn1_OctetString for data, SignedData, EncryptedData, asn1_Any for all other types.
struct ContentInfo {
    asn1_ObjId *contentType;
    Content *content;  ///< Made by asn1_ContentInfo_new, so that a record has always one.
};

struct IssuerAndSerialNumber {
    Name *issuer;
    asn1_OctetString *issuerDER;  ///< The issuer as it was read, and how it is written when it is there.
    asn1_Integer *serialNumber;
};

struct SignerInfo {
    asn1_Integer *version;
    IssuerAndSerialNumber *issuerAndSerialNumber;
    AlgId *digestAlgorithm;
    List *authenticatedAttributes;  ///< Of Attribute, optional.
    AlgId *digestEncryptionAlgorithm;
    asn1_OctetString *encryptedDigest;
    List *unauthenticatedAttributes;  ///< Of Attribute, optional.
};

struct SignedData {
    asn1_Integer *version;
    List *digestAlgorithms;  ///< Of AlgId.
    ContentInfo *contentInfo;
    List *certificates;  ///< Of asn1_Any, optional; see asn1_Certificate_d.
    List *crls;          ///< Of asn1_Any, optional; see asn1_CertificateRevocationList_d.
    List *signerInfos;   ///< Of SignerInfo; empty when nobody signed.
};

struct EncryptedContentInfo {
    asn1_ObjId *contentType;
    AlgId *contentEncryptionAlgorithm;
    asn1_OctetString *encryptedContent;  ///< May be absent when read; writing without one is a programming error.
};

struct EncryptedData {
    asn1_Integer *version;
    EncryptedContentInfo *encryptedContentInfo;
};

/// The holder alone: a value in it is neither made nor released.
Content *asn1_Content_new(void);
void asn1_Content_free(Content *value);

ASN1_DECLARE_RECORD(ContentInfo);
ASN1_DECLARE_RECORD(IssuerAndSerialNumber);
ASN1_DECLARE_RECORD(SignerInfo);
ASN1_DECLARE_RECORD(SignedData);
ASN1_DECLARE_RECORD(EncryptedContentInfo);
ASN1_DECLARE_RECORD(EncryptedData);
}

#endif

// Certificates and revocation lists (X.509).
//
// Both keep the exact octets of their signed part, and of the names in it, beside the parsed values, and are written
// from those octets: what was read is written as it was, and a signature stays one over the octets that were received.
// A record made by hand leaves those members null and is written from its values.
//
// Nothing is checked but that version 1 has neither unique identifiers nor extensions. The functions follow the
// conventions of asn1_pkcs15.h.
#ifndef ZELMOP15_ASN1_ASN1_X509V1_H
#define ZELMOP15_ASN1_ASN1_X509V1_H

#include "asn1/asn1_pkcs1.h"
#include "asn1/asn1_x501.h"

extern "C" {

struct Validity {
    asn1_Time *notBefore;
    asn1_Time *notAfter;
};

struct Extension {
    asn1_ObjId *extnID;
    uint32_t critical;  ///< Written when it is not 0.
    asn1_OctetString *extnValue;
};

using Extensions = List;  ///< Of Extension; a SEQUENCE OF.

/// Release overwrites the key. Written with asn1_BitString_e, which drops trailing zero bits.
struct SubjectPKI {
    AlgId *algorithm;
    asn1_BitString *subjectPublicKey;
};

/// A name is written from the first of its forms that is there: octets, tree, text. An empty name is refused.
struct Certificate_TBS {
    asn1_Integer *version;  ///< Optional; null is version 1.
    asn1_Integer *serialNumber;
    AlgId *signature;
    RDNSequence *issuerRDN;
    Name *issuer;
    asn1_OctetString *issuerDER;
    Validity *validity;
    RDNSequence *subjectRDN;
    Name *subject;
    asn1_OctetString *subjectDER;
    SubjectPKI *subjectPKI;
    asn1_BitString *issuerUniqueID;   ///< Optional.
    asn1_BitString *subjectUniqueID;  ///< Optional.
    Extensions *extensions;           ///< Optional.
};

struct Certificate {
    asn1_OctetString *tbsDER;  ///< `tbs` as it was read.
    Certificate_TBS *tbs;
    AlgId *signatureAlgorithm;
    asn1_BitString *signature;
};

struct CRLEntry {
    asn1_Integer *userCertificate;
    asn1_Time *revocationDate;
    Extensions *crlEntryExtensions;  ///< Optional.
};

/// The issuer is written like the names of a certificate.
struct CertificateList_TBS {
    asn1_Integer *version;  ///< Optional.
    AlgId *signature;
    RDNSequence *issuerRDN;
    Name *issuer;
    asn1_OctetString *issuerDER;
    asn1_Time *thisUpdate;
    asn1_Time *nextUpdate;      ///< Optional.
    List *revokedCertificates;  ///< Of CRLEntry, optional.
    Extensions *crlExtensions;  ///< Optional.
};

struct CertificateRevocationList {
    asn1_OctetString *tbsDER;  ///< `tbs` as it was read.
    CertificateList_TBS *tbs;
    AlgId *signatureAlgorithm;
    asn1_BitString *signature;
};

ASN1_DECLARE_RECORD(Validity);
ASN1_DECLARE_RECORD(Extension);
ASN1_DECLARE_LIST(Extensions);
ASN1_DECLARE_RECORD(SubjectPKI);
ASN1_DECLARE_RECORD(Certificate_TBS);
ASN1_DECLARE_RECORD(Certificate);
ASN1_DECLARE_RECORD(CRLEntry);
ASN1_DECLARE_RECORD(CertificateList_TBS);
ASN1_DECLARE_RECORD(CertificateRevocationList);
}

#endif

// The PKCS#15 records as coders, for the schemas of the records that contain them.
#ifndef ZELMOP15_ASN1_ASN1_PKCS15_CODERS_H
#define ZELMOP15_ASN1_ASN1_PKCS15_CODERS_H

#include "asn1/asn1_record.h"

namespace asn1 {

using Path = ASN1_RECORD_CODER(Path, sequence_octet);
using AccessControlRule = ASN1_RECORD_CODER(AccessControlRule, sequence_octet);
using SecurityCondition = ASN1_RECORD_CODER(SecurityCondition, no_octet);
using ReferencedValue = ASN1_PLAIN_RECORD_CODER(ReferencedValue, no_octet);
using ObjectValue = ASN1_PLAIN_RECORD_CODER(ObjectValue, no_octet);
using Opaque = ASN1_PLAIN_RECORD_CODER(Opaque, no_octet);
using PathOrObjects = ASN1_PLAIN_RECORD_CODER(PathOrObjects, no_octet);
using KeyInfo = ASN1_PLAIN_RECORD_CODER(KeyInfo, no_octet);

using DDO = ASN1_RECORD_CODER(DDO, sequence_octet);
using SecurityEnvironmentInfo = ASN1_PLAIN_RECORD_CODER(SecurityEnvironmentInfo, sequence_octet);
using RecordInfo = ASN1_PLAIN_RECORD_CODER(RecordInfo, sequence_octet);
using AlgorithmInfo = ASN1_PLAIN_RECORD_CODER(AlgorithmInfo, sequence_octet);
using LastUpdate = ASN1_PLAIN_RECORD_CODER(LastUpdate, no_octet);

using CommonKeyAttributes = ASN1_PLAIN_RECORD_CODER(CommonKeyAttributes, sequence_octet);
using CommonPrivateKeyAttributes = ASN1_PLAIN_RECORD_CODER(CommonPrivateKeyAttributes, sequence_octet);
using CommonPublicKeyAttributes = ASN1_PLAIN_RECORD_CODER(CommonPublicKeyAttributes, sequence_octet);
using CommonSecretKeyAttributes = ASN1_PLAIN_RECORD_CODER(CommonSecretKeyAttributes, sequence_octet);
using CommonCertificateAttributes = ASN1_PLAIN_RECORD_CODER(CommonCertificateAttributes, sequence_octet);
using CommonDataObjectAttributes = ASN1_PLAIN_RECORD_CODER(CommonDataObjectAttributes, sequence_octet);
using CommonAuthenticationObjectAttributes = ASN1_PLAIN_RECORD_CODER(CommonAuthenticationObjectAttributes,
                                                                     sequence_octet);

using PinAttributes = ASN1_PLAIN_RECORD_CODER(PinAttributes, sequence_octet);
using BiometricAttributes = ASN1_PLAIN_RECORD_CODER(BiometricAttributes, sequence_octet);
using BiometricType = ASN1_PLAIN_RECORD_CODER(BiometricType, no_octet);
using IrisScan = ASN1_PLAIN_RECORD_CODER(IrisScan, sequence_octet);
using FingerPrint = ASN1_PLAIN_RECORD_CODER(FingerPrint, sequence_octet);
using AuthKeyAttributes = ASN1_PLAIN_RECORD_CODER(AuthKeyAttributes, sequence_octet);
using X509CertificateAttributes = ASN1_PLAIN_RECORD_CODER(X509CertificateAttributes, sequence_octet);
using GenericSecretKeyAttributes = ASN1_PLAIN_RECORD_CODER(GenericSecretKeyAttributes, sequence_octet);
using PublicRSAKeyAttributes = ASN1_PLAIN_RECORD_CODER(PublicRSAKeyAttributes, sequence_octet);
using PrivateRSAKeyAttributes = ASN1_PLAIN_RECORD_CODER(PrivateRSAKeyAttributes, sequence_octet);
using OtherKey = ASN1_PLAIN_RECORD_CODER(OtherKey, sequence_octet);

}  // namespace asn1

#endif

#include "asn1/asn1_x509v1.h"

#include <cstring>

#include "asn1/asn1_kept.h"
#include "asn1/asn1_record.h"

namespace asn1 {

// The tree and the text of a name. It is read into both, and written from the tree when there is one.
template <auto Tree, auto Text>
struct NameForms {
    using R = RecordOf<Tree>;
    using TreeField = Mandatory<Tree, RDNSequence>;
    using TextField = Mandatory<Text, Name>;

    static bool decode(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        if (!TreeField::decode(z, limit, record, level))
            return false;
        record.*Text = asn1_RDNSequence_to_Name(record.*Tree);
        return record.*Text != nullptr;
    }
    static bool encode(uint8_t **cursor, const R &record, uint32_t &sum) {
        return record.*Tree != nullptr ? TreeField::encode(cursor, record, sum)
                                       : TextField::encode(cursor, record, sum);
    }
    static void free(R &record) {
        TreeField::free(record);
        TextField::free(record);
    }
    static bool clone(R &to, const R &from) {
        return TreeField::clone(to, from) && TextField::clone(to, from);
    }
};

template <auto Tree, auto Text, auto Octets>
using ThreeForms = Kept<Octets, NameForms<Tree, Text>>;

// A field that version 1 does not have. Version 0, as the number is written, has no first octet in its record.
template <auto Member, class C, uint8_t Octet>
struct SinceVersion2 : Optional<Member, C, Octet> {
    using R = RecordOf<Member>;

    static bool decode(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        if (!stands_at(z, limit, Octet))
            return true;
        const asn1_Integer *const version = record.version;
        const bool allowed = version != nullptr && version->len != 0 && version->data[0] != 0;
        return allowed && PointerField<Member, C, Octet>::take(z, limit, record, level);
    }
};

static void free_key(asn1_BitString *key) {
    if (key != nullptr && key->data != nullptr)
        explicit_bzero(key->data, key->bits / 8 + (key->bits % 8 != 0 ? 1 : 0));
    asn1_BitString_free(key);
}

// A key is overwritten before it is released.
using Key = Coder<asn1_BitString, 0x03, asn1_BitString_e, asn1_BitString_d, free_key, asn1_BitString_clone>;

// A signature keeps all its bits when it is written.
using Signature =
    Coder<asn1_BitString, 0x03, asn1_BitString_BER_e, asn1_BitString_d, asn1_BitString_free, asn1_BitString_clone>;

using AlgId = ASN1_RECORD_CODER(AlgId, sequence_octet);
using Validity = ASN1_RECORD_CODER(Validity, sequence_octet);
using Extension = ASN1_RECORD_CODER(Extension, sequence_octet);
using Extensions = SeqOf<Extension>;
using SubjectPKI = ASN1_RECORD_CODER(SubjectPKI, sequence_octet);
using CertificateTBS = ASN1_RECORD_CODER(Certificate_TBS, sequence_octet);
using CRLEntry = ASN1_RECORD_CODER(CRLEntry, sequence_octet);
using CertificateListTBS = ASN1_RECORD_CODER(CertificateList_TBS, sequence_octet);

// clang-format off
template <>
struct Schema<::Validity> {
    using R = ::Validity;
    using fields = Sequence<
        Mandatory<&R::notBefore, Time>,
        Mandatory<&R::notAfter,  Time>>;
};

template <>
struct Schema<::Extension> {
    using R = ::Extension;
    using fields = Sequence<
        Mandatory     <&R::extnID,    ObjId>,
        DefaultBoolean<&R::critical,  false, 0x01>,
        Mandatory     <&R::extnValue, OctetString>>;
};

template <>
struct Schema<::SubjectPKI> {
    using R = ::SubjectPKI;
    using fields = Sequence<
        Mandatory<&R::algorithm,        AlgId>,
        Mandatory<&R::subjectPublicKey, Key>>;
};

template <>
struct Schema<::Certificate_TBS> {
    using R = ::Certificate_TBS;
    using fields = Sequence<
        Optional     <&R::version,         Explicit<Integer>,    0xA0>,
        Mandatory    <&R::serialNumber,    Integer>,
        Mandatory    <&R::signature,       AlgId>,
        ThreeForms   <&R::issuerRDN,       &R::issuer,           &R::issuerDER>,
        Mandatory    <&R::validity,        Validity>,
        ThreeForms   <&R::subjectRDN,      &R::subject,          &R::subjectDER>,
        Mandatory    <&R::subjectPKI,      SubjectPKI>,
        SinceVersion2<&R::issuerUniqueID,  BitString,            0x81>,
        SinceVersion2<&R::subjectUniqueID, BitString,            0x82>,
        SinceVersion2<&R::extensions,      Explicit<Extensions>, 0xA3>>;
};

template <>
struct Schema<::Certificate> {
    using R = ::Certificate;
    using fields = Sequence<
        Kept<&R::tbsDER, Mandatory<&R::tbs, CertificateTBS>>,
        Mandatory<&R::signatureAlgorithm, AlgId>,
        Mandatory<&R::signature,          Signature>>;
};

template <>
struct Schema<::CRLEntry> {
    using R = ::CRLEntry;
    using fields = Sequence<
        Mandatory<&R::userCertificate,    Integer>,
        Mandatory<&R::revocationDate,     Time>,
        Optional <&R::crlEntryExtensions, Extensions, 0x30>>;
};

template <>
struct Schema<::CertificateList_TBS> {
    using R = ::CertificateList_TBS;
    using fields = Sequence<
        Optional      <&R::version,             Integer,              0x02>,
        Mandatory     <&R::signature,           AlgId>,
        ThreeForms    <&R::issuerRDN,           &R::issuer,           &R::issuerDER>,
        Mandatory     <&R::thisUpdate,          Time>,
        OptionalEither<&R::nextUpdate,          Time,                 0x17, 0x18>,
        Optional      <&R::revokedCertificates, SeqOf<CRLEntry>,      0x30>,
        Optional      <&R::crlExtensions,       Explicit<Extensions>, 0xA0>>;
};

template <>
struct Schema<::CertificateRevocationList> {
    using R = ::CertificateRevocationList;
    using fields = Sequence<
        Kept<&R::tbsDER, Mandatory<&R::tbs, CertificateListTBS>>,
        Mandatory<&R::signatureAlgorithm, AlgId>,
        Mandatory<&R::signature,          Signature>>;
};
// clang-format on

}  // namespace asn1

ASN1_NESTED_RECORD(Validity)
ASN1_NESTED_RECORD(Extension)
ASN1_LIST(Extensions)
ASN1_NESTED_RECORD(SubjectPKI)
ASN1_NESTED_RECORD(Certificate_TBS)
ASN1_NESTED_RECORD(Certificate)
ASN1_NESTED_RECORD(CRLEntry)
ASN1_NESTED_RECORD(CertificateList_TBS)
ASN1_NESTED_RECORD(CertificateRevocationList)

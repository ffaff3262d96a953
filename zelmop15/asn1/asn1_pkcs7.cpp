// The records of a message but for ContentInfo.
#include "asn1/asn1_pkcs7.h"

#include "asn1/asn1_kept.h"
#include "asn1/asn1_pkcs7_coders.h"

namespace asn1 {

// Encrypted octets are read in primitive and in constructed form, and may be missing then.
template <auto Member>
struct EncryptedOctets : OptionalToRead<Member, OctetString, 0x80> {
    using R = RecordOf<Member>;

    static bool decode(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        if (!stands_at(z, limit, 0x80) && !stands_at(z, limit, 0xA0))
            return true;
        z = asn1_OctetString_d(z, limit, *z, &(record.*Member), level);
        return z != nullptr;
    }
};

template <class Head, class Field, class Tail>
struct Around;
template <class... Head, class Field, class... Tail>
struct Around<Sequence<Head...>, Field, Sequence<Tail...>> {
    using fields = Sequence<Head..., Field, Tail...>;
};

// Reads a SEQUENCE that may be of indefinite length.
template <class R>
const uint8_t *decode_open_record(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, R **record, uint16_t level) {
    Extent extent;
    z = enter(z, end, impl_tag, sequence_octet, extent, level);
    if (z == nullptr)
        return nullptr;
    *record = nullptr;
    OwnedRecord<R> value(allocate<R>());
    if (value == nullptr)
        return nullptr;
    z = Schema<R>::fields::decode_fields(z, extent.limit, *value, deeper(level));
    if (z != nullptr)
        z = leave(z, extent, level);
    if (z != nullptr)
        *record = value.release();
    return z;
}

using Attribute = ASN1_RECORD_CODER(Attribute, sequence_octet);
using ContentInfo = ASN1_RECORD_CODER(ContentInfo, sequence_octet);
using IssuerAndSerialNumber = ASN1_RECORD_CODER(IssuerAndSerialNumber, sequence_octet);
using EncryptedContentInfo = ASN1_RECORD_CODER(EncryptedContentInfo, sequence_octet);

// clang-format off
template <>
struct Schema<::IssuerAndSerialNumber> {
    using R = ::IssuerAndSerialNumber;
    using fields = Sequence<
        Kept<&R::issuerDER, Mandatory<&R::issuer, Name>>,
        Mandatory<&R::serialNumber, Integer>>;
};

template <>
struct Schema<::SignerInfo> {
    using R = ::SignerInfo;
    using fields = Sequence<
        Mandatory<&R::version,                   Integer>,
        Mandatory<&R::issuerAndSerialNumber,     IssuerAndSerialNumber>,
        Mandatory<&R::digestAlgorithm,           AlgId>,
        Optional <&R::authenticatedAttributes,   SetOf<Attribute>, 0xA0>,
        Mandatory<&R::digestEncryptionAlgorithm, AlgId>,
        Mandatory<&R::encryptedDigest,           OctetString>,
        Optional <&R::unauthenticatedAttributes, SetOf<Attribute>, 0xA1>>;
};

template <>
struct Schema<::SignedData> : Around<
    SignedDataHead,
    Mandatory<&::SignedData::contentInfo, ContentInfo>,
    SignedDataTail> {};

template <>
struct Schema<::EncryptedContentInfo> {
    using R = ::EncryptedContentInfo;
    using fields = Sequence<
        Mandatory<&R::contentType,                ObjId>,
        Mandatory<&R::contentEncryptionAlgorithm, AlgId>,
        EncryptedOctets<&R::encryptedContent>>;
};

template <>
struct Schema<::EncryptedData> {
    using R = ::EncryptedData;
    using fields = Sequence<
        Mandatory<&R::version,              Integer>,
        Mandatory<&R::encryptedContentInfo, EncryptedContentInfo>>;
};
// clang-format on

}  // namespace asn1

ASN1_NESTED_RECORD(IssuerAndSerialNumber)
ASN1_NESTED_RECORD(SignerInfo)
ASN1_NESTED_RECORD(SignedData)
ASN1_RECORD_DECODED_BY(EncryptedContentInfo, asn1::decode_open_record)
ASN1_RECORD_CLONE(EncryptedContentInfo)
ASN1_RECORD_DECODED_BY(EncryptedData, asn1::decode_open_record)
ASN1_RECORD_CLONE(EncryptedData)

// The records at the top of a token: EF.DIR templates and the TokenInfo file.
#include "asn1/asn1_choice.h"
#include "asn1/asn1_pkcs15_coders.h"

namespace asn1 {

// A record length is written with an implicit tag and read with an implicit or an explicit one.
template <auto Member, uint8_t Number>
struct RecordLength : Optional<Member, Integer, 0x80 + Number> {
    using Field = PointerField<Member, Integer, 0x80 + Number>;
    static bool decode(const uint8_t *&z, const uint8_t *limit, typename Field::R &record, uint16_t level) {
        constexpr uint8_t explicit_octet = 0xA0 + Number;
        if (!stands_at(z, limit, 0x80 + Number) && !stands_at(z, limit, explicit_octet))
            return true;
        const uint8_t *const start = z;
        if (Field::take(z, limit, record, level))
            return true;
        z = Explicit<Integer>::d(start, limit, explicit_octet, &(record.*Member), level);
        return z != nullptr;
    }
};

// clang-format off
template <>
struct Schema<::DDO> {
    using R = ::DDO;
    using fields = Sequence<
        Mandatory<&R::oid,           ObjId>,
        Optional <&R::odfPath,       Path,  0x30>,
        Optional <&R::tokenInfoPath, Path,  0xA0>,
        Optional <&R::unusedPath,    Path,  0xA1>>;
};

// The label's octets are taken as they are.
template <>
struct Schema<::DIRRecord> {
    using R = ::DIRRecord;
    using fields = Sequence<
        Mandatory     <&R::aid,   OctetString, 0x4F>,
        Optional      <&R::label, OctetString, 0x50>,
        OptionalToRead<&R::path,  OctetString, 0x51>,
        Optional      <&R::ddo,   DDO,         0x73>>;
};

template <>
struct Schema<::TokenInfo> {
    using R = ::TokenInfo;
    using fields = Sequence<
        Mandatory     <&R::version,             Integer>,
        OptionalToRead<&R::serialNumber,        OctetString,                    0x04>,
        Optional      <&R::manufacturerID,      Label,                          0x0C>,
        Optional      <&R::label,               Label,                          0x80>,
        Mandatory     <&R::tokenflags,          BitString>,
        Optional      <&R::seInfo,              SeqOf<SecurityEnvironmentInfo>, 0x30>,
        Optional      <&R::recordInfo,          RecordInfo,                     0xA1>,
        Optional      <&R::supportedAlgorithms, SeqOf<AlgorithmInfo>,           0xA2>,
        Optional      <&R::issuerId,            Label,                          0x83>,
        Optional      <&R::holderId,            Label,                          0x84>,
        Optional      <&R::lastUpdate,          Explicit<LastUpdate>,           0xA5>,
        Optional      <&R::preferredLanguage,   PrintableString,                0x13>>;
};

template <>
struct Schema<::SecurityEnvironmentInfo> {
    using R = ::SecurityEnvironmentInfo;
    using fields = Sequence<
        Mandatory<&R::se,    Integer>,
        Optional <&R::owner, ObjId,       0x06>,
        Optional <&R::aid,   OctetString, 0x04>>;
};

template <>
struct Schema<::RecordInfo> {
    using R = ::RecordInfo;
    using fields = Sequence<
        RecordLength<&R::oDFRecordLength,   0>,
        RecordLength<&R::prKDFRecordLength, 1>,
        RecordLength<&R::puKDFRecordLength, 2>,
        RecordLength<&R::sKDFRecordLength,  3>,
        RecordLength<&R::cDFRecordLength,   4>,
        RecordLength<&R::dODFRecordLength,  5>,
        RecordLength<&R::aODFRecordLength,  6>>;
};

template <>
struct Schema<::AlgorithmInfo> {
    using R = ::AlgorithmInfo;
    using fields = Sequence<
        Mandatory<&R::reference,           Reference>,
        Mandatory<&R::algorithm,           Integer>,
        Mandatory<&R::parameters,          Any>,
        Mandatory<&R::supportedOperations, BitString>,
        Optional <&R::algId,               ObjId,     0x06>,
        Optional <&R::algRef,              Reference, 0x02>>;
};

// An IA5String, which ReferencedValue would take, is not taken here.
template <>
struct Schema<::LastUpdate> {
    using fields = Choice<
        Alternative<24, GeneralizedTime>,
        Alternative<16, ReferencedValue>,
        Alternative<19, ReferencedValue>,
        Alternative<3,  ReferencedValue>>;
};
// clang-format on

}  // namespace asn1

ASN1_RECORD(DDO)
ASN1_RECORD_CLONE(DDO)
ASN1_RECORD_CLONE(DIRRecord)
ASN1_RECORD(TokenInfo)
ASN1_RECORD(SecurityEnvironmentInfo)
ASN1_RECORD(RecordInfo)
ASN1_RECORD(AlgorithmInfo)
ASN1_CHOICE(LastUpdate)

extern "C" {

DIRRecord *asn1_DIRRecord_new(void) {
    return allocate<DIRRecord>();
}

void asn1_DIRRecord_free(DIRRecord *value) {
    asn1::free_record(value);
}

// Written as a plain SEQUENCE, but read as an application template: the two directions differ.
uint32_t asn1_DIRRecord_e(uint8_t **cursor, const DIRRecord *value) {
    return asn1::encode_record(cursor, value);
}

const uint8_t *asn1_DIRRecord_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, DIRRecord **value,
                                uint16_t level) {
    constexpr uint8_t application_template = 0x61;
    return asn1::decode_record(z, end, impl_tag != 0 ? impl_tag : application_template, value, level);
}
}

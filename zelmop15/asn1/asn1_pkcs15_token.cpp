// The records at the top of a token: EF.DIR templates and the TokenInfo file.
#include "asn1/asn1_choice.h"
#include "asn1/asn1_pkcs15_coders.h"

namespace asn1 {

// A record length is written with an implicit tag and read with an implicit or an explicit one.
template <auto Member, uint8_t Number>
struct RecordLength : Optional<Member, Integer, 0x80 + Number> {
    using Field = PointerField<Member, Integer, 0x80 + Number>;
    static bool decode(const uint8_t *&z, const uint8_t *limit, typename Field::R &record, uint16_t level)
    {
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

template <>
struct Schema<::DDO> : Sequence<Mandatory<&::DDO::oid, ObjId>,               //
                                Optional<&::DDO::odfPath, Path, 0x30>,       //
                                Optional<&::DDO::tokenInfoPath, Path, 0xA0>,  //
                                Optional<&::DDO::unusedPath, Path, 0xA1>> {};

// The label's octets are taken as they are.
template <>
struct Schema<::DIRRecord> : Sequence<Mandatory<&::DIRRecord::aid, OctetString, 0x4F>,
                                      Optional<&::DIRRecord::label, OctetString, 0x50>,
                                      OptionalToRead<&::DIRRecord::path, OctetString, 0x51>,
                                      Optional<&::DIRRecord::ddo, DDO, 0x73>> {};

template <>
struct Schema<::TokenInfo>
    : Sequence<Mandatory<&::TokenInfo::version, Integer>,
               OptionalToRead<&::TokenInfo::serialNumber, OctetString, 0x04>,
               Optional<&::TokenInfo::manufacturerID, Label, 0x0C>,
               Optional<&::TokenInfo::label, Label, 0x80>,
               Mandatory<&::TokenInfo::tokenflags, BitString>,
               Optional<&::TokenInfo::seInfo, SeqOf<SecurityEnvironmentInfo>, 0x30>,
               Optional<&::TokenInfo::recordInfo, RecordInfo, 0xA1>,
               Optional<&::TokenInfo::supportedAlgorithms, SeqOf<AlgorithmInfo>, 0xA2>,
               Optional<&::TokenInfo::issuerId, Label, 0x83>,
               Optional<&::TokenInfo::holderId, Label, 0x84>,
               Optional<&::TokenInfo::lastUpdate, Explicit<LastUpdate>, 0xA5>,
               Optional<&::TokenInfo::preferredLanguage, PrintableString, 0x13>> {};

template <>
struct Schema<::SecurityEnvironmentInfo>
    : Sequence<Mandatory<&::SecurityEnvironmentInfo::se, Integer>,
               Optional<&::SecurityEnvironmentInfo::owner, ObjId, 0x06>,
               Optional<&::SecurityEnvironmentInfo::aid, OctetString, 0x04>> {};

template <>
struct Schema<::RecordInfo> : Sequence<RecordLength<&::RecordInfo::oDFRecordLength, 0>,
                                       RecordLength<&::RecordInfo::prKDFRecordLength, 1>,
                                       RecordLength<&::RecordInfo::puKDFRecordLength, 2>,
                                       RecordLength<&::RecordInfo::sKDFRecordLength, 3>,
                                       RecordLength<&::RecordInfo::cDFRecordLength, 4>,
                                       RecordLength<&::RecordInfo::dODFRecordLength, 5>,
                                       RecordLength<&::RecordInfo::aODFRecordLength, 6>> {};

template <>
struct Schema<::AlgorithmInfo> : Sequence<Mandatory<&::AlgorithmInfo::reference, Reference>,
                                          Mandatory<&::AlgorithmInfo::algorithm, Integer>,
                                          Mandatory<&::AlgorithmInfo::parameters, Any>,
                                          Mandatory<&::AlgorithmInfo::supportedOperations, BitString>,
                                          Optional<&::AlgorithmInfo::algId, ObjId, 0x06>,
                                          Optional<&::AlgorithmInfo::algRef, Reference, 0x02>> {};

// An IA5String, which ReferencedValue would take, is not taken here.
template <>
struct Schema<::LastUpdate> : Choice<Alternative<24, GeneralizedTime>,  //
                                     Alternative<16, ReferencedValue>,  //
                                     Alternative<19, ReferencedValue>,  //
                                     Alternative<3, ReferencedValue>> {};

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

DIRRecord *asn1_DIRRecord_new(void)
{
    return allocate<DIRRecord>();
}

void asn1_DIRRecord_free(DIRRecord *value)
{
    asn1::free_record(value);
}

// Written as a plain SEQUENCE, but read as an application template: the two directions differ.
uint32_t asn1_DIRRecord_e(uint8_t **cursor, const DIRRecord *value)
{
    return asn1::encode_record(cursor, value);
}

const uint8_t *asn1_DIRRecord_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, DIRRecord **value,
                                uint16_t level)
{
    constexpr uint8_t application_template = 0x61;
    return asn1::decode_record(z, end, impl_tag != 0 ? impl_tag : application_template, value, level);
}
}

// Fields that keep the octets they were read from beside their value, and are written from those octets when they are
// there: what was signed stays what it was.
#ifndef ZELMOP15_ASN1_ASN1_KEPT_H
#define ZELMOP15_ASN1_ASN1_KEPT_H

#include "asn1/asn1_record.h"
#include "asn1/asn1_x501.h"

namespace asn1 {

/// `Field` with its encoding in the member `Octets`. Where that is null the value itself is encoded.
template <auto Octets, class Field>
struct Kept {
    using R = RecordOf<Octets>;

    static void preset(R &) {}
    static bool decode(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        const uint8_t *const start = z;
        if (!Field::decode(z, limit, record, level))
            return false;
        record.*Octets = asn1_ASN1String_new(static_cast<uint32_t>(z - start), start);
        return record.*Octets != nullptr;
    }
    static bool encode(uint8_t **cursor, const R &record, uint32_t &sum) {
        if (record.*Octets == nullptr)
            return Field::encode(cursor, record, sum);
        const uint32_t length = asn1_Any_e(cursor, record.*Octets);
        return length != 0 && add_length(sum, length);
    }
    static void free(R &record) {
        asn1_OctetString_free(record.*Octets);
        Field::free(record);
    }
    static bool clone(R &to, const R &from) {
        to.*Octets = asn1_OctetString_clone(from.*Octets);
        return (to.*Octets != nullptr || from.*Octets == nullptr) && Field::clone(to, from);
    }
};

using RDNSequence = Coder<::RDNSequence, sequence_octet, asn1_RDNSequence_e, asn1_RDNSequence_d, asn1_RDNSequence_free,
                          asn1_RDNSequence_clone>;
using Name = Coder<::Name, sequence_octet, asn1_Name_e, asn1_Name_d, asn1_Name_free, asn1_Name_clone>;

}  // namespace asn1

#endif

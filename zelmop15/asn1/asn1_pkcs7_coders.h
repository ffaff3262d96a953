// What the coders of messages share: elements of indefinite length, and the fields of SignedData around its content.
#ifndef ZELMOP15_ASN1_ASN1_PKCS7_CODERS_H
#define ZELMOP15_ASN1_ASN1_PKCS7_CODERS_H

#include "asn1/asn1_pkcs7.h"
#include "asn1/asn1_record.h"

namespace asn1 {

inline uint16_t deeper(uint16_t level) {
    return static_cast<uint16_t>(level != 0 ? level + 1 : 0);
}

/// Where the content of an element ends. An indefinite one fills the span it was given, so that its end-of-contents
/// octets are the last two of that span.
struct Extent {
    const uint8_t *limit = nullptr;
    bool indefinite = false;
};

/// Reads the header of a constructed element; the position of its content, or null.
inline const uint8_t *enter(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag, Extent &extent,
                            uint16_t level) {
    uint32_t length = 0;
    uint32_t indefinite = 0;
    const auto expected = static_cast<uint8_t>(impl_tag != 0 ? impl_tag | constructed_bit : 0);
    z = asn1_TagLength_d(z, end, expected, tag, nullptr, &length, &indefinite, level);
    if (z == nullptr || (indefinite != 0 && remaining(z, end) < 2))
        return nullptr;
    extent = {indefinite != 0 ? end - 2 : z + length, indefinite != 0};
    return z;
}

/// Leaves the element behind its last field. Surplus in a definite one is neither skipped nor refused; an indefinite
/// one must end here.
inline const uint8_t *leave(const uint8_t *z, const Extent &extent, uint16_t level) {
    if (extent.indefinite)
        z = z == extent.limit ? asn1_eoc_d(z, extent.limit + 2) : nullptr;
    if (z != nullptr)
        asn1_LogMessage(level, "}\n");
    return z;
}

using AlgId = ASN1_RECORD_CODER(AlgId, sequence_octet);
using SignerInfo = ASN1_RECORD_CODER(SignerInfo, sequence_octet);

// clang-format off
using SignedDataHead = Sequence<
    Mandatory<&::SignedData::version,          Integer>,
    Mandatory<&::SignedData::digestAlgorithms, SetOf<AlgId>>>;

using SignedDataTail = Sequence<
    Optional <&::SignedData::certificates, SetOf<Any>, 0xA0>,
    Optional <&::SignedData::crls,         SetOf<Any>, 0xA1>,
    Mandatory<&::SignedData::signerInfos,  SetOf<SignerInfo>>>;
// clang-format on

}  // namespace asn1

#endif

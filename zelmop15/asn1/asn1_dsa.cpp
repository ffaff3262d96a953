#include "asn1/asn1_dsa.h"

#include "asn1/asn1_record.h"

namespace asn1 {

// clang-format off
template <>
struct Schema<::DssParms> {
    using R = ::DssParms;
    using fields = Sequence<
        Mandatory<&R::p, Integer>,
        Mandatory<&R::q, Integer>,
        Mandatory<&R::g, Integer>>;
};

template <>
struct Schema<::DssSigValue> {
    using R = ::DssSigValue;
    using fields = Sequence<
        Mandatory<&R::r, Integer>,
        Mandatory<&R::s, Integer>>;
};
// clang-format on

}  // namespace asn1

ASN1_NESTED_RECORD(DssParms)
ASN1_NESTED_RECORD(DssSigValue)

// Between DER and numbers.
#ifndef ZELMOP15_CSP_CSP_ASN1_H
#define ZELMOP15_CSP_CSP_ASN1_H

#include "aa/aa.h"
#include "runtime/bytestring.h"

extern "C" {

/// Reads `count` new numbers from a SEQUENCE of INTEGERs, or one number from a bare INTEGER. Their content is taken as
/// unsigned and has at most csp_max_bits; what stands behind the last one is not looked at. 0; or -1 with all entries
/// null. Asserts that both pointers are given and that count is not 0.
int32_t asn1_to_aa(const Bytestring *der, aauint **array, uint32_t count);
/// The reverse: new DER of a SEQUENCE of INTEGERs, of a bare INTEGER for one number; null when memory is short. Asserts
/// as above.
Bytestring *aa_to_asn1(const aauint *const *array, uint32_t count);
}

#endif

#include "csp/csp_key.h"

#include "csp/csp_trace.h"
#include "runtime/log.h"

namespace csp {

OwnedNumber number_of(const Bytestring *octets) {
    if (octets->len > UINT32_MAX / 8)
        return nullptr;
    OwnedNumber number(aa_new(8 * octets->len));
    if (number != nullptr)
        aa_uchar2aauint(number.get(), 8 * octets->len, octets->data);
    return number;
}

OwnedNumber copy_of(const aauint *number) {
    OwnedNumber copy(aa_new(32 * number[0]));
    if (copy != nullptr)
        aa_copy(number, copy.get());
    return copy;
}

Bytestring *octets_of(const aauint *number) {
    Bytestring *const octets = Bytestring_new(octet_count(number), nullptr);
    if (octets != nullptr)
        aa_aauint2uchar(8 * octets->len, octets->data, number);
    return octets;
}

uint32_t too_long() {
    mirel_log(failure_level, MIREL_LOG_TEXT, "Maximal length of %i bits exceeded", static_cast<int>(csp_max_bits));
    return CSP_ERR_PARAM;
}

}  // namespace csp

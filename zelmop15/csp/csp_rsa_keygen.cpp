// RSA key generation on octets.
#include "csp/csp.h"
#include "csp/csp_asn1.h"
#include "csp/csp_key.h"
#include "csp/csp_trace.h"
#include "csp/rsa.h"

namespace {

uint8_t default_exponent_octets[] = {0x01, 0x00, 0x01};
constexpr Bytestring default_exponent = {sizeof default_exponent_octets, default_exponent_octets};

}  // namespace

extern "C" uint32_t CSP_RSA_key_generation(CspContext *ctx, uint32_t bits, uint32_t limit, uint32_t skew,
                                           Bytestring **modulus, Bytestring **exponent, Bytestring **key) {
    if (key == nullptr)
        return CSP_ERR_PARAM;
    if (bits > csp_max_bits || limit > csp_max_bits)
        return csp::too_long();
    if (modulus != nullptr)
        *modulus = nullptr;
    *key = nullptr;
    const bool chosen = exponent != nullptr && *exponent != nullptr;
    const Bytestring *const e = chosen ? *exponent : &default_exponent;
    // One that is too long for the arithmetic fails like everything else here.
    if (!csp::within_limit(e))
        return CSP_ERR_MEMORY;
    const OwnedRsaKey made(RSA_key_generation(ctx, bits, e->data, 8 * e->len, skew));
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    const aauint *const numbers[] = {AA_ZERO, made->n,    made->e,    made->d,   made->p,
                                     made->q, made->dmp1, made->dmq1, made->iqmp};
    SecretBytestring made_key(aa_to_asn1(numbers, sizeof numbers / sizeof *numbers));
    OwnedBytestring made_modulus(modulus != nullptr ? csp::octets_of(made->n) : nullptr);
    OwnedBytestring made_exponent(exponent != nullptr && !chosen ? csp::octets_of(made->e) : nullptr);
    if (made_key == nullptr || (modulus != nullptr && made_modulus == nullptr) ||
        (exponent != nullptr && !chosen && made_exponent == nullptr))
        return CSP_ERR_MEMORY;
    if (modulus != nullptr) {
        *modulus = made_modulus.release();
        csp::trace("RSA modulus", *modulus);
    }
    if (exponent != nullptr) {
        if (!chosen)
            *exponent = made_exponent.release();
        csp::trace("RSA public exponent", *exponent);
    }
    *key = made_key.release();
    return 0;
}

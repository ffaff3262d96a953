// The private parts of the random generator.
#ifndef ZELMOP15_CSP_CSP_RAND_H
#define ZELMOP15_CSP_CSP_RAND_H

#include <cstdint>

#include "csp/csp.h"

extern "C" {

/// Takes the mutex. 0, or CSP_ERR_INTERNAL.
uint32_t trng_lock(CspContext *csp);
/// Gives the mutex back. 0, or CSP_ERR_INTERNAL.
uint32_t trng_unlock(CspContext *csp);
/// arcfour from its start: direction 0 enciphers, any other deciphers.
uint32_t trng_crypt(CspContext *csp, uint32_t direction, const Bytestring *key, const Bytestring *input,
                    Bytestring *output);
}

#endif

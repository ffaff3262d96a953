// The RSA signature schemes.
#ifndef ZELMOP15_CSP_CSP_SCHEME_H
#define ZELMOP15_CSP_CSP_SCHEME_H

#include "csp/csp.h"
#include "zelmop15/pkcs15_types.h"

namespace csp {

constexpr uint32_t max_digest = 20;

struct RsaScheme {
    int32_t alg;                             ///< CspSignature.
    uint32_t hash;                           ///< CspHash, or 0 when the text is not hashed.
    uint32_t digest_length;                  ///< Octets.
    const asn1_ObjId *(*hash_identifier)();  ///< What a DigestInfo names the hash function; null without a DigestInfo.
};

/// The scheme with this identifier, or null when it is not one of RSA.
const RsaScheme *find_rsa_scheme(int32_t alg);

}  // namespace csp

#endif

#include "csp/csp_scheme.h"

#include "asn1/asn1_oid.h"

namespace csp {

const RsaScheme *find_rsa_scheme(int32_t alg) {
    static constexpr RsaScheme schemes[] = {
        {CSP_SIG_SHA1_TAIL, CSP_ALG_SHA1, 20, nullptr},
        {CSP_SIG_RSA_RAW, 0, 0, nullptr},
        {CSP_SIG_RSA_MD2, CSP_ALG_MD2, 16, asn1_Get_md2},
        {CSP_SIG_RSA_MD5, CSP_ALG_MD5, 16, asn1_Get_md5},
        {CSP_SIG_RSA_SHA1, CSP_ALG_SHA1, 20, asn1_Get_id_SHA1},
        {CSP_SIG_RSA_RIPEMD160, CSP_ALG_RIPEMD160, 20, asn1_Get_RIPEMD_160},
    };
    for (const RsaScheme &scheme : schemes)
        if (scheme.alg == alg)
            return &scheme;
    return nullptr;
}

}  // namespace csp

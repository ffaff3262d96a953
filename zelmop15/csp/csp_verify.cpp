// Signature verification. Every path to 0 has gone through a completed comparison.
#include "asn1/asn1_dsa.h"
#include "asn1/asn1_pkcs1.h"
#include "csp/csp.h"
#include "csp/csp_key.h"
#include "csp/csp_scheme.h"
#include "csp/csp_trace.h"

namespace {

using OwnedInteger = Owned<asn1_Integer, asn1_Integer_free>;
using OwnedDigestInfo = Owned<DigestInfo, asn1_DigestInfo_free>;

/// The octets of a decoded INTEGER, which keeps them.
Bytestring view(const asn1_Integer *integer) {
    return {integer->len, integer->data};
}

/// Decodes what stands at the start of the octets; what follows it is not looked at. Null on failure.
template <class T>
T *decode(const uint8_t *(*d)(const uint8_t *, const uint8_t *, uint8_t, T **, uint16_t), const Bytestring *der) {
    T *value = nullptr;
    // An empty value has no octets to point to.
    if (der->len != 0)
        d(der->data, der->data + der->len, 0, &value, 0);
    return value;
}

uint32_t judge(bool good) {
    if (!good)
        return CSP_ERR_BAD_SIGNATURE;
    return 0;
}

/// Compares the digest of the text with what the block holds. A DigestInfo may stand before anything and hold surplus,
/// and its parameters may be of any kind: all of that is meant to pass.
uint32_t compare_digest(CspContext *ctx, const csp::RsaScheme &scheme, const Bytestring *text,
                        const Bytestring *block) {
    OwnedDigestInfo info;
    if (scheme.hash_identifier != nullptr) {
        info.reset(decode(asn1_DigestInfo_d, block));
        if (info == nullptr)
            return CSP_ERR_ENCODING;
    }
    uint8_t octets[csp::max_digest];
    Bytestring digest = {scheme.digest_length, octets};
    if (const uint32_t failure = CSP_hash(ctx, scheme.hash, text, &digest); failure != 0)
        return failure;
    Bytestring expected;
    if (info != nullptr)
        expected = {info->digest->len, info->digest->data};
    else if (block->len < digest.len)
        return CSP_ERR_BAD_SIGNATURE;
    else
        expected = {digest.len, block->data + (block->len - digest.len)};
    if (Bytestring_cmp(&expected, &digest) != 0)
        return CSP_ERR_BAD_SIGNATURE;
    return judge(info == nullptr || asn1_ObjId_cmp(info->digestAlgorithm->algorithm, scheme.hash_identifier()) == 0);
}

uint32_t verify_rsa(CspContext *ctx, int32_t alg, const Bytestring *key, const Bytestring *text,
                    const Bytestring *signature) {
    const Owned<RSAPublicKey, asn1_RSAPublicKey_free> decoded(decode(asn1_RSAPublicKey_d, key));
    if (decoded == nullptr)
        return CSP_ERR_ENCODING;
    const Bytestring modulus = view(decoded->modulus);
    const Bytestring exponent = view(decoded->publicExponent);
    return CSP_RSA_verify(ctx, alg, &modulus, &exponent, text, signature);
}

uint32_t verify_dss(CspContext *ctx, int32_t alg, const Bytestring *key, const Bytestring *parameters,
                    const Bytestring *text, const Bytestring *signature) {
    const Owned<DssParms, asn1_DssParms_free> decoded(decode(asn1_DssParms_d, parameters));
    const OwnedInteger value(decoded != nullptr ? decode(asn1_Integer_d, key) : nullptr);
    if (value == nullptr)
        return CSP_ERR_ENCODING;
    const Bytestring p = view(decoded->p);
    const Bytestring q = view(decoded->q);
    const Bytestring g = view(decoded->g);
    const Bytestring y = view(value.get());
    return CSP_DSS_verify(ctx, alg, &p, &q, &g, &y, text, signature);
}

}  // namespace

extern "C" {

uint32_t CSP_verify(CspContext *ctx, int32_t alg, const Bytestring *key, const Bytestring *parameters,
                    const Bytestring *text, const Bytestring *signature) {
    if (!csp::given(key, text, signature))
        return CSP_ERR_PARAM;
    csp::trace("VERIFY ASN.1 public key", key);
    if (parameters != nullptr)
        csp::trace("VERIFY ASN.1 parameters", parameters);
    csp::trace("VERIFY text", text);
    csp::trace("VERIFY signature", signature);
    if (csp::find_rsa_scheme(alg) != nullptr)
        return verify_rsa(ctx, alg, key, text, signature);
    if ((alg != CSP_SIG_DSS_DIGEST && alg != CSP_SIG_DSS_SHA1) || parameters == nullptr)
        return CSP_ERR_PARAM;
    return verify_dss(ctx, alg, key, parameters, text, signature);
}

uint32_t CSP_RSA_verify(CspContext *ctx, int32_t alg, const Bytestring *modulus, const Bytestring *exponent,
                        const Bytestring *text, const Bytestring *signature) {
    if (!csp::given(modulus, exponent, text, signature))
        return CSP_ERR_PARAM;
    if (!csp::within_limit(modulus, exponent))
        return csp::too_long();
    const csp::RsaScheme *const scheme = csp::find_rsa_scheme(alg);
    if (scheme == nullptr)
        return CSP_ERR_PARAM;
    Bytestring *decrypted = nullptr;
    if (const uint32_t failure = CSP_RSA_public_decryption(ctx, modulus, exponent, signature, &decrypted); failure != 0)
        return failure;
    const OwnedBytestring block(decrypted);
    if (scheme->hash == 0)
        return judge(Bytestring_cmp(block.get(), text) == 0);
    return compare_digest(ctx, *scheme, text, block.get());
}
}

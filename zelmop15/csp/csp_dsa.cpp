// The DSA operations on octets.
#include "csp/csp.h"
#include "csp/csp_asn1.h"
#include "csp/csp_key.h"
#include "csp/csp_scheme.h"
#include "csp/csp_trace.h"
#include "csp/dsa.h"

namespace {

constexpr char parameters_text[] = "DSS parameters (p, q, g)";

/// New key with the domain parameters and one value of a pair, or null.
OwnedDsaKey key_of(const Bytestring *p, const Bytestring *q, const Bytestring *g, aauint *DsaKey::*member = nullptr,
                   const Bytestring *value = nullptr) {
    OwnedDsaKey key(DsaKey_new());
    if (key == nullptr)
        return key;
    key->p = csp::number_of(p).release();
    key->q = csp::number_of(q).release();
    key->g = csp::number_of(g).release();
    if (member != nullptr)
        key.get()->*member = csp::number_of(value).release();
    const bool complete = csp::given(key->p, key->q, key->g) && (member == nullptr || key.get()->*member != nullptr);
    if (!complete)
        key.reset();
    return key;
}

/// What is signed: the text itself, or its digest for the scheme that hashes.
class Digest {
  public:
    uint32_t take(CspContext *ctx, int32_t alg, const Bytestring *text) {
        if (alg != CSP_SIG_DSS_SHA1) {
            value_ = text;
            return 0;
        }
        const uint32_t failure = CSP_hash(ctx, CSP_ALG_SHA1, text, &hashed_);
        if (failure == 0)
            csp::trace("DSS hash", &hashed_);
        value_ = &hashed_;
        return failure;
    }
    const Bytestring *get() const {
        return value_;
    }

  private:
    uint8_t octets_[csp::max_digest];
    Bytestring hashed_ = {sizeof octets_, octets_};
    const Bytestring *value_ = nullptr;
};

/// New DER of a signature, or null.
Bytestring *sign(CspContext *ctx, DsaKey *key, const Bytestring *digest) {
    csp::Number r;
    csp::Number s;
    if (DSA_sign(ctx, key, digest, r, s) != 0)
        return nullptr;
    const aauint *const halves[] = {r, s};
    return aa_to_asn1(halves, 2);
}

}  // namespace

extern "C" {

uint32_t CSP_DSS_verify(CspContext *ctx, int32_t alg, const Bytestring *p, const Bytestring *q, const Bytestring *g,
                        const Bytestring *y, const Bytestring *text, const Bytestring *signature) {
    if (!csp::given(p, q, g, y, text, signature))
        return CSP_ERR_PARAM;
    csp::trace(parameters_text, p, q, g);
    csp::trace("DSS public key", y);
    csp::trace("DSS text", text);
    csp::trace("DSS signature", signature);
    Digest digest;
    if (const uint32_t failure = digest.take(ctx, alg, text); failure != 0)
        return failure;
    if (digest.get()->len != csp::max_digest)
        return CSP_ERR_PARAM;
    const OwnedDsaKey key = key_of(p, q, g, &DsaKey::y, y);
    if (key == nullptr)
        return CSP_ERR_MEMORY;
    aauint *halves[2];
    if (asn1_to_aa(signature, halves, 2) != 0)
        return CSP_ERR_ENCODING;
    const OwnedNumber r(halves[0]);
    const OwnedNumber s(halves[1]);
    if (DSA_verify(key.get(), digest.get(), r.get(), s.get()) != 1)
        return CSP_ERR_BAD_SIGNATURE;
    return 0;
}

// The digest that comes from outside may have any length here, unlike in verification.
uint32_t CSP_DSS_sign(CspContext *ctx, int32_t alg, const Bytestring *p, const Bytestring *q, const Bytestring *g,
                      const Bytestring *x, const Bytestring *text, Bytestring **out) {
    if (!csp::given(ctx) || !csp::given(p, q, g, x, text, out))
        return CSP_ERR_PARAM;
    *out = nullptr;
    csp::trace("DSS (p, q, g)", p, q, g);
    csp::trace("DSS tbs", text);
    Digest digest;
    if (const uint32_t failure = digest.take(ctx, alg, text); failure != 0)
        return failure;
    const OwnedDsaKey key = key_of(p, q, g, &DsaKey::x, x);
    *out = key != nullptr ? sign(ctx, key.get(), digest.get()) : nullptr;
    if (*out == nullptr)
        return CSP_ERR_MEMORY;
    csp::trace("DSS signature", *out);
    return 0;
}

uint32_t CSP_DSS_key_generation(CspContext *ctx, const Bytestring *p, const Bytestring *q, const Bytestring *g,
                                Bytestring **y, Bytestring **x) {
    if (!csp::given(p, q, g, y, x))
        return CSP_ERR_PARAM;
    *y = nullptr;
    *x = nullptr;
    csp::trace(parameters_text, p, q, g);
    const OwnedDsaKey key = key_of(p, q, g);
    if (key == nullptr || DSA_key_generation(ctx, key.get()) != 0)
        return CSP_ERR_MEMORY;
    OwnedBytestring made_y(csp::octets_of(key->y));
    SecretBytestring made_x(csp::octets_of(key->x));
    if (made_y == nullptr || made_x == nullptr)
        return CSP_ERR_MEMORY;
    *y = made_y.release();
    *x = made_x.release();
    csp::trace("DSS public key", *y);
    return 0;
}

uint32_t CSP_DSS_params_generation(CspContext *ctx, uint32_t bits, Bytestring **p, Bytestring **q, Bytestring **g) {
    if (!csp::given(p, q, g))
        return CSP_ERR_PARAM;
    const OwnedDsaKey key(DSA_params_generation(ctx, bits, nullptr, nullptr, nullptr));
    if (key == nullptr)
        return CSP_ERR_MEMORY;
    OwnedBytestring made_p(csp::octets_of(key->p));
    OwnedBytestring made_q(csp::octets_of(key->q));
    OwnedBytestring made_g(csp::octets_of(key->g));
    if (made_p == nullptr || made_q == nullptr || made_g == nullptr)
        return CSP_ERR_MEMORY;
    *p = made_p.release();
    *q = made_q.release();
    *g = made_g.release();
    csp::trace(parameters_text, *p, *q, *g);
    return 0;
}
}

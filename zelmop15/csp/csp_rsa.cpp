// The RSA operations on octets.
#include "asn1/asn1_pkcs1.h"
#include "csp/csp.h"
#include "csp/csp_key.h"
#include "csp/csp_scheme.h"
#include "csp/csp_trace.h"
#include "csp/rsa.h"

namespace {

/// An operation on numbers, and how it shows outside.
struct Operation {
    int32_t (*run)(CspContext *ctx, const RsaKey *key, const Bytestring *in, Bytestring *out);
    uint32_t failure;      ///< The result for all that can go wrong in it.
    const char *in_text;   ///< Of the trace.
    const char *out_text;  ///< Likewise.
};

template <int32_t (*Run)(const RsaKey *, const Bytestring *, Bytestring *)>
int32_t without_context(CspContext * /*ctx*/, const RsaKey *key, const Bytestring *in, Bytestring *out) {
    return Run(key, in, out);
}

constexpr char plaintext[] = "RSA plaintext";
constexpr char ciphertext[] = "RSA ciphertext";

// clang-format off
constexpr Operation public_decryption =
    {without_context<RSA_public_decrypt>,  CSP_ERR_RSA_DECRYPT, ciphertext, plaintext};
constexpr Operation raw_public =
    {RSA_raw_public,                       CSP_ERR_RSA_ENCRYPT, plaintext,  ciphertext};
constexpr Operation public_encryption =
    {RSA_public_encrypt,                   CSP_ERR_RSA_ENCRYPT, plaintext,  ciphertext};
constexpr Operation private_encryption =
    {without_context<RSA_private_encrypt>, CSP_ERR_RSA_ENCRYPT, plaintext,  ciphertext};
constexpr Operation private_decryption =
    {without_context<RSA_private_decrypt>, CSP_ERR_RSA_DECRYPT, ciphertext, plaintext};
constexpr Operation raw_private =
    {RSA_raw_private,                      CSP_ERR_RSA_DECRYPT, ciphertext, plaintext};
// clang-format on

uint32_t run(const Operation &operation, CspContext *ctx, const RsaKey *key, const Bytestring *in, Bytestring **out) {
    OwnedBytestring result(Bytestring_new(RsaKey_get_size(key), nullptr));
    if (result == nullptr)
        return CSP_ERR_MEMORY;
    const int32_t count = operation.run(ctx, key, in, result.get());
    if (count < 0)
        return operation.failure;
    // The rest of the block stays allocated behind the octets that count.
    result->len = static_cast<uint32_t>(count);
    csp::trace(operation.out_text, result.get());
    *out = result.release();
    return 0;
}

uint32_t run_public(const Operation &operation, CspContext *ctx, const Bytestring *modulus, const Bytestring *exponent,
                    const Bytestring *in, Bytestring **out) {
    if (!csp::given(modulus, exponent, in, out))
        return CSP_ERR_PARAM;
    if (!csp::within_limit(modulus, exponent))
        return csp::too_long();
    *out = nullptr;
    csp::trace("RSA modulus", modulus);
    csp::trace("RSA public exponent", exponent);
    csp::trace(operation.in_text, in);
    const OwnedRsaKey key(RsaKey_new());
    if (key == nullptr)
        return CSP_ERR_MEMORY;
    key->n = csp::number_of(modulus).release();
    key->e = csp::number_of(exponent).release();
    if (!csp::given(key->n, key->e))
        return CSP_ERR_MEMORY;
    return run(operation, ctx, key.get(), in, out);
}

uint32_t run_private(const Operation &operation, CspContext *ctx, const Bytestring *key_der, const Bytestring *in,
                     Bytestring **out) {
    if (!csp::given(key_der, in, out))
        return CSP_ERR_PARAM;
    *out = nullptr;
    csp::trace(operation.in_text, in);
    const OwnedRsaKey key(asn1_private_key_to_rsa(key_der));
    if (key == nullptr)
        return CSP_ERR_ENCODING;
    return run(operation, ctx, key.get(), in, out);
}

/// New DER of a DigestInfo for the text, with NULL as the parameters of the hash function.
uint32_t encode_digest(CspContext *ctx, const csp::RsaScheme &scheme, const Bytestring *text, OwnedBytestring &der) {
    uint8_t octets[csp::max_digest];
    Bytestring digest = {scheme.digest_length, octets};
    if (const uint32_t failure = CSP_hash(ctx, scheme.hash, text, &digest); failure != 0)
        return failure;
    // The record borrows what it points to; nothing of it is changed or released.
    AlgId algorithm = {const_cast<asn1_ObjId *>(scheme.hash_identifier()), const_cast<asn1_Any *>(asn1_Any_NULL())};
    asn1_OctetString value = {digest.len, digest.data};
    const DigestInfo info = {&algorithm, &value};
    const uint32_t length = asn1_DigestInfo_e(nullptr, &info);
    if (length == 0)
        return CSP_ERR_ENCODING;
    der.reset(Bytestring_new(length, nullptr));
    if (der == nullptr)
        return CSP_ERR_MEMORY;
    uint8_t *cursor = der->data;
    asn1_DigestInfo_e(&cursor, &info);
    return 0;
}

}  // namespace

extern "C" {

uint32_t CSP_RSA_public_decryption(CspContext *ctx, const Bytestring *modulus, const Bytestring *exponent,
                                   const Bytestring *cipher, Bytestring **out) {
    return run_public(public_decryption, ctx, modulus, exponent, cipher, out);
}

uint32_t CSP_RSA_raw_public(CspContext *ctx, const Bytestring *modulus, const Bytestring *exponent,
                            const Bytestring *plain, Bytestring **out) {
    return run_public(raw_public, ctx, modulus, exponent, plain, out);
}

uint32_t CSP_RSA_public_encryption(CspContext *ctx, const Bytestring *modulus, const Bytestring *exponent,
                                   const Bytestring *plain, Bytestring **out) {
    return run_public(public_encryption, ctx, modulus, exponent, plain, out);
}

uint32_t CSP_RSA_private_encryption(CspContext *ctx, const Bytestring *key, const Bytestring *plain, Bytestring **out) {
    return run_private(private_encryption, ctx, key, plain, out);
}

uint32_t CSP_RSA_private_decryption(CspContext *ctx, const Bytestring *key, const Bytestring *cipher,
                                    Bytestring **out) {
    return run_private(private_decryption, ctx, key, cipher, out);
}

uint32_t CSP_RSA_raw_private(CspContext *ctx, const Bytestring *key, const Bytestring *cipher, Bytestring **out) {
    return run_private(raw_private, ctx, key, cipher, out);
}

uint32_t CSP_RSA_sign(CspContext *ctx, int32_t alg, const Bytestring *key, const Bytestring *text, Bytestring **out) {
    if (!csp::given(key, text, out))
        return CSP_ERR_PARAM;
    *out = nullptr;
    csp::trace("RSA tbs", text);
    const csp::RsaScheme *const scheme = csp::find_rsa_scheme(alg);
    // The scheme that looks at the end of the block alone is for testing only.
    if (scheme == nullptr || (scheme->hash != 0 && scheme->hash_identifier == nullptr))
        return CSP_ERR_PARAM;
    OwnedBytestring der;
    if (scheme->hash != 0)
        if (const uint32_t failure = encode_digest(ctx, *scheme, text, der); failure != 0)
            return failure;
    const uint32_t failure = CSP_RSA_private_encryption(ctx, key, der != nullptr ? der.get() : text, out);
    if (failure == 0)
        csp::trace("RSA signature", *out);
    return failure;
}
}

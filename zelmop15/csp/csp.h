// The crypto service provider: hash, HMAC, signatures, RSA, DSA, random octets and symmetric ciphers, in software.
//
// Conventions. Every CSP_* function returns 0 or one of the CSP_ERR_* values. The context may be null where a line says
// so; elsewhere a null argument is CSP_ERR_PARAM or, for programming errors, a failed assertion, as the lines say.
// Values passed in are borrowed. An `out` argument receives a new value that the caller owns, or null on failure. What
// goes through the provider is traced to mirel_log at level 32, plain text and secrets included; private keys are not.
// Nothing runs in constant time.
#ifndef ZELMOP15_CSP_CSP_H
#define ZELMOP15_CSP_CSP_H

#include <cstdint>
#include <pthread.h>

#include "runtime/bytestring.h"

/// Results other than 0.
enum CspError : uint32_t {
    CSP_ERR_PARAM = 0x20002,          ///< Null or wrong argument, unknown identifier, wrong length, limit passed.
    CSP_ERR_MEMORY = 0x20003,         ///< Memory is short; key and parameter generation and DSA signing: any failure.
    CSP_ERR_ENCODING = 0x20004,       ///< DER cannot be decoded, or a DigestInfo not encoded.
    CSP_ERR_ENTROPY = 0x20010,        ///< The random generator has no state, or the terminal failed.
    CSP_ERR_SYM_ENCRYPT = 0x20011,    ///< A cipher failed while enciphering.
    CSP_ERR_SYM_DECRYPT = 0x20012,    ///< A cipher failed while deciphering.
    CSP_ERR_RSA_ENCRYPT = 0x20013,    ///< An RSA operation that gives ciphertext failed.
    CSP_ERR_RSA_DECRYPT = 0x20014,    ///< One that gives plaintext failed, or padding or length are wrong.
    CSP_ERR_BAD_SIGNATURE = 0x20015,  ///< Digest, identifier or DSA equation do not match.
    CSP_ERR_INTERNAL = 0x200FF,       ///< A mutex failed, or a hash function did not start.
};

/// Hash functions.
enum CspHash : uint32_t {
    CSP_ALG_MD2 = 512,
    CSP_ALG_MD5 = 528,
    CSP_ALG_SHA1 = 544,
    CSP_ALG_RIPEMD160 = 576,
};

/// Signature schemes.
enum CspSignature : int32_t {
    CSP_SIG_SHA1_TAIL = -6,  ///< RSA; the last 20 octets of the block are the digest. To verify only.
    CSP_SIG_RSA_RAW = 1,     ///< RSA; the text is the content of the block.
    CSP_SIG_RSA_MD2 = 4,     ///< RSA with a DigestInfo, as are the next three.
    CSP_SIG_RSA_MD5 = 5,
    CSP_SIG_RSA_SHA1 = 6,
    CSP_SIG_RSA_RIPEMD160 = 8,
    CSP_SIG_DSS_DIGEST = 17,  ///< DSA; the text is the digest.
    CSP_SIG_DSS_SHA1 = 18,    ///< DSA over SHA-1 of the text.
};

/// Symmetric ciphers.
enum CspCipher : uint32_t {
    CSP_SYM_RC2_CBC = 258,
    CSP_SYM_ARCFOUR = 273,
    CSP_SYM_DES_CBC = 290,
    CSP_SYM_DES3_ECB = 306,
    CSP_SYM_DES3_CBC = 307,
    CSP_SYM_IDEA_CBC = 834,
    CSP_SYM_AES_CBC = 4226,
};

/// Greatest size in bits, counted in whole octets, of a modulus, an exponent, every number of a DER key and those of a
/// DSA key: room for a modulus of 8192 bits with the leading zero of its INTEGER. What is longer is CSP_ERR_PARAM, and
/// logged, or CSP_ERR_ENCODING inside a DER key.
constexpr uint32_t csp_max_bits = 8200;

extern "C" {

/// The random generator. Whoever needs one sets `state` to null, initialises the mutex, and gives it a seed.
struct CspContext {
    Bytestring *state;     ///< Owned; null until the generator has been seeded.
    pthread_mutex_t lock;  ///< Guards `state`, so any number of threads may share a context.
};

// ---- hash and HMAC: the context is not used and may be null --------------------------------------------------------

/// A running digest. One thread at a time.
struct HashSession {
    uint32_t alg;          ///< CspHash.
    Bytestring *hmac_pad;  ///< Owned; the inner pad of an HMAC, null for a plain digest.
    void *context;         ///< Owned; the primitive's context, null once finished.
};

/// Starts a digest. CSP_ERR_PARAM for an unknown identifier, CSP_ERR_MEMORY, CSP_ERR_INTERNAL when the primitive does
/// not start; `*session` is left alone on failure.
uint32_t CSP_hash_init(CspContext *ctx, uint32_t alg, HashSession **session);
/// Absorbs the text. Asserts that both are given.
uint32_t CSP_hash_update(CspContext *ctx, HashSession *session, const Bytestring *text);
/// Ends the session and writes the whole digest to `digest->data`, which must have room; `digest->len` is not compared
/// with the digest's length and serves for the trace only. A null digest abandons the session. CSP_ERR_PARAM for a null
/// session; an unknown identifier leaves the session alive.
uint32_t CSP_hash_final(CspContext *ctx, HashSession *session, Bytestring *digest);
/// Copies a running digest into a new session; never the pad of an HMAC. `*new_session` is null after a failure.
/// Asserts that both arguments are given.
uint32_t CSP_hash_clone(CspContext *ctx, const HashSession *session, HashSession **new_session);
/// Digest in one call.
uint32_t CSP_hash(CspContext *ctx, uint32_t alg, const Bytestring *text, Bytestring *digest);
/// Starts an HMAC (RFC 2104), with blocks of 64 octets for every hash function, MD2 too. What `*session` held is
/// overwritten on success; on a failure behind the first test of the identifier it is released and becomes null.
uint32_t CSP_HMAC_init(CspContext *ctx, uint32_t alg, const Bytestring *key, HashSession **session);
uint32_t CSP_HMAC_update(CspContext *ctx, HashSession *session, const Bytestring *text);
/// Ends an HMAC. `mac->len` must be the digest's length: it is used as it is for the outer digest. Asserts a session
/// and a `mac`. CSP_ERR_PARAM for a plain digest's session, a clone's among them, which stays alive.
uint32_t CSP_HMAC_final(CspContext *ctx, HashSession *session, Bytestring *mac);
/// HMAC in one call.
uint32_t CSP_HMAC(CspContext *ctx, uint32_t alg, const Bytestring *key, const Bytestring *text, Bytestring *mac);

// ---- pseudo-random function: the context may be null ---------------------------------------------------------------

/// P_hash of TLS 1.0 (RFC 2246, section 5) with CSP_ALG_MD5 or CSP_ALG_SHA1; `out->len` must be a multiple of the
/// digest's length.
uint32_t P_hash(CspContext *ctx, uint32_t alg, const Bytestring *secret, const Bytestring *seed, Bytestring *out);
/// PRF of TLS 1.0 for any `out->len`; nothing is done for a null `out` or `out->data`. A null secret is an empty one.
uint32_t CSP_PRF(CspContext *ctx, const Bytestring *secret, const Bytestring *label, const Bytestring *seed,
                 Bytestring *out);

// ---- random octets: asserts a context ------------------------------------------------------------------------------

/// Replaces the state by the seed, enciphered under a key that depends on the time.
uint32_t CSP_RNG_set_state(CspContext *ctx, const Bytestring *seed);
/// Copy of the state, to carry it over; it replays nothing. Asserts that there is one.
uint32_t CSP_RNG_get_state(CspContext *ctx, Bytestring **state);
/// Fills `out->len` octets. CSP_ERR_ENTROPY without a seed; CSP_ERR_MEMORY also when the mutex fails.
uint32_t CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out);
/// Fills (bits + 7) / 8 octets with a number of `bits` bits at their end. `top` -1 leaves its top bits as drawn, 0 sets
/// the top bit, anything else the two top bits; a `bottom` other than 0 makes it odd. 0 bits does nothing.
uint32_t CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom);
/// Fills `out->len` octets from the times between key strokes at the terminal, with a prompt to the user.
uint32_t CSP_RNG_get_dev_tty(Bytestring *out);

// ---- symmetric ciphers: asserts context and session ----------------------------------------------------------------

/// A running cipher, for one direction and one thread at a time.
struct SymCipherSession {
    uint32_t alg;       ///< CspCipher.
    uint8_t chain[16];  ///< The chaining value of CBC; the block at work of ECB.
    void *key;          ///< Owned; the primitive's schedule.
};

/// Starts a cipher. The initial value must have one block in the CBC modes and is not looked at elsewhere. `*session`
/// is left alone on failure. Key lengths are the caller's: RC2 1 to 128 octets, arcfour 1 to 255, of both the low octet
/// of the length counts; DES 8, triple DES 24, IDEA 16, of longer keys the first ones; AES 16, 24 or 32. A key that
/// does not do is CSP_ERR_MEMORY, as is every failure to set up a cipher.
uint32_t CSP_sym_init(CspContext *ctx, uint32_t alg, const Bytestring *key, const Bytestring *iv,
                      SymCipherSession **session);
/// Enciphers whole blocks (any length for arcfour) into `out`, of the same length. `out` may be `in`.
uint32_t CSP_sym_enc(CspContext *ctx, SymCipherSession *session, const Bytestring *in, Bytestring *out);
/// Deciphers likewise, but `out` must not be `in` with a block cipher.
uint32_t CSP_sym_dec(CspContext *ctx, SymCipherSession *session, const Bytestring *in, Bytestring *out);
/// Ends the session, without wiping. Always 0.
uint32_t CSP_sym_final(CspContext *ctx, SymCipherSession *session);

// ---- signatures ----------------------------------------------------------------------------------------------------

/// Tests a signature. `key` is the DER of an RSAPublicKey, or of the INTEGER y with the DER of a DssParms in
/// `parameters`, which may be null for RSA. Octets behind the decoded keys are not looked at. The context may be null.
uint32_t CSP_verify(CspContext *ctx, int32_t alg, const Bytestring *key, const Bytestring *parameters,
                    const Bytestring *text, const Bytestring *signature);
/// Tests an RSA signature with the big-endian octets of modulus and exponent. The context may be null.
uint32_t CSP_RSA_verify(CspContext *ctx, int32_t alg, const Bytestring *modulus, const Bytestring *exponent,
                        const Bytestring *text, const Bytestring *signature);
/// Signs with an RSA key (DER of RSAPrivateKey), by every RSA scheme but CSP_SIG_SHA1_TAIL. The context may be null.
uint32_t CSP_RSA_sign(CspContext *ctx, int32_t alg, const Bytestring *key, const Bytestring *text, Bytestring **out);
/// Tests a DSA signature (DER of the INTEGERs r and s), whose range is deliberately not tested. The context may be
/// null.
uint32_t CSP_DSS_verify(CspContext *ctx, int32_t alg, const Bytestring *p, const Bytestring *q, const Bytestring *g,
                        const Bytestring *y, const Bytestring *text, const Bytestring *signature);
/// Signs with DSA. With every scheme but CSP_SIG_DSS_SHA1 the text is the digest, of any length.
uint32_t CSP_DSS_sign(CspContext *ctx, int32_t alg, const Bytestring *p, const Bytestring *q, const Bytestring *g,
                      const Bytestring *x, const Bytestring *text, Bytestring **out);

// ---- RSA -----------------------------------------------------------------------------------------------------------

/// Public exponent, then block type 1 is taken off. The context may be null.
uint32_t CSP_RSA_public_decryption(CspContext *ctx, const Bytestring *modulus, const Bytestring *exponent,
                                   const Bytestring *cipher, Bytestring **out);
/// Public exponent without padding; `plain` has at most the modulus' length. The context may be null.
uint32_t CSP_RSA_raw_public(CspContext *ctx, const Bytestring *modulus, const Bytestring *exponent,
                            const Bytestring *plain, Bytestring **out);
/// Block type 2 with random padding, then the public exponent. Asserts a context.
uint32_t CSP_RSA_public_encryption(CspContext *ctx, const Bytestring *modulus, const Bytestring *exponent,
                                   const Bytestring *plain, Bytestring **out);
/// Block type 1, then the private exponent. Keys are the DER of RSAPrivateKey. The context may be null, as in the next
/// two.
uint32_t CSP_RSA_private_encryption(CspContext *ctx, const Bytestring *key, const Bytestring *plain, Bytestring **out);
/// Private exponent, then block type 2 is taken off.
uint32_t CSP_RSA_private_decryption(CspContext *ctx, const Bytestring *key, const Bytestring *cipher, Bytestring **out);
/// Private exponent without padding.
uint32_t CSP_RSA_raw_private(CspContext *ctx, const Bytestring *key, const Bytestring *cipher, Bytestring **out);
/// Makes a key: `*key` the DER of its RSAPrivateKey, `*modulus` (when given) the octets of n. `limit` is tested like
/// `bits` and not used otherwise. `skew` moves the primes apart in size and makes the modulus about skew / 2 bits
/// short. `*exponent` (when given) is the exponent to use, or null on entry, when it receives the default 65537. An
/// even exponent makes the search endless, and so does a size of 18 bits, or of 16 and less. Asserts a context.
uint32_t CSP_RSA_key_generation(CspContext *ctx, uint32_t bits, uint32_t limit, uint32_t skew, Bytestring **modulus,
                                Bytestring **exponent, Bytestring **key);

// ---- DSA -----------------------------------------------------------------------------------------------------------

/// Makes the public value y and the private value x. Asserts a context, as does the next one.
uint32_t CSP_DSS_key_generation(CspContext *ctx, const Bytestring *p, const Bytestring *q, const Bytestring *g,
                                Bytestring **y, Bytestring **x);
/// Makes domain parameters: p of `bits` bits (512 at least, in steps of 64), q of 160. The outputs hold null on entry.
uint32_t CSP_DSS_params_generation(CspContext *ctx, uint32_t bits, Bytestring **p, Bytestring **q, Bytestring **g);
}

#endif

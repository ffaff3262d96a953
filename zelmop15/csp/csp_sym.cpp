#include "csp/csp_sym.h"

#include <cstring>

#include "csp/csp.h"
#include "csp/csp_trace.h"
#include "csp/mf.h"
#include "runtime/assertion.h"
#include "runtime/owned.h"

namespace {

enum Direction : uint32_t { encipher = 0, decipher = 1 };

uint32_t setup_rc2(const Bytestring *key, const Bytestring * /*iv*/, void **schedule) {
    return mf_rc2init(key->data, static_cast<uint8_t>(key->len), schedule);
}

uint32_t setup_arcfour(const Bytestring *key, const Bytestring * /*iv*/, void **schedule) {
    return mf_arcfourinit(key->data, static_cast<uint8_t>(key->len), schedule);
}

uint32_t setup_des(const Bytestring *key, const Bytestring * /*iv*/, void **schedule) {
    return mf_desinit(key->data, schedule);
}

uint32_t setup_des3(const Bytestring *key, const Bytestring * /*iv*/, void **schedule) {
    return mf_des3init(key->data, key->data + 8, key->data + 16, schedule);
}

uint32_t setup_idea(const Bytestring *key, const Bytestring * /*iv*/, void **schedule) {
    return mf_ideainit(key->data, schedule);
}

/// The primitive is always in its mode 1: the chaining is done here. Greater lengths could wrap to a good one.
uint32_t setup_aes(const Bytestring *key, const Bytestring *iv, void **schedule) {
    if (key->len <= 32)
        *schedule = mf_aesinit(8 * key->len, key->data, 1, 8 * iv->len, nullptr);
    if (*schedule == nullptr)
        return CSP_ERR_MEMORY;
    return 0;
}

/// What AES returns is not looked at.
uint32_t turn_aes(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule) {
    auto *const context = const_cast<void *>(schedule);
    if (direction == encipher)
        mf_blockEncrypt(context, in, 128, out);
    else
        mf_blockDecrypt(context, in, 128, out);
    return 0;
}

/// Null for an unknown identifier.
const SymCipherSpec *find_spec(uint32_t alg) {
    for (const SymCipherSpec *spec = symCipherSpecs; spec->alg != -1; ++spec)
        if (static_cast<uint32_t>(spec->alg) == alg)
            return spec;
    return nullptr;
}

uint32_t start(SymCipherSession *session, const SymCipherSpec *spec, const Bytestring *key, const Bytestring *iv) {
    if (spec == nullptr || key == nullptr)
        return CSP_ERR_PARAM;
    if (spec->mode == SYM_MODE_CBC) {
        if (iv == nullptr || iv->len != spec->block_length)
            return CSP_ERR_PARAM;
        std::memcpy(session->chain, iv->data, iv->len);
    }
    // Which lengths a cipher takes is the caller's to know, but nothing is read beyond the end of a key.
    if (key->len < spec->least_key || spec->setup(key, iv, &session->key) != 0)
        return CSP_ERR_MEMORY;
    return 0;
}

// Blocks are multiples of eight octets, which are quicker moved as words than by a call for so few.

void copy(uint8_t *target, const uint8_t *source, uint32_t length) {
    for (uint32_t at = 0; at < length; at += 8)
        std::memcpy(target + at, source + at, 8);
}

void exclusive_or(uint8_t *target, const uint8_t *source, uint32_t length) {
    for (uint32_t at = 0; at < length; at += 8) {
        uint64_t a = 0;
        uint64_t b = 0;
        std::memcpy(&a, target + at, sizeof a);
        std::memcpy(&b, source + at, sizeof b);
        a ^= b;
        std::memcpy(target + at, &a, sizeof a);
    }
}

/// The block is taken over before anything is written, so `out` may be `in`.
bool encipher_block(SymCipherSession *session, const SymCipherSpec *spec, const uint8_t *in, uint8_t *out) {
    const uint32_t length = spec->block_length;
    if (spec->mode == SYM_MODE_CBC)
        exclusive_or(session->chain, in, length);
    else
        copy(session->chain, in, length);
    if (spec->turn(session->chain, out, encipher, session->key) != 0)
        return false;
    if (spec->mode == SYM_MODE_CBC)
        copy(session->chain, out, length);
    return true;
}

/// Reads the input once more behind the writing, so the two must differ.
bool decipher_block(SymCipherSession *session, const SymCipherSpec *spec, const uint8_t *in, uint8_t *out) {
    const uint32_t length = spec->block_length;
    if (spec->turn(in, out, decipher, session->key) != 0)
        return false;
    if (spec->mode == SYM_MODE_CBC) {
        exclusive_or(out, session->chain, length);
        copy(session->chain, in, length);
    }
    return true;
}

bool turn_all(SymCipherSession *session, const SymCipherSpec *spec, Direction direction, const Bytestring *in,
              Bytestring *out) {
    if (spec->block_length == 0)
        return mf_arcfour(in->data, in->len, out->data, direction, session->key) == 0;
    const auto turn_block = direction == encipher ? encipher_block : decipher_block;
    for (uint32_t left = in->len, at = 0; left > 0; left -= spec->block_length, at += spec->block_length)
        if (!turn_block(session, spec, in->data + at, out->data + at))
            return false;
    return true;
}

uint32_t run(SymCipherSession *session, Direction direction, const Bytestring *in, Bytestring *out) {
    constexpr const char *texts[] = {"SYM plaintext", "SYM ciphertext"};
    if (in == nullptr || out == nullptr)
        return CSP_ERR_PARAM;
    const SymCipherSpec *const spec = find_spec(session->alg);
    if (spec == nullptr || out->len != in->len || (spec->block_length != 0 && in->len % spec->block_length != 0))
        return CSP_ERR_PARAM;
    csp::trace(texts[direction], in);
    if (!turn_all(session, spec, direction, in, out))
        return direction == encipher ? CSP_ERR_SYM_ENCRYPT : CSP_ERR_SYM_DECRYPT;
    csp::trace(texts[1 - direction], out);
    return 0;
}

}  // namespace

extern "C" {

const SymCipherSpec symCipherSpecs[] = {
    {CSP_SYM_RC2_CBC, 8, SYM_MODE_CBC, 1, setup_rc2, mf_rc2},
    {CSP_SYM_ARCFOUR, 0, SYM_MODE_NONE, 1, setup_arcfour, nullptr},
    {CSP_SYM_DES_CBC, 8, SYM_MODE_CBC, 8, setup_des, mf_des},
    {CSP_SYM_DES3_ECB, 8, SYM_MODE_ECB, 24, setup_des3, mf_des3},
    {CSP_SYM_DES3_CBC, 8, SYM_MODE_CBC, 24, setup_des3, mf_des3},
    {CSP_SYM_IDEA_CBC, 8, SYM_MODE_CBC, 16, setup_idea, mf_idea},
    {CSP_SYM_AES_CBC, 16, SYM_MODE_CBC, 16, setup_aes, turn_aes},
    {-1, 0, SYM_MODE_NONE, 0, nullptr, nullptr},
};

uint32_t get_blocklen(uint32_t alg) {
    const SymCipherSpec *const spec = find_spec(alg);
    return spec != nullptr ? spec->block_length : 0;
}

int32_t get_operationmode(uint32_t alg) {
    const SymCipherSpec *const spec = find_spec(alg);
    return spec != nullptr ? spec->mode : SYM_MODE_NONE;
}

uint32_t CSP_sym_init(CspContext *ctx, uint32_t alg, const Bytestring *key, const Bytestring *iv,
                      SymCipherSession **session) {
    ZELMO_ASSERT_GIVEN(ctx);
    ZELMO_ASSERT_GIVEN(session);
    OwnedBlock<SymCipherSession> made(allocate<SymCipherSession>());
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    made->alg = alg;
    if (const uint32_t failure = start(made.get(), find_spec(alg), key, iv); failure != 0)
        return failure;
    *session = made.release();
    return 0;
}

uint32_t CSP_sym_enc(CspContext *ctx, SymCipherSession *session, const Bytestring *in, Bytestring *out) {
    ZELMO_ASSERT_GIVEN(ctx);
    ZELMO_ASSERT_GIVEN(session);
    return run(session, encipher, in, out);
}

uint32_t CSP_sym_dec(CspContext *ctx, SymCipherSession *session, const Bytestring *in, Bytestring *out) {
    ZELMO_ASSERT_GIVEN(ctx);
    ZELMO_ASSERT_GIVEN(session);
    return run(session, decipher, in, out);
}

uint32_t CSP_sym_final(CspContext *ctx, SymCipherSession *session) {
    ZELMO_ASSERT_GIVEN(ctx);
    ZELMO_ASSERT_GIVEN(session);
    std::free(session->key);
    std::free(session);
    return 0;
}
}

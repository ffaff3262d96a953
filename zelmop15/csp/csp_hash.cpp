// Digest and HMAC sessions over the hash functions.
#include <cstring>

#include "csp/csp.h"
#include "csp/csp_trace.h"
#include "csp/mf.h"
#include "runtime/assertion.h"
#include "runtime/wiped.h"

namespace {

struct HashFunction {
    uint32_t alg;
    uint32_t (*init)(void **context);
    void (*update)(void *context, const uint8_t *bytes, uint32_t length);
    void (*final)(void *context, uint8_t *digest);
    const uint32_t *context_size;
};

constexpr HashFunction hash_functions[] = {
    {CSP_ALG_MD2, mf_md2Init, mf_md2Update, mf_md2Final, &mf_md2ContextSize},
    {CSP_ALG_MD5, mf_md5Init, mf_md5Update, mf_md5Final, &mf_md5ContextSize},
    {CSP_ALG_SHA1, mf_shaInit, mf_shaUpdate, mf_shaFinal, &mf_shaContextSize},
    {CSP_ALG_RIPEMD160, mf_md160Init, mf_md160Update, mf_md160Final, &mf_md160ContextSize},
};

const HashFunction *find(uint32_t alg) {
    for (const HashFunction &function : hash_functions)
        if (function.alg == alg)
            return &function;
    return nullptr;
}

/// Releases a session with what it still holds; null is allowed.
void release(HashSession *session) {
    if (session == nullptr)
        return;
    const HashFunction *const function = find(session->alg);
    if (session->context != nullptr && function != nullptr)
        explicit_bzero(session->context, *function->context_size);
    std::free(session->context);
    Bytestring_erase(session->hmac_pad);
    std::free(session);
}

using OwnedSession = Owned<HashSession, release>;

// The blocks of an HMAC have 64 octets for every function; for MD2, whose own have 16, too.
constexpr uint32_t hmac_block = 64;
constexpr uint8_t inner = 0x36, outer = 0x5C;

void xor_all(Bytestring *bs, uint8_t with) {
    for (uint32_t i = 0; i < bs->len; ++i)
        bs->data[i] ^= with;
}

/// The inner pad: the key, or its digest when it is longer than the block, under the inner constant.
uint32_t make_inner_pad(CspContext *ctx, uint32_t alg, const Bytestring *key, Bytestring *pad) {
    if (key->len > pad->len) {
        const uint32_t result = CSP_hash(ctx, alg, key, pad);
        if (result != 0)
            return result;
    } else if (key->len != 0) {
        std::memcpy(pad->data, key->data, key->len);
    }
    xor_all(pad, inner);
    return 0;
}

uint32_t start_hmac(CspContext *ctx, uint32_t alg, const Bytestring *key, HashSession **started) {
    WipedBuffer<hmac_block> block;
    Bytestring pad = {hmac_block, block.octets};
    uint32_t result = make_inner_pad(ctx, alg, key, &pad);
    if (result != 0)
        return result;
    HashSession *made = nullptr;
    if ((result = CSP_hash_init(ctx, alg, &made)) != 0)
        return result;
    OwnedSession session(made);
    if ((result = CSP_hash_update(ctx, made, &pad)) != 0)
        return result;
    made->hmac_pad = Bytestring_clone(&pad);
    if (made->hmac_pad == nullptr)
        return CSP_ERR_MEMORY;
    *started = session.release();
    return 0;
}

}  // namespace

extern "C" {

uint32_t CSP_hash_init(CspContext * /*ctx*/, uint32_t alg, HashSession **session) {
    const HashFunction *const function = find(alg);
    if (function == nullptr)
        return CSP_ERR_PARAM;
    OwnedSession made(allocate<HashSession>());
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    made->alg = alg;
    if (function->init(&made->context) != 0)
        return CSP_ERR_INTERNAL;
    *session = made.release();
    return 0;
}

uint32_t CSP_hash_update(CspContext * /*ctx*/, HashSession *session, const Bytestring *text) {
    ZELMO_ASSERT(session != nullptr, "session != ((void *)0)");
    ZELMO_ASSERT(text != nullptr, "text != ((void *)0)");
    const HashFunction *const function = find(session->alg);
    if (function == nullptr)
        return CSP_ERR_PARAM;
    function->update(session->context, text->data, text->len);
    return 0;
}

uint32_t CSP_hash_final(CspContext * /*ctx*/, HashSession *session, Bytestring *digest) {
    if (session == nullptr)
        return CSP_ERR_PARAM;
    if (digest == nullptr) {
        release(session);
        return 0;
    }
    const HashFunction *const function = find(session->alg);
    if (function == nullptr)
        return CSP_ERR_PARAM;
    function->final(session->context, digest->data);
    session->context = nullptr;
    csp::trace("HASH digest value", digest);
    release(session);
    return 0;
}

uint32_t CSP_hash_clone(CspContext * /*ctx*/, const HashSession *session, HashSession **new_session) {
    ZELMO_ASSERT(session != nullptr, "old_hashsession != ((void *)0)");
    ZELMO_ASSERT(new_session != nullptr, "new_session != ((void *)0)");
    *new_session = nullptr;
    const HashFunction *const function = find(session->alg);
    if (function == nullptr)
        return CSP_ERR_PARAM;
    OwnedSession copy(allocate<HashSession>());
    if (copy == nullptr)
        return CSP_ERR_MEMORY;
    copy->alg = session->alg;
    copy->context = allocate<uint8_t>(*function->context_size);
    if (copy->context == nullptr)
        return CSP_ERR_MEMORY;
    std::memcpy(copy->context, session->context, *function->context_size);
    *new_session = copy.release();
    return 0;
}

uint32_t CSP_hash(CspContext *ctx, uint32_t alg, const Bytestring *text, Bytestring *digest) {
    HashSession *session = nullptr;
    uint32_t result = CSP_hash_init(ctx, alg, &session);
    if (result != 0)
        return result;
    result = CSP_hash_update(ctx, session, text);
    if (result == 0)
        return CSP_hash_final(ctx, session, digest);
    release(session);
    return result;
}

uint32_t CSP_HMAC_init(CspContext *ctx, uint32_t alg, const Bytestring *key, HashSession **session) {
    if (find(alg) == nullptr)
        return CSP_ERR_PARAM;
    HashSession *started = nullptr;
    const uint32_t result = start_hmac(ctx, alg, key, &started);
    // What stood there is given up either way, but released only after a failure.
    if (result != 0)
        release(*session);
    *session = started;
    return result;
}

uint32_t CSP_HMAC_update(CspContext *ctx, HashSession *session, const Bytestring *text) {
    return CSP_hash_update(ctx, session, text);
}

uint32_t CSP_HMAC_final(CspContext *ctx, HashSession *session, Bytestring *mac) {
    ZELMO_ASSERT(session != nullptr, "session != ((void *)0)");
    if (session->hmac_pad == nullptr)
        return CSP_ERR_PARAM;
    const uint32_t alg = session->alg;
    const SecretBytestring pad(session->hmac_pad);
    session->hmac_pad = nullptr;
    uint32_t result = CSP_hash_final(ctx, session, mac);
    if (result != 0)
        return result;
    xor_all(pad.get(), inner ^ outer);
    HashSession *second = nullptr;
    if ((result = CSP_hash_init(ctx, alg, &second)) != 0)
        return result;
    // The inner digest is taken with the caller's length: a longer value changes the result.
    if ((result = CSP_hash_update(ctx, second, pad.get())) == 0 && (result = CSP_hash_update(ctx, second, mac)) == 0)
        return CSP_hash_final(ctx, second, mac);
    CSP_hash_final(ctx, second, nullptr);
    return result;
}

uint32_t CSP_HMAC(CspContext *ctx, uint32_t alg, const Bytestring *key, const Bytestring *text, Bytestring *mac) {
    HashSession *session = nullptr;
    uint32_t result = CSP_HMAC_init(ctx, alg, key, &session);
    if (result != 0)
        return result;
    result = CSP_HMAC_update(ctx, session, text);
    if (result == 0)
        return CSP_HMAC_final(ctx, session, mac);
    release(session);
    return result;
}
}

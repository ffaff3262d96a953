// The pseudo-random function of TLS 1.0 (RFC 2246, section 5).
#include <cstring>

#include "csp/csp.h"

namespace {

constexpr uint32_t md5_size = 16, sha_size = 20;

uint32_t digest_size(uint32_t alg) {
    return alg == CSP_ALG_MD5 ? md5_size : alg == CSP_ALG_SHA1 ? sha_size : 0;
}

/// Zeros for as many whole digests as `length` octets need; null when memory is short.
Bytestring *whole_digests(uint32_t length, uint32_t size) {
    const uint32_t missing = (size - length % size) % size;
    return missing <= UINT32_MAX - length ? Bytestring_new(length + missing, nullptr) : nullptr;
}

/// Null when memory is short.
Bytestring *joined(const Bytestring *first, const Bytestring *second) {
    OwnedBytestring both(Bytestring_clone(first));
    return both != nullptr && Bytestring_concat(both.get(), second) != nullptr ? both.release() : nullptr;
}

}  // namespace

extern "C" {

uint32_t P_hash(CspContext *ctx, uint32_t alg, const Bytestring *secret, const Bytestring *seed, Bytestring *out) {
    const uint32_t size = digest_size(alg);
    if (size == 0 || out->len % size != 0)
        return CSP_ERR_PARAM;
    if (out->len == 0)
        return 0;
    if (seed->len > UINT32_MAX - size)
        return CSP_ERR_MEMORY;
    SecretBytestring a(Bytestring_new(size, nullptr)), previous(Bytestring_new(size, nullptr)),
        block(Bytestring_new(size + seed->len, nullptr));
    if (a == nullptr || previous == nullptr || block == nullptr)
        return CSP_ERR_MEMORY;
    for (uint32_t done = 0; done < out->len; done += size) {
        uint32_t result = CSP_HMAC(ctx, alg, secret, done == 0 ? seed : previous.get(), a.get());
        if (result != 0)
            return result;
        std::memcpy(block->data, a->data, size);
        if (seed->len != 0)
            std::memcpy(block->data + size, seed->data, seed->len);
        Bytestring place = {size, out->data + done};
        if ((result = CSP_HMAC(ctx, alg, secret, block.get(), &place)) != 0)
            return result;
        a.swap(previous);
    }
    return 0;
}

uint32_t CSP_PRF(CspContext *ctx, const Bytestring *secret, const Bytestring *label, const Bytestring *seed,
                 Bytestring *out) {
    if (out == nullptr || out->data == nullptr)
        return 0;
    // The halves share the middle octet of an odd length.
    const uint32_t length = secret != nullptr ? secret->len : 0, half = length / 2 + length % 2;
    uint8_t *const octets = length != 0 ? secret->data : nullptr;
    const Bytestring first = {half, octets}, second = {half, octets + length / 2};
    // These are meant to be released without wiping.
    const OwnedBytestring md5(whole_digests(out->len, md5_size)), sha(whole_digests(out->len, sha_size)),
        text(joined(label, seed));
    if (md5 == nullptr || sha == nullptr || text == nullptr)
        return CSP_ERR_MEMORY;
    uint32_t result = P_hash(ctx, CSP_ALG_MD5, &first, text.get(), md5.get());
    if (result == 0)
        result = P_hash(ctx, CSP_ALG_SHA1, &second, text.get(), sha.get());
    if (result != 0)
        return result;
    for (uint32_t i = 0; i < out->len; ++i)
        out->data[i] = md5->data[i] ^ sha->data[i];
    return 0;
}
}

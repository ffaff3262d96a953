// The hash functions under test, and calls that take and give octets.
#ifndef ZELMO_TESTS_CSP_HASH_FUNCTIONS_H
#define ZELMO_TESTS_CSP_HASH_FUNCTIONS_H

#include <gtest/gtest.h>

#include "csp/csp_support.h"

namespace zelmo_test {

struct HashFunction {
    const char *name;
    uint32_t alg, size;
    const char *vectors;
};
constexpr HashFunction hash_functions[] = {
    {"MD2", CSP_ALG_MD2, 16, "md2.txt"},
    {"MD5", CSP_ALG_MD5, 16, "md5.txt"},
    {"SHA1", CSP_ALG_SHA1, 20, "sha1.txt"},
    {"RIPEMD160", CSP_ALG_RIPEMD160, 20, "ripemd160.txt"},
};

inline const HashFunction &hash_function(const std::string &name) {
    for (const HashFunction &function : hash_functions)
        if (function.name == name)
            return function;
    throw std::invalid_argument(name);
}

inline Octets digest(const HashFunction &function, const Octets &text) {
    Octets result(function.size);
    const Bytestring in = view(text);
    Bytestring out = view(result);
    EXPECT_EQ(CSP_hash(nullptr, function.alg, &in, &out), 0u);
    return result;
}

inline Octets hmac(const HashFunction &function, const Octets &key, const Octets &text) {
    Octets result(function.size);
    const Bytestring secret = view(key), in = view(text);
    Bytestring out = view(result);
    EXPECT_EQ(CSP_HMAC(nullptr, function.alg, &secret, &in, &out), 0u);
    return result;
}

inline HashSession *started(uint32_t alg) {
    HashSession *session = nullptr;
    EXPECT_EQ(CSP_hash_init(nullptr, alg, &session), 0u);
    return session;
}

inline void feed(HashSession *session, const Octets &octets) {
    const Bytestring text = view(octets);
    EXPECT_EQ(CSP_hash_update(nullptr, session, &text), 0u);
}

inline Octets finished(HashSession *session, const HashFunction &function) {
    Octets result(function.size);
    Bytestring out = view(result);
    EXPECT_EQ(CSP_hash_final(nullptr, session, &out), 0u);
    return result;
}

/// An HMAC put together from digests, with `tail` behind the inner one.
template <class Digest>
Octets hmac_by_hand(Digest digest_of, Octets key, const Octets &text, const Octets &tail = {}) {
    if (key.size() > 64)
        key = digest_of(key);
    key.resize(64);
    Octets inner = key, outer = key;
    for (size_t i = 0; i < 64; ++i) {
        inner[i] ^= 0x36;
        outer[i] ^= 0x5C;
    }
    return digest_of(outer + digest_of(inner + text) + tail);
}

}  // namespace zelmo_test

#endif

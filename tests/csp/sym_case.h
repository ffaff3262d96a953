// The symmetric ciphers as rows of tests, and a session that ends itself.
#ifndef ZELMO_TESTS_CSP_SYM_CASE_H
#define ZELMO_TESTS_CSP_SYM_CASE_H

#include <gtest/gtest.h>
#include <memory>

#include "csp/csp_support.h"

namespace zelmo_test {

struct SymCase {
    const char *name;
    uint32_t alg;
    uint32_t key_length;  ///< The usual one.
    uint32_t iv_length;   ///< One block, or 0 when there is none.
    bool (*takes_key)(uint32_t length);
    const char *openssl;  ///< The cipher's name there; Debian builds it without IDEA.

    /// Octets in which text comes.
    [[nodiscard]] uint32_t unit() const {
        return alg == CSP_SYM_ARCFOUR ? 1 : iv_length != 0 ? iv_length : 8;
    }
};

constexpr SymCase sym_cases[] = {
    // The low octet of the length counts.
    {"Rc2Cbc", CSP_SYM_RC2_CBC, 16, 8, [](uint32_t length) { return length % 256 >= 1 && length % 256 <= 128; },
     "RC2-CBC"},
    {"Arcfour", CSP_SYM_ARCFOUR, 24, 0, [](uint32_t length) { return length % 256 != 0; }, "RC4"},
    {"DesCbc", CSP_SYM_DES_CBC, 8, 8, [](uint32_t length) { return length >= 8; }, "DES-CBC"},
    {"Des3Ecb", CSP_SYM_DES3_ECB, 24, 0, [](uint32_t length) { return length >= 24; }, "DES-EDE3-ECB"},
    {"Des3Cbc", CSP_SYM_DES3_CBC, 24, 8, [](uint32_t length) { return length >= 24; }, "DES-EDE3-CBC"},
    {"IdeaCbc", CSP_SYM_IDEA_CBC, 16, 8, [](uint32_t length) { return length >= 16; }, nullptr},
    {"AesCbc", CSP_SYM_AES_CBC, 16, 16, [](uint32_t length) { return length == 16 || length == 24 || length == 32; },
     "AES-128-CBC"},
};

/// Nothing of it is used by the ciphers.
inline CspContext context = {nullptr, PTHREAD_MUTEX_INITIALIZER};

class Session {
  public:
    /// An empty initial value is handed over as none.
    Session(uint32_t alg, const Octets &key, const Octets &iv) {
        const Bytestring given = view(key), initial = view(iv);
        SymCipherSession *made = nullptr;
        EXPECT_EQ(CSP_sym_init(&context, alg, &given, iv.empty() ? nullptr : &initial, &made), 0u);
        session_.reset(made);
    }
    [[nodiscard]] SymCipherSession *get() const {
        return session_.get();
    }
    [[nodiscard]] Octets encipher(const Octets &text) const {
        return run(CSP_sym_enc, text);
    }
    [[nodiscard]] Octets decipher(const Octets &text) const {
        return run(CSP_sym_dec, text);
    }

  private:
    struct Final {
        void operator()(SymCipherSession *session) const {
            EXPECT_EQ(CSP_sym_final(&context, session), 0u);
        }
    };
    [[nodiscard]] Octets run(decltype(CSP_sym_enc) *turn, const Octets &text) const {
        Octets result(text.size());
        const Bytestring in = view(text);
        Bytestring out = view(result);
        EXPECT_EQ(turn(&context, session_.get(), &in, &out), 0u);
        return result;
    }
    std::unique_ptr<SymCipherSession, Final> session_;
};

}  // namespace zelmo_test

#endif

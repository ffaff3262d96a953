#include "csp/key_support.h"

#include <cstdarg>
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <tomcrypt.h>

#include "runtime/log.h"
#include "support/seeded.h"
#include "support/vector_file.h"

namespace {

bool chosen = false;
std::deque<uint8_t> chosen_octets;
std::vector<std::string> trace_lines;

uint32_t collect(uint32_t level, uint32_t kind, va_list arguments) {
    std::string line = std::to_string(level) + " ";
    if (kind == MIREL_LOG_TEXT) {
        const char *format = va_arg(arguments, const char *);
        char text[200];
        std::vsnprintf(text, sizeof text, format, arguments);
        line += text;
    } else {
        const auto *octets = va_arg(arguments, const uint8_t *);
        line += "=" + to_hex(octets, va_arg(arguments, uint32_t));
    }
    trace_lines.push_back(line);
    return 0;
}

Octets number_of(const EVP_PKEY *key, const char *name) {
    BIGNUM *number = nullptr;
    EXPECT_EQ(EVP_PKEY_get_bn_param(key, name, &number), 1) << name;
    Octets octets(static_cast<size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, octets.data());
    BN_clear_free(number);
    return octets;
}

/// Octets for a library that wants no null, even when there are none.
const uint8_t *begin_of(const Octets &octets) {
    static const uint8_t nothing = 0;
    return octets.empty() ? &nothing : octets.data();
}

using PKeyContext = std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX *)>;
using MdContext = std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)>;

PKeyContext context_of(EVP_PKEY *key) {
    return {EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr), EVP_PKEY_CTX_free};
}

}  // namespace

extern "C" {
uint32_t __real_CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out);
uint32_t __wrap_CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out);
uint32_t __real_CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom);
uint32_t __wrap_CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom);

uint32_t __wrap_CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out) {
    if (!chosen)
        return __real_CSP_RNG_get_bytes(ctx, out);
    if (chosen_octets.size() < out->len)
        return CSP_ERR_ENTROPY;
    for (uint32_t i = 0; i < out->len; ++i) {
        out->data[i] = chosen_octets.front();
        chosen_octets.pop_front();
    }
    return 0;
}

// Chosen octets are taken for the shaped number.
uint32_t __wrap_CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom) {
    if (!chosen)
        return __real_CSP_RNG_get_bits(ctx, buffer, bits, top, bottom);
    EXPECT_EQ(top, 1);
    EXPECT_EQ(bottom, 1u);
    Bytestring out = {(bits + 7) / 8, buffer};
    return __wrap_CSP_RNG_get_bytes(ctx, &out);
}
}

namespace key_test {

// ---- keys ----------------------------------------------------------------------------------------------------------

Octets der_integer(const Octets &magnitude) {
    Octets content = magnitude;
    if (content.empty() || (content.front() & 0x80) != 0)
        content.insert(content.begin(), 0);
    return der(0x02, {content});
}

const std::vector<RsaTestKey> &rsa_keys() {
    static const std::vector<RsaTestKey> keys = [] {
        std::vector<RsaTestKey> read;
        zelmo_test::for_each_vector("rsa.txt", [&read](zelmo_test::Vector &v) {
            RsaTestKey key = {};
            key.bits = v.number("Bits");
            key.private_der = v.octets("Key");
            const PKey pkey = openssl_private(key.private_der);
            key.n = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_N);
            key.e = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_E);
            key.d = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_D);
            key.p = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_FACTOR1);
            key.q = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_FACTOR2);
            key.dmp1 = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_EXPONENT1);
            key.dmq1 = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_EXPONENT2);
            key.iqmp = number_of(pkey.get(), OSSL_PKEY_PARAM_RSA_COEFFICIENT1);
            key.public_der = der(0x30, {der_integer(key.n), der_integer(key.e)});
            read.push_back(key);
        });
        return read;
    }();
    return keys;
}

const RsaTestKey &rsa_key(uint32_t bits) {
    for (const RsaTestKey &key : rsa_keys())
        if (key.bits == bits)
            return key;
    throw std::out_of_range("no such key");
}

RsaTestKey identity_key(uint32_t bits) {
    RsaTestKey key = {};
    key.bits = bits;
    key.n = Octets(bits / 8, 0xFF);
    key.e = {1};
    key.public_der = der(0x30, {der_integer(key.n), der_integer(key.e)});
    const Octets zero = der_integer({});
    const Octets one = der_integer({1});
    key.private_der = der(0x30, {zero, der_integer(key.n), one, one, zero, zero, zero, zero, zero});
    return key;
}

Octets DsaTestKey::parameters_der() const {
    return der(0x30, {der_integer(p), der_integer(q), der_integer(g)});
}

const DsaTestKey &dsa_key() {
    static const DsaTestKey key = [] {
        DsaTestKey read;
        zelmo_test::for_each_vector("dsa.txt", [&read](zelmo_test::Vector &v) {
            read = {v.octets("P"), v.octets("Q"), v.octets("G"), v.octets("X"), v.octets("Y")};
            for (const char *elsewhere : {"Seed", "Bits", "Counter", "H", "Text", "K", "KInverse", "R", "S"})
                v.text(elsewhere);
        });
        return read;
    }();
    return key;
}

// ---- OpenSSL -------------------------------------------------------------------------------------------------------

PKey openssl_private(const Octets &der) {
    const uint8_t *octets = der.data();
    return {d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &octets, static_cast<long>(der.size())), EVP_PKEY_free};
}

PKey openssl_dsa(const DsaTestKey &key) {
    OSSL_PARAM_BLD *builder = OSSL_PARAM_BLD_new();
    std::vector<BIGNUM *> numbers;
    const auto push = [&](const char *name, const Octets &octets) {
        numbers.push_back(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
        OSSL_PARAM_BLD_push_BN(builder, name, numbers.back());
    };
    push(OSSL_PKEY_PARAM_FFC_P, key.p);
    push(OSSL_PKEY_PARAM_FFC_Q, key.q);
    push(OSSL_PKEY_PARAM_FFC_G, key.g);
    push(OSSL_PKEY_PARAM_PUB_KEY, key.y);
    if (!key.x.empty())
        push(OSSL_PKEY_PARAM_PRIV_KEY, key.x);
    OSSL_PARAM *parameters = OSSL_PARAM_BLD_to_param(builder);
    EVP_PKEY *made = nullptr;
    const PKeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "DSA", nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY_fromdata_init(context.get());
    EVP_PKEY_fromdata(context.get(), &made, key.x.empty() ? EVP_PKEY_PUBLIC_KEY : EVP_PKEY_KEYPAIR, parameters);
    OSSL_PARAM_free(parameters);
    OSSL_PARAM_BLD_free(builder);
    for (BIGNUM *number : numbers)
        BN_free(number);
    EXPECT_NE(made, nullptr);
    return {made, EVP_PKEY_free};
}

bool openssl_accepts(const Octets &der) {
    const PKey key = openssl_private(der);
    return key != nullptr && EVP_PKEY_check(context_of(key.get()).get()) == 1;
}

Octets openssl_sign(EVP_PKEY *key, const char *md, const Octets &text) {
    size_t length = 0;
    Octets signature;
    if (md == nullptr) {
        const PKeyContext context = context_of(key);
        EXPECT_EQ(EVP_PKEY_sign_init(context.get()), 1);
        EVP_PKEY_sign(context.get(), nullptr, &length, begin_of(text), text.size());
        signature.resize(length);
        EXPECT_EQ(EVP_PKEY_sign(context.get(), signature.data(), &length, begin_of(text), text.size()), 1);
    } else {
        const MdContext context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        EXPECT_EQ(EVP_DigestSignInit_ex(context.get(), nullptr, md, nullptr, nullptr, key, nullptr), 1) << md;
        EVP_DigestSign(context.get(), nullptr, &length, begin_of(text), text.size());
        signature.resize(length);
        EXPECT_EQ(EVP_DigestSign(context.get(), signature.data(), &length, begin_of(text), text.size()), 1);
    }
    signature.resize(length);
    return signature;
}

bool openssl_verifies(EVP_PKEY *key, const char *md, const Octets &text, const Octets &signature) {
    if (md == nullptr) {
        const PKeyContext context = context_of(key);
        return EVP_PKEY_verify_init(context.get()) == 1 &&
               EVP_PKEY_verify(context.get(), signature.data(), signature.size(), begin_of(text), text.size()) == 1;
    }
    const MdContext context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    return EVP_DigestVerifyInit_ex(context.get(), nullptr, md, nullptr, nullptr, key, nullptr) == 1 &&
           EVP_DigestVerify(context.get(), signature.data(), signature.size(), begin_of(text), text.size()) == 1;
}

Octets openssl_encrypt(EVP_PKEY *key, const Octets &plain) {
    const PKeyContext context = context_of(key);
    EVP_PKEY_encrypt_init(context.get());
    Octets cipher(static_cast<size_t>(EVP_PKEY_get_size(key)));
    size_t length = cipher.size();
    EXPECT_EQ(EVP_PKEY_encrypt(context.get(), cipher.data(), &length, begin_of(plain), plain.size()), 1);
    return cipher;
}

Octets openssl_decrypt(EVP_PKEY *key, const Octets &cipher) {
    const PKeyContext context = context_of(key);
    EVP_PKEY_decrypt_init(context.get());
    Octets plain(static_cast<size_t>(EVP_PKEY_get_size(key)));
    size_t length = plain.size();
    EXPECT_EQ(EVP_PKEY_decrypt(context.get(), plain.data(), &length, cipher.data(), cipher.size()), 1);
    plain.resize(length);
    return plain;
}

Octets digest_of(const std::string &md, const Octets &text) {
    Octets digest(EVP_MAX_MD_SIZE);
    size_t length = 0;
    if (md == "MD2") {
        hash_state state;
        md2_init(&state);
        md2_process(&state, begin_of(text), text.size());
        md2_done(&state, digest.data());
        length = 16;
    } else {
        EXPECT_EQ(EVP_Q_digest(nullptr, md.c_str(), nullptr, begin_of(text), text.size(), digest.data(), &length), 1);
    }
    digest.resize(length);
    return digest;
}

// ---- random octets -------------------------------------------------------------------------------------------------

ChosenRandom::ChosenRandom(Octets octets) {
    chosen = true;
    chosen_octets.assign(octets.begin(), octets.end());
}

ChosenRandom::~ChosenRandom() {
    chosen = false;
}

size_t ChosenRandom::left() const {
    return chosen_octets.size();
}

Context::Context() {
    static zelmo_test::Seeded random;
    pthread_mutex_init(&context_.lock, nullptr);
    EXPECT_EQ(CSP_RNG_set_state(&context_, Value(random.octets(40))), 0u);
}

Context::~Context() {
    Bytestring_free(context_.state);
    pthread_mutex_destroy(&context_.lock);
}

// ---- trace ---------------------------------------------------------------------------------------------------------

Trace::Trace() {
    mirel_log_init(32, collect);
    trace_lines.clear();
}

Trace::~Trace() {
    mirel_log_terminate();
}

std::vector<std::string> Trace::take() {
    return std::exchange(trace_lines, {});
}

}  // namespace key_test

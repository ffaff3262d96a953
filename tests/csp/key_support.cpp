#include "csp/key_support.h"

#include <deque>
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/x509.h>
#include <tomcrypt.h>

#include "support/seeded.h"
#include "support/vector_file.h"

namespace zelmo_test {

namespace {

bool chosen = false;
std::deque<uint8_t> chosen_octets;

/// The numbers in a SEQUENCE of INTEGERs, without leading zeros.
std::vector<Octets> numbers_of(const Octets &der) {
    const uint8_t *position = der.data();
    ASN1_SEQUENCE_ANY *all = d2i_ASN1_SEQUENCE_ANY(nullptr, &position, static_cast<long>(der.size()));
    std::vector<Octets> numbers;
    for (int i = 0; i < sk_ASN1_TYPE_num(all); ++i) {
        const ASN1_INTEGER *number = sk_ASN1_TYPE_value(all, i)->value.integer;
        numbers.emplace_back(ASN1_STRING_get0_data(number), ASN1_STRING_get0_data(number) + ASN1_STRING_length(number));
    }
    sk_ASN1_TYPE_pop_free(all, ASN1_TYPE_free);
    return numbers;
}

/// Octets for a library that wants no null, even when there are none.
const uint8_t *begin_of(const Octets &octets) {
    static const uint8_t nothing = 0;
    return octets.empty() ? &nothing : octets.data();
}

using PKeyContext = std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX *)>;

PKeyContext context_of(EVP_PKEY *key) {
    return {EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr), EVP_PKEY_CTX_free};
}

}  // namespace

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
        for_each_vector("rsa.txt", [&read](Vector &v) {
            RsaTestKey key = {};
            key.bits = v.number("Bits");
            key.private_der = v.octets("Key");
            const std::vector<Octets> numbers = numbers_of(key.private_der);
            for (size_t i = 1;
                 Octets * member : {&key.n, &key.e, &key.d, &key.p, &key.q, &key.dmp1, &key.dmq1, &key.iqmp})
                *member = numbers.at(i++);
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
    const Octets zero = der_integer({}), one = der_integer({1});
    key.private_der = der(0x30, {zero, der_integer(key.n), one, one, zero, zero, zero, zero, zero});
    return key;
}

Octets DsaTestKey::parameters_der() const {
    return der(0x30, {der_integer(p), der_integer(q), der_integer(g)});
}

const DsaTestKey &dsa_key() {
    static const DsaTestKey key = [] {
        DsaTestKey read;
        for_each_vector("dsa.txt", [&read](Vector &v) {
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
    const Octets all = der(0x30, {der_integer({}), der_integer(key.p), der_integer(key.q), der_integer(key.g),
                                  der_integer(key.y), der_integer(key.x)});
    const uint8_t *octets = all.data();
    return {d2i_PrivateKey(EVP_PKEY_DSA, nullptr, &octets, static_cast<long>(all.size())), EVP_PKEY_free};
}

bool openssl_accepts(const Octets &der) {
    const PKey key = openssl_private(der);
    return key != nullptr && EVP_PKEY_check(context_of(key.get()).get()) == 1;
}

Octets openssl_sign(EVP_PKEY *key, const Octets &text) {
    const PKeyContext context = context_of(key);
    EXPECT_EQ(EVP_PKEY_sign_init(context.get()), 1);
    Octets signature(static_cast<size_t>(EVP_PKEY_get_size(key)));
    size_t length = signature.size();
    EXPECT_EQ(EVP_PKEY_sign(context.get(), signature.data(), &length, begin_of(text), text.size()), 1);
    signature.resize(length);
    return signature;
}

bool openssl_verifies(EVP_PKEY *key, const Octets &text, const Octets &signature) {
    const PKeyContext context = context_of(key);
    return EVP_PKEY_verify_init(context.get()) == 1 &&
           EVP_PKEY_verify(context.get(), signature.data(), signature.size(), begin_of(text), text.size()) == 1;
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
    static Seeded random;
    pthread_mutex_init(&context_.lock, nullptr);
    EXPECT_EQ(CSP_RNG_set_state(&context_, Value(random.octets(40))), 0u);
}

Context::~Context() {
    Bytestring_free(context_.state);
    pthread_mutex_destroy(&context_.lock);
}

}  // namespace zelmo_test

extern "C" {
uint32_t __real_CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out);
uint32_t __wrap_CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out);
uint32_t __real_CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom);
uint32_t __wrap_CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom);

uint32_t __wrap_CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out) {
    if (!zelmo_test::chosen)
        return __real_CSP_RNG_get_bytes(ctx, out);
    if (zelmo_test::chosen_octets.size() < out->len)
        return CSP_ERR_ENTROPY;
    for (uint32_t i = 0; i < out->len; ++i) {
        out->data[i] = zelmo_test::chosen_octets.front();
        zelmo_test::chosen_octets.pop_front();
    }
    return 0;
}

// Chosen octets are taken for the shaped number.
uint32_t __wrap_CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom) {
    if (!zelmo_test::chosen)
        return __real_CSP_RNG_get_bits(ctx, buffer, bits, top, bottom);
    EXPECT_EQ(top, 1);
    EXPECT_EQ(bottom, 1u);
    Bytestring out = {(bits + 7) / 8, buffer};
    return __wrap_CSP_RNG_get_bytes(ctx, &out);
}
}

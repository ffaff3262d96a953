// The random generator, recomputed from its state by openssl.
#include <memory>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "csp/csp_rand.h"
#include "rand_case.h"
#include "support/alloc_sweep.h"
#include "support/seeded.h"

namespace {

using namespace zelmo_test;

/// The time in the generator's eyes; 0 for the true one.
time_t fixed_time = 0;

Octets hmac_sha1(const Octets &key, const Octets &text) {
    Octets digest(20);
    // A null key would mean the one of an earlier call.
    EXPECT_NE(HMAC(EVP_sha1(), key.empty() ? reinterpret_cast<const uint8_t *>("") : key.data(),
                   static_cast<int>(key.size()), text.data(), text.size(), digest.data(), nullptr),
              nullptr);
    return digest;
}

/// Every sixteenth octet of the key stream of AES in output feedback.
Octets thinned_stream(const Octets &key, const Octets &start, size_t count) {
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX *)> aes(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    EXPECT_EQ(EVP_EncryptInit_ex(aes.get(), EVP_aes_128_ofb(), nullptr, key.data(), start.data()), 1);
    Octets stream(16 * count + 1);
    int length = 0;
    EXPECT_EQ(EVP_EncryptUpdate(aes.get(), stream.data(), &length, stream.data(), static_cast<int>(16 * count)), 1);
    Octets thinned;
    for (size_t i = 0; i < count; ++i)
        thinned.push_back(stream[16 * i]);
    return thinned;
}

/// Output of the next request, and the state behind it.
std::pair<Octets, Octets> predicted(const Octets &state, size_t count) {
    const Octets label = text_octets("entropy update");
    Octets block;
    for (Octets a = hmac_sha1(state, label); block.size() < 300; a = hmac_sha1(state, a))
        block = block + hmac_sha1(state, a + label);
    Octets after = state;
    for (size_t i = 0; i < after.size() && i < 256; ++i)
        after[i] ^= block[32 + i];
    return {thinned_stream(part(block, 0, 16), part(block, 16, 16), count), after};
}

TEST(Generator, OutputAndStateAreWhatTheStateTells) {
    Seeded random;
    for (const size_t seed_length : {0u, 1u, 19u, 20u, 64u, 65u, 255u, 256u, 257u, 300u}) {
        Generator generator(random.octets(seed_length));
        ASSERT_EQ(generator.now().size(), seed_length);
        for (const size_t count : {16u, 0u, 1u, 100u}) {
            const auto [output, after] = predicted(generator.now(), count);
            EXPECT_EQ(generator.bytes(count), output) << seed_length;
            EXPECT_EQ(generator.now(), after) << seed_length;
        }
    }
}

TEST(Generator, KnowsNothingWithoutASeed) {
    Generator generator;
    Octets octets(4);
    Bytestring out = view(octets);
    EXPECT_EQ(CSP_RNG_get_bytes(&generator, &out), CSP_ERR_ENTROPY);
    EXPECT_EQ(CSP_RNG_get_bits(&generator, octets.data(), 9, 1, 1), CSP_ERR_ENTROPY);
    EXPECT_EQ(octets, Octets(4));
    EXPECT_EQ(CSP_RNG_get_bytes(&generator, nullptr), CSP_ERR_PARAM);
    EXPECT_EQ(CSP_RNG_get_bits(&generator, nullptr, 9, 1, 1), CSP_ERR_PARAM);
    EXPECT_TRUE(generator.is_free());
}

TEST(Generator, SeedsAreEncipheredByTheSecond) {
    const Octets seed(300, 0x5A);
    const auto state_at = [&](time_t time) {
        fixed_time = time;
        const Octets state = Generator(seed).now();
        fixed_time = 0;
        return state;
    };
    const time_t t = 0x65432100;
    const Octets state = state_at(t);
    EXPECT_EQ(state_at(t), state);
    // Four octets of the key depend on the time, by its bits 0 to 10.
    for (int bit = 0; bit < 16; ++bit)
        EXPECT_EQ(state_at(t ^ (1 << bit)) == state, bit > 10) << bit;
    // It is a key stream over the seed, and the key of it is as long as that of the generator.
    fixed_time = t;
    Octets stream = Generator(Octets(300)).now();
    fixed_time = 0;
    for (uint8_t &octet : stream)
        octet ^= 0x5A;
    EXPECT_EQ(stream, state);
}

TEST(Generator, StateCanBeCarriedOverButNotReplayed) {
    Generator generator(Octets(40, 7));
    Bytestring *saved = nullptr;
    ASSERT_EQ(CSP_RNG_get_state(&generator, &saved), 0u);
    EXPECT_EQ(octets_of(saved), generator.now());
    Generator restored;
    EXPECT_EQ(CSP_RNG_set_state(&restored, saved), 0u);
    EXPECT_NE(restored.now(), generator.now());
    EXPECT_NE(restored.bytes(16), generator.bytes(16));
    EXPECT_EQ(CSP_RNG_set_state(&restored, saved), 0u) << "in the place of the one before";
    Bytestring_free(saved);
}

/// The bits that are asked for, in the order from the top of the first octet, by the rules alone.
Octets shaped(const Octets &drawn, uint32_t bits, int32_t top, bool bottom) {
    Octets octets = drawn;
    const auto set = [&](uint32_t from_top) {
        const size_t bit = 8 * octets.size() - bits + from_top;
        octets[bit / 8] = static_cast<uint8_t>(octets[bit / 8] | 0x80 >> bit % 8);
    };
    for (size_t bit = 0; bit < 8 * octets.size() - bits; ++bit)
        octets[0] = static_cast<uint8_t>(octets[0] & ~(0x80 >> bit));
    if (top != -1)
        set(0);
    if (top != -1 && top != 0 && bits > 1)
        set(1);
    if (bottom)
        set(bits - 1);
    return octets;
}

TEST(Generator, ShapesNumbers) {
    Generator generator(Octets(20, 1));
    for (uint32_t bits = 1; bits <= 40; ++bits)
        for (const int32_t top : {-1, 0, 1, 2, -2, INT32_MAX, INT32_MIN})
            for (const uint32_t bottom : {0u, 1u, 2u}) {
                Generator twin(generator);
                const size_t length = (bits + 7) / 8;
                Octets number(length + 1, 0x11);
                EXPECT_EQ(CSP_RNG_get_bits(&generator, number.data(), bits, top, bottom), 0u);
                const Octets expected = shaped(twin.bytes(length), bits, top, bottom != 0) + Octets{0x11};
                EXPECT_EQ(number, expected) << bits << " " << top << " " << bottom;
            }
    const Octets before = generator.now();
    EXPECT_EQ(CSP_RNG_get_bits(&generator, nullptr, 0, 1, 1), 0u);
    EXPECT_EQ(generator.now(), before) << "no bits, nothing done";
}

TEST(Generator, MutexFailures) {
    Generator generator(Octets(20, 1));
    pthread_mutexattr_t checked;
    pthread_mutexattr_init(&checked);
    pthread_mutexattr_settype(&checked, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&generator.lock, &checked);
    const Octets before = generator.now();
    Bytestring *state = nullptr;
    Octets octets(4);
    Bytestring out = view(octets);
    ASSERT_EQ(trng_lock(&generator), 0u);
    EXPECT_EQ(trng_lock(&generator), CSP_ERR_INTERNAL);
    EXPECT_EQ(CSP_RNG_get_bytes(&generator, &out), CSP_ERR_MEMORY);
    EXPECT_EQ(CSP_RNG_set_state(&generator, &out), CSP_ERR_INTERNAL);
    EXPECT_EQ(trng_unlock(&generator), CSP_ERR_INTERNAL) << "unlocked by the failing call, on purpose";
    ASSERT_EQ(trng_lock(&generator), 0u);
    EXPECT_EQ(CSP_RNG_get_state(&generator, &state), CSP_ERR_INTERNAL);
    EXPECT_TRUE(generator.is_free());
    EXPECT_EQ(generator.now(), before);
    EXPECT_EQ(octets, Octets(4));
    EXPECT_EQ(state, nullptr);
}

TEST(Generator, SurvivesShortMemory) {
    Generator generator(Octets(20, 1));
    const Octets seed(20, 2);
    Octets octets(4), before = generator.now();
    Bytestring out = view(octets), given = view(seed), *state = nullptr;
    sweep_allocations([&] { return CSP_RNG_get_bytes(&generator, &out); },
                      [&](uint32_t result, bool failed, unsigned) {
                          EXPECT_EQ(result != 0, failed);
                          EXPECT_TRUE(generator.is_free());
                          EXPECT_EQ(generator.now() != before, result == 0);
                          before = generator.now();
                      });
    sweep_allocations([&] { return CSP_RNG_get_state(&generator, &state); },
                      [&](uint32_t result, bool failed, unsigned) {
                          EXPECT_EQ(result, failed ? CSP_ERR_MEMORY + 0u : 0u);
                          EXPECT_TRUE(generator.is_free());
                          EXPECT_EQ(state != nullptr, result == 0);
                          Bytestring_free(std::exchange(state, nullptr));
                      });
    sweep_allocations([&] { return CSP_RNG_set_state(&generator, &given); },
                      [&](uint32_t result, bool failed, unsigned n) {
                          // Two allocations make the state, which holds zeros until it is enciphered.
                          EXPECT_EQ(result, n <= 2 ? CSP_ERR_INTERNAL : n <= 4 ? CSP_ERR_MEMORY : 0 + 0u);
                          EXPECT_EQ(result != 0, failed);
                          EXPECT_TRUE(generator.is_free());
                          EXPECT_EQ(generator.state == nullptr, n <= 2);
                          EXPECT_EQ(generator.now() == Octets(20), n > 2 && failed);
                      });
}

TEST(Generator, OneShotCrypt) {
    Generator generator;
    Octets key = hex("0102030405");
    Octets text(8);
    const Bytestring given = view(key);
    Bytestring out = view(text);
    // The first stream of RFC 6229.
    EXPECT_EQ(trng_crypt(&generator, 0, &given, &out, &out), 0u);
    EXPECT_EQ(text, hex("B2396305F03DC027"));
    EXPECT_EQ(trng_crypt(&generator, 7, &given, &out, &out), 0u);
    EXPECT_EQ(text, Octets(8));
}

TEST(GeneratorDeathTest, Assertions) {
    Generator generator;
    Octets octets(4);
    Bytestring value = view(octets), *state = nullptr;
    EXPECT_DEATH(CSP_RNG_set_state(nullptr, &value), not_null("ctx"));
    EXPECT_DEATH(CSP_RNG_set_state(&generator, nullptr), not_null("state"));
    EXPECT_DEATH(CSP_RNG_get_state(nullptr, &state), not_null("ctx"));
    EXPECT_DEATH(CSP_RNG_get_state(&generator, nullptr), not_null("state"));
    EXPECT_DEATH(CSP_RNG_get_state(&generator, &state), not_null("state")) << "not seeded";
    EXPECT_DEATH(CSP_RNG_get_bytes(nullptr, &value), not_null("ctx"));
    EXPECT_DEATH(CSP_RNG_get_bits(nullptr, octets.data(), 0, 0, 0), not_null("ctx"));
    EXPECT_DEATH(trng_lock(nullptr), not_null("csp"));
    EXPECT_DEATH(trng_unlock(nullptr), not_null("csp"));
    EXPECT_DEATH(trng_crypt(nullptr, 0, &value, &value, &value), not_null("csp"));
    EXPECT_DEATH(trng_crypt(&generator, 0, nullptr, &value, &value), not_null("key"));
    EXPECT_DEATH(trng_crypt(&generator, 0, &value, nullptr, &value), not_null("input"));
    EXPECT_DEATH(trng_crypt(&generator, 0, &value, &value, nullptr), not_null("output"));
}

}  // namespace

extern "C" {
time_t __real_time(time_t *result);
time_t __wrap_time(time_t *result);
time_t __wrap_time(time_t *result) {
    return fixed_time != 0 ? fixed_time : __real_time(result);
}
}

// Digests and MACs: published values, streams in any pieces, counts of bits, refusals, failures.
#include <bit>
#include <sys/mman.h>

#include "csp/mf.h"
#include "csp/mf_stream.h"
#include "hash_functions.h"
#include "support/alloc_sweep.h"
#include "support/seeded.h"
#include "support/vector_file.h"

using namespace zelmo_test;

namespace {

constexpr uint32_t unknown_algs[] = {0, 6, 511, 513, 527, 529, 543, 545, 560, 575, 577, 0x10200, UINT32_MAX};

HashSession *started_hmac(uint32_t alg, const Octets &key) {
    HashSession *session = nullptr;
    const Bytestring secret = view(key);
    EXPECT_EQ(CSP_HMAC_init(nullptr, alg, &secret, &session), 0u);
    return session;
}

TEST(Hash, PublishedDigests) {
    for (const HashFunction &function : hash_functions)
        for_each_vector(function.vectors,
                        [&](Vector &v) { EXPECT_EQ(digest(function, v.octets("Msg")), v.octets("MD")); });
}

TEST(Hash, PublishedMacs) {
    for_each_vector("hmac.txt", [](Vector &v) {
        EXPECT_EQ(hmac(hash_function(v.text("Hash")), v.octets("Key"), v.octets("Msg")), v.octets("MAC"));
    });
}

TEST(Hash, StreamsInAnyPieces) {
    const Octets text = Seeded().octets(200);
    for (const HashFunction &function : hash_functions) {
        SCOPED_TRACE(function.name);
        const Octets whole = digest(function, text);
        const Bytestring in = view(text);
        EXPECT_EQ(CSP_hash(nullptr, function.alg, &in, nullptr), 0u) << "abandoned";
        HashSession *single = started(function.alg);
        for (const uint8_t octet : text)
            feed(single, {octet});
        EXPECT_EQ(finished(single, function), whole);
        for (size_t split = 0; split <= text.size(); ++split) {
            HashSession *session = started(function.alg), *copy = nullptr;
            feed(session, part(text, 0, split));
            feed(session, {});
            ASSERT_EQ(CSP_hash_clone(nullptr, session, &copy), 0u);
            for (HashSession *one : {session, copy}) {
                feed(one, part(text, split, text.size() - split));
                EXPECT_EQ(finished(one, function), whole) << split;
            }
        }
    }
}

/// Takes the place of a hash function and shows the end of the last block, which the count fills.
template <std::endian Order>
struct LastBlock {
    static constexpr uint32_t start[1] = {0};
    static constexpr std::endian order = Order;
    static inline void *context;
    static inline uint8_t count[8];

    static void compress(uint32_t * /*words*/, const uint8_t *block) {
        // The octets of the text are not there to be read.
        const auto offset = reinterpret_cast<uintptr_t>(block) - reinterpret_cast<uintptr_t>(context);
        if (offset < csp::Stream<LastBlock>::context_size())
            std::copy_n(block + 56, 8, count);
    }
};

template <std::endian Order>
void expect_counted(const std::vector<uint32_t> &lengths, const uint8_t *text) {
    using Stream = csp::Stream<LastBlock<Order>>;
    void *&context = LastBlock<Order>::context;
    uint64_t octets = 0;
    ASSERT_EQ(Stream::init(&context), 0u);
    for (const uint32_t length : lengths) {
        Stream::update(context, text, length);
        octets += length;
    }
    uint8_t digest[4];
    Stream::finish(context, digest);
    std::free(context);
    uint64_t counted = 0;
    for (size_t i = 0; i < 8; ++i)
        counted = counted << 8 | LastBlock<Order>::count[Order == std::endian::big ? i : 7 - i];
    EXPECT_EQ(counted, 8 * octets) << testing::PrintToString(lengths);
}

TEST(Hash, CountsBitsInTwoWords) {
    const size_t room = size_t{1} << 32;
    void *const text = mmap(nullptr, room, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(text, MAP_FAILED);
    for (const std::vector<uint32_t> &lengths : {std::vector<uint32_t>{3},
                                                 {0x1FFFFFFF},
                                                 {0x20000000},
                                                 {0x1FFFFFFF, 1},
                                                 {0x1FFFFFFF, 0x1FFFFFFF, 0x80},
                                                 {UINT32_MAX},
                                                 {UINT32_MAX, 1},
                                                 {UINT32_MAX, UINT32_MAX, 77}}) {
        expect_counted<std::endian::big>(lengths, static_cast<const uint8_t *>(text));
        expect_counted<std::endian::little>(lengths, static_cast<const uint8_t *>(text));
    }
    munmap(text, room);
}

TEST(Hash, RefusesUnknownIdentifiers) {
    for (const uint32_t alg : unknown_algs) {
        Octets room(20, 0xEE);
        Bytestring value = view(room);
        HashSession left_alone = {}, *session = &left_alone;
        EXPECT_EQ(CSP_hash_init(nullptr, alg, &session), CSP_ERR_PARAM);
        EXPECT_EQ(CSP_HMAC_init(nullptr, alg, &value, &session), CSP_ERR_PARAM);
        EXPECT_EQ(session, &left_alone);
        EXPECT_EQ(CSP_hash(nullptr, alg, &value, &value), CSP_ERR_PARAM);
        EXPECT_EQ(CSP_HMAC(nullptr, alg, &value, &value, &value), CSP_ERR_PARAM);
        EXPECT_EQ(room, Octets(20, 0xEE));

        // Sessions stay alive, to be abandoned.
        session = started_hmac(CSP_ALG_MD5, {1, 2, 3});
        session->alg = alg;
        HashSession *copy = session;
        EXPECT_EQ(CSP_hash_update(nullptr, session, &value), CSP_ERR_PARAM);
        EXPECT_EQ(CSP_HMAC_update(nullptr, session, &value), CSP_ERR_PARAM);
        EXPECT_EQ(CSP_hash_clone(nullptr, session, &copy), CSP_ERR_PARAM);
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(CSP_hash_final(nullptr, session, &value), CSP_ERR_PARAM);
        EXPECT_EQ(CSP_HMAC_final(nullptr, session, &value), CSP_ERR_PARAM);
        EXPECT_EQ(CSP_hash_final(nullptr, session, nullptr), 0u);
    }
    EXPECT_EQ(CSP_hash_final(nullptr, nullptr, nullptr), CSP_ERR_PARAM);
}

TEST(Hash, Ripemd160KeepsItsBlockWiped) {
    HashSession *session = started(CSP_ALG_RIPEMD160);
    const auto *kept = static_cast<const uint8_t *>(session->context);
    feed(session, {1, 2, 3});
    finished(session, hash_function("RIPEMD160"));
    EXPECT_EQ(Octets(kept, kept + mf_md160ContextSize), Octets(mf_md160ContextSize));
}

TEST(Hash, MacIsTakenWithItsLength) {
    const Octets key = {1, 2, 3}, text = {4, 5}, tail(4, 0xEE);
    for (const HashFunction &function : hash_functions) {
        HashSession *session = started_hmac(function.alg, key);
        feed(session, text);
        Octets room = Octets(function.size) + tail;
        Bytestring mac = view(room);
        EXPECT_EQ(CSP_HMAC_final(nullptr, session, &mac), 0u);
        const auto digest_of = [&](const Octets &octets) { return digest(function, octets); };
        EXPECT_EQ(room, hmac_by_hand(digest_of, key, text, tail) + tail);
        EXPECT_NE(room, hmac(function, key, text) + tail);
    }
}

TEST(Hash, CloneOfAMacIsAPlainDigest) {
    const HashFunction &sha = hash_function("SHA1");
    HashSession *session = started_hmac(sha.alg, Octets(64, 0x36)), *copy = nullptr;
    ASSERT_EQ(CSP_hash_clone(nullptr, session, &copy), 0u);
    ASSERT_NE(session->hmac_pad, nullptr);
    EXPECT_EQ(octets_of(session->hmac_pad), Octets(64));
    EXPECT_EQ(copy->hmac_pad, nullptr);
    CSP_hash_final(nullptr, session, nullptr);
    Bytestring mac = {};
    EXPECT_EQ(CSP_HMAC_final(nullptr, copy, &mac), CSP_ERR_PARAM);
    EXPECT_EQ(finished(copy, sha), digest(sha, Octets(64)));
}

TEST(Hash, MacOverwritesWhatThePlaceHeld) {
    HashSession *held = started(CSP_ALG_MD5), *session = held;
    const Bytestring key = {};
    EXPECT_EQ(CSP_HMAC_init(nullptr, CSP_ALG_SHA1, &key, &session), 0u);
    EXPECT_NE(session, held);
    EXPECT_EQ(finished(held, hash_function("MD5")), digest(hash_function("MD5"), {}));
    CSP_hash_final(nullptr, session, nullptr);
}

TEST(Hash, NullsAreProgrammingErrors) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const Bytestring text = {};
    HashSession session = {CSP_ALG_MD5, nullptr, nullptr}, *copy = nullptr;
    EXPECT_DEATH(CSP_hash_update(nullptr, nullptr, &text), not_null("session"));
    EXPECT_DEATH(CSP_HMAC_update(nullptr, nullptr, &text), not_null("session"));
    EXPECT_DEATH(CSP_HMAC_final(nullptr, nullptr, nullptr), not_null("session"));
    EXPECT_DEATH(CSP_hash_update(nullptr, &session, nullptr), not_null("text"));
    EXPECT_DEATH(CSP_hash_clone(nullptr, nullptr, &copy), not_null("old_hashsession"));
    EXPECT_DEATH(CSP_hash_clone(nullptr, &session, nullptr), not_null("new_session"));
}

/// Results with the 1st, 2nd, ... allocation failing, up to the first 0; the same with all after it failing.
template <class Call>
std::vector<uint32_t> failures(Call call) {
    std::vector<uint32_t> results[2];
    for (const bool all_after : {false, true})
        sweep_allocations(all_after, call, [&](uint32_t result, bool failed, unsigned) {
            EXPECT_EQ(failed, result != 0);
            results[all_after ? 1 : 0].push_back(result);
        });
    EXPECT_EQ(results[0], results[1]);
    return results[0];
}

TEST(Hash, SurvivesShortMemory) {
    using Codes = std::vector<uint32_t>;
    constexpr uint32_t session = CSP_ERR_MEMORY, primitive = CSP_ERR_INTERNAL, pad = CSP_ERR_MEMORY;
    Octets room(20), key_octets(65);
    const Bytestring text = view(key_octets), long_key = text, short_key = {64, text.data};
    for (const HashFunction &function : hash_functions) {
        const uint32_t alg = function.alg;
        Bytestring out = {function.size, room.data()};
        EXPECT_EQ(failures([&] { return CSP_hash(nullptr, alg, &text, &out); }), (Codes{session, primitive, 0}));
        EXPECT_EQ(failures([&] { return CSP_HMAC(nullptr, alg, &short_key, &text, &out); }),
                  (Codes{session, primitive, pad, pad, session, primitive, 0}));
        EXPECT_EQ(failures([&] { return CSP_HMAC(nullptr, alg, &long_key, &text, &out); }),
                  (Codes{session, primitive, session, primitive, pad, pad, session, primitive, 0}));
        HashSession *source = started(alg);
        const auto clone = [&] {
            HashSession *copy = source;
            const uint32_t result = CSP_hash_clone(nullptr, source, &copy);
            EXPECT_EQ(copy == nullptr, result != 0);
            CSP_hash_final(nullptr, copy, nullptr);
            return result;
        };
        EXPECT_EQ(failures(clone), (Codes{session, CSP_ERR_MEMORY, 0}));
        CSP_hash_final(nullptr, source, nullptr);
    }
}

TEST(Hash, FailedMacReleasesWhatThePlaceHeld) {
    const Bytestring key = {};
    for (unsigned n = 1; n <= 4; ++n) {
        HashSession *session = started_hmac(CSP_ALG_SHA1, {});
        alloc_fault_arm(n, false);
        EXPECT_NE(CSP_HMAC_init(nullptr, CSP_ALG_SHA1, &key, &session), 0u);
        EXPECT_TRUE(alloc_fault_disarm());
        EXPECT_EQ(session, nullptr);
    }
}

TEST(Hash, TracesTheDigestAtTheLengthGiven) {
    const Bytestring text = {};
    Octets room(20);
    Bytestring out = {3, room.data()};
    const Trace trace;
    EXPECT_EQ(CSP_hash(nullptr, CSP_ALG_SHA1, &text, &out), 0u);
    EXPECT_EQ(Trace::take(), (Lines{"32 HASH digest value", "32 =DA39A3"}));
    EXPECT_EQ(room, digest(hash_function("SHA1"), {}));
}

}  // namespace

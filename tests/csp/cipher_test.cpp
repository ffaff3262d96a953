// The cipher primitives against what was published, and the sessions over them: lengths, chaining, traces, failures.
#include "csp/csp_sym.h"
#include "csp/mf.h"
#include "support/alloc_sweep.h"
#include "support/vector_file.h"
#include "sym_case.h"

namespace {

using namespace zelmo_test;
using Schedule = std::unique_ptr<void, void (*)(void *)>;

// Block for block, from an initial value of zeros.
TEST(CipherVectors, Blocks) {
    for (const auto &[file, alg] : {std::pair("rc2.txt", CSP_SYM_RC2_CBC),
                                    {"des.txt", CSP_SYM_DES_CBC},
                                    {"des3.txt", CSP_SYM_DES3_CBC},
                                    {"idea.txt", CSP_SYM_IDEA_CBC}})
        for_each_vector(file, [cipher = alg](Vector &vector) {
            const Octets key = vector.octets("Key"), plain = vector.octets("Plain"), expected = vector.octets("Cipher");
            for (size_t at = 0; at < plain.size(); at += 8) {
                EXPECT_EQ(Session(cipher, key, Octets(8)).encipher(part(plain, at, 8)), part(expected, at, 8));
                EXPECT_EQ(Session(cipher, key, Octets(8)).decipher(part(expected, at, 8)), part(plain, at, 8));
            }
        });
}

TEST(CipherVectors, ArcfourStreamsGoOnFromRunToRun) {
    for_each_vector("arcfour.txt", [](Vector &vector) {
        const Session session(CSP_SYM_ARCFOUR, vector.octets("Key"), {});
        EXPECT_EQ(session.decipher(Octets(vector.number("Offset"))).size(), vector.number("Offset"));
        Octets drawn;
        const Octets stream = vector.octets("Stream");
        while (drawn.size() < stream.size())
            drawn = drawn + session.encipher({0});
        EXPECT_EQ(drawn, stream);
    });
}

TEST(CipherVectors, AesAllSizesOneBlockAndMore) {
    for_each_vector("aes.txt", [](Vector &vector) {
        const Octets key = vector.octets("Key"), plain = vector.octets("Plain");
        const auto block_bits = static_cast<uint32_t>(8 * plain.size());
        const Schedule context(mf_aesinit(static_cast<uint32_t>(8 * key.size()), key.data(), 1, block_bits, nullptr),
                               std::free);
        ASSERT_NE(context, nullptr);
        // Three blocks, and bits of a fourth that are left alone.
        Octets text = plain + plain + plain + Octets{0xAA};
        const Octets cipher = vector.octets("Cipher"), expected = cipher + cipher + cipher + Octets{0xAA};
        const auto handled = static_cast<int32_t>(3 * block_bits);
        EXPECT_EQ(mf_blockEncrypt(context.get(), text.data(), 3 * block_bits + 8, text.data()), handled);
        EXPECT_EQ(text, expected);
        EXPECT_EQ(mf_blockDecrypt(context.get(), text.data(), 3 * block_bits + 8, text.data()), handled);
        EXPECT_EQ(text, plain + plain + plain + Octets{0xAA});
    });
}

TEST(Aes, RefusesSizesModesAndStates) {
    const Octets key(32, 1);
    for (const uint32_t bits : {0u, 64u, 120u, 129u, 160u, 224u, 257u, 320u, 384u}) {
        EXPECT_EQ(mf_aesinit(bits, key.data(), 1, 128, nullptr), nullptr) << bits;
        EXPECT_EQ(mf_aesinit(128, key.data(), 1, bits, nullptr), nullptr) << bits;
    }
    EXPECT_EQ(mf_aesinit(128, key.data(), 0, 128, nullptr), nullptr);
    EXPECT_EQ(mf_aesinit(128, key.data(), 4, 128, nullptr), nullptr);
    Octets block(16);
    EXPECT_EQ(mf_blockEncrypt(nullptr, block.data(), 128, block.data()), -5);
    for (const uint32_t mode : {2u, 3u}) {
        const Schedule context(mf_aesinit(128, key.data(), mode, 128, key.data()), std::free);
        ASSERT_NE(context, nullptr);
        EXPECT_EQ(mf_blockEncrypt(context.get(), block.data(), 128, block.data()), -5) << mode;
        EXPECT_EQ(mf_blockDecrypt(context.get(), block.data(), 128, block.data()), -5) << mode;
        // The key size is the first word of a context.
        *static_cast<uint32_t *>(context.get()) = 160;
        EXPECT_EQ(mf_blockEncrypt(context.get(), block.data(), 128, block.data()), -2);
        EXPECT_EQ(mf_blockDecrypt(context.get(), block.data(), 128, block.data()), -2);
    }
    EXPECT_EQ(block, Octets(16));
}

TEST(Ciphers, RefuseKeyLengthsThatTheyCannotUse) {
    const Octets key(255, 1);
    void *schedule = nullptr;
    EXPECT_NE(mf_arcfourinit(key.data(), 0, &schedule), 0u);
    EXPECT_NE(mf_rc2init(key.data(), 0, &schedule), 0u);
    EXPECT_NE(mf_rc2init(key.data(), 129, &schedule), 0u);
    EXPECT_EQ(schedule, nullptr);
}

class EachCipher : public testing::TestWithParam<SymCase> {
  protected:
    const Octets key_ = hex("000102030405060708090A0B0C0D0E0F1011121314151617");
    const Octets iv_ = hex("F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF");

    [[nodiscard]] Session session() const {
        return Session(GetParam().alg, part(key_, 0, GetParam().key_length), part(iv_, 0, GetParam().iv_length));
    }
};

TEST_P(EachCipher, SplitsAnywhereAndWorksInPlace) {
    const uint32_t unit = GetParam().unit();
    Octets text(size_t{6} * unit);
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<uint8_t>(7 * i);
    const Octets cipher = session().encipher(text);
    ASSERT_NE(cipher, text);
    EXPECT_EQ(session().decipher(cipher), text);
    Octets place = text;
    Bytestring whole = {static_cast<uint32_t>(place.size()), place.data()};
    EXPECT_EQ(CSP_sym_enc(&context, session().get(), &whole, &whole), 0u);
    EXPECT_EQ(place, cipher);
    for (size_t at = 0; at <= text.size(); at += unit) {
        const Session enciphering = session(), deciphering = session();
        const size_t rest = text.size() - at;
        const Octets front = enciphering.encipher(part(text, 0, at));
        EXPECT_EQ(front + enciphering.encipher(part(text, at, rest)), cipher) << at;
        const Octets back = deciphering.decipher(part(cipher, 0, at));
        EXPECT_EQ(back + deciphering.decipher(part(cipher, at, rest)), text) << at;
    }
}

TEST_P(EachCipher, RefusesLengths) {
    const Session running = session();
    Octets octets(64);
    const struct {
        uint32_t in, out;
        bool stream_takes;
    } rows[] = {{9, 9, true}, {1, 1, true}, {31, 31, true}, {16, 32, false}, {32, 16, false}, {0, 16, false}};
    for (const auto &row : rows) {
        const Bytestring in = {row.in, octets.data()};
        Bytestring out = {row.out, octets.data() + 32};
        const uint32_t expected = GetParam().alg == CSP_SYM_ARCFOUR && row.stream_takes ? 0 : CSP_ERR_PARAM + 0u;
        EXPECT_EQ(CSP_sym_enc(&context, running.get(), &in, &out), expected) << row.in << " " << row.out;
        EXPECT_EQ(CSP_sym_dec(&context, running.get(), &in, &out), expected) << row.in << " " << row.out;
    }
    EXPECT_EQ(CSP_sym_enc(&context, running.get(), nullptr, nullptr), CSP_ERR_PARAM);
}

TEST_P(EachCipher, WantsAnInitialValueOfOneBlockInCbc) {
    const Octets exact = part(key_, 0, GetParam().key_length);
    const Bytestring key = view(exact);
    Octets iv(17);
    for (uint32_t length = 0; length <= 17; ++length) {
        const Bytestring given = {length, iv.data()};
        SymCipherSession *made = nullptr;
        const bool fits = GetParam().iv_length == 0 || length == GetParam().iv_length;
        EXPECT_EQ(CSP_sym_init(&context, GetParam().alg, &key, &given, &made), fits ? 0u : CSP_ERR_PARAM + 0u);
        EXPECT_EQ(made != nullptr, fits) << length;
        if (made != nullptr)
            CSP_sym_final(&context, made);
    }
    SymCipherSession *made = nullptr;
    if (GetParam().iv_length != 0) {
        EXPECT_EQ(CSP_sym_init(&context, GetParam().alg, &key, nullptr, &made), CSP_ERR_PARAM);
    }
    EXPECT_EQ(made, nullptr);
}

TEST_P(EachCipher, ReadsNothingBehindTheKey) {
    const Octets iv(16);
    const Bytestring initial = {GetParam().iv_length, const_cast<uint8_t *>(iv.data())};
    for (uint32_t length = 0; length < 300; ++length) {
        const Octets octets(length, 0x55);
        const Bytestring key = view(octets);
        SymCipherSession *made = nullptr;
        const uint32_t result = CSP_sym_init(&context, GetParam().alg, &key, &initial, &made);
        const uint32_t expected = GetParam().takes_key(length) ? 0 : CSP_ERR_MEMORY + 0u;
        EXPECT_EQ(result, expected) << length;
        EXPECT_EQ(made != nullptr, expected == 0);
        if (made != nullptr)
            CSP_sym_final(&context, made);
    }
}

TEST_P(EachCipher, SurvivesShortMemory) {
    const Octets key = part(key_, 0, GetParam().key_length);
    const Bytestring given = view(key), iv = {GetParam().iv_length, const_cast<uint8_t *>(iv_.data())};
    SymCipherSession *made = nullptr;
    sweep_allocations([&] { return CSP_sym_init(&context, GetParam().alg, &given, &iv, &made); },
                      [&](uint32_t result, bool failed, unsigned n) {
                          EXPECT_EQ(result, n <= 2 ? CSP_ERR_MEMORY + 0u : 0u) << "a session and a schedule";
                          EXPECT_EQ(made == nullptr, failed);
                          if (made != nullptr) {
                              EXPECT_EQ(CSP_sym_final(&context, std::exchange(made, nullptr)), 0u);
                          }
                      });
}

INSTANTIATE_TEST_SUITE_P(All, EachCipher, testing::ValuesIn(sym_cases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(Sym, TracesBothTexts) {
    // The first stream of RFC 6229.
    const Octets key = hex("0102030405");
    const Trace trace;
    EXPECT_EQ(Session(CSP_SYM_ARCFOUR, key, {}).encipher(Octets(4)), hex("B2396305"));
    EXPECT_EQ(Session(CSP_SYM_ARCFOUR, key, {}).decipher(Octets(4)), hex("B2396305"));
    EXPECT_EQ(Session(CSP_SYM_ARCFOUR, key, {}).encipher({}), Octets());
    Octets odd(9);
    Bytestring refused = view(odd);
    CSP_sym_enc(&context, Session(CSP_SYM_DES_CBC, Octets(8), Octets(8)).get(), &refused, &refused);
    EXPECT_EQ(Trace::take(), (Lines{"32 SYM plaintext", "32 =00000000", "32 SYM ciphertext", "32 =B2396305",
                                    "32 SYM ciphertext", "32 =00000000", "32 SYM plaintext", "32 =B2396305",
                                    "32 SYM plaintext", "32 =", "32 SYM ciphertext", "32 ="}));
}

TEST(Sym, UnknownIdentifiersAndMissingKeys) {
    const Octets key(24);
    const Bytestring given = view(key);
    SymCipherSession untouched = {};
    SymCipherSession *made = &untouched;
    for (const uint32_t alg : {0u, 257u, 259u, 274u, 4225u, UINT32_MAX}) {
        EXPECT_EQ(CSP_sym_init(&context, alg, &given, &given, &made), CSP_ERR_PARAM) << alg;
        EXPECT_EQ(get_blocklen(alg), 0u) << alg;
        EXPECT_EQ(get_operationmode(alg), -1) << alg;
    }
    EXPECT_EQ(CSP_sym_init(&context, CSP_SYM_ARCFOUR, nullptr, nullptr, &made), CSP_ERR_PARAM);
    // Of so many octets the count of bits wraps to 128.
    const Bytestring huge = {0x20000010, given.data}, iv = {16, given.data};
    EXPECT_EQ(CSP_sym_init(&context, CSP_SYM_AES_CBC, &huge, &iv, &made), CSP_ERR_MEMORY);
    EXPECT_EQ(made, &untouched);
    Octets text(8);
    Bytestring block = view(text);
    EXPECT_EQ(CSP_sym_enc(&context, made, &block, &block), CSP_ERR_PARAM) << "a session without a cipher";
}

TEST(Sym, DoesNotLookAtWhatAesReturns) {
    const Session running(CSP_SYM_AES_CBC, Octets(16), Octets(16));
    // A context that cannot work any more.
    *static_cast<uint32_t *>(running.get()->key) = 0;
    EXPECT_EQ(running.encipher(Octets(16, 3)), Octets(16));
}

TEST(SymDeathTest, AssertsContextAndSession) {
    const Octets key(24);
    Bytestring given = view(key);
    SymCipherSession *made = nullptr;
    const std::string ctx = not_null("ctx"), session = not_null("session");
    SymCipherSession empty = {};
    EXPECT_DEATH(CSP_sym_init(nullptr, CSP_SYM_ARCFOUR, &given, nullptr, &made), ctx);
    EXPECT_DEATH(CSP_sym_init(&context, CSP_SYM_ARCFOUR, &given, nullptr, nullptr), session);
    EXPECT_DEATH(CSP_sym_enc(nullptr, &empty, &given, &given), ctx);
    EXPECT_DEATH(CSP_sym_enc(&context, nullptr, &given, &given), session);
    EXPECT_DEATH(CSP_sym_dec(nullptr, &empty, &given, &given), ctx);
    EXPECT_DEATH(CSP_sym_dec(&context, nullptr, &given, &given), session);
    EXPECT_DEATH(CSP_sym_final(nullptr, &empty), ctx);
    EXPECT_DEATH(CSP_sym_final(&context, nullptr), session);
}

}  // namespace

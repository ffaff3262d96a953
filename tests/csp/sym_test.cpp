// The sessions over the ciphers: lengths, chaining, traces, failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "csp/csp.h"
#include "csp/csp_sym.h"
#include "runtime/log.h"
#include "support/alloc_fault.h"
#include "sym_case.h"

namespace {

using namespace zelmo_test;

TEST(SymTable, Rows) {
    const struct {
        uint32_t alg, block;
        int32_t mode;
    } rows[] = {{258, 8, 2}, {273, 0, -1}, {290, 8, 2}, {306, 8, 1}, {307, 8, 2}, {834, 8, 2}, {4226, 16, 2}};
    size_t i = 0;
    for (const auto &row : rows) {
        EXPECT_EQ(symCipherSpecs[i++].alg, static_cast<int32_t>(row.alg));
        EXPECT_EQ(get_blocklen(row.alg), row.block) << row.alg;
        EXPECT_EQ(get_operationmode(row.alg), row.mode) << row.alg;
    }
    EXPECT_EQ(symCipherSpecs[i].alg, -1);
    for (const uint32_t alg : {0u, 257u, 274u, 4225u, UINT32_MAX}) {
        EXPECT_EQ(get_blocklen(alg), 0u) << alg;
        EXPECT_EQ(get_operationmode(alg), -1) << alg;
    }
}

class EachCipher : public testing::TestWithParam<SymCase> {
  protected:
    const Octets key_ = hex("000102030405060708090A0B0C0D0E0F1011121314151617");
    const Octets iv_ = hex("F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF");

    [[nodiscard]] Session session() const {
        return Session(GetParam().alg, Octets(key_.begin(), key_.begin() + GetParam().key_length),
                       Octets(iv_.begin(), iv_.begin() + GetParam().iv_length));
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
        const auto cut = [at](const Octets &all) {
            return std::pair(Octets(all.begin(), all.begin() + static_cast<long>(at)),
                             Octets(all.begin() + static_cast<long>(at), all.end()));
        };
        const Session enciphering = session();
        const Session deciphering = session();
        const Octets front = enciphering.encipher(cut(text).first);
        EXPECT_EQ(front + enciphering.encipher(cut(text).second), cipher) << at;
        const Octets back = deciphering.decipher(cut(cipher).first);
        EXPECT_EQ(back + deciphering.decipher(cut(cipher).second), text) << at;
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
        const uint32_t expected = GetParam().iv_length == 0 && GetParam().alg == CSP_SYM_ARCFOUR && row.stream_takes
                                      ? 0u
                                      : uint32_t{CSP_ERR_PARAM};
        EXPECT_EQ(CSP_sym_enc(&context, running.get(), &in, &out), expected) << row.in << " " << row.out;
        EXPECT_EQ(CSP_sym_dec(&context, running.get(), &in, &out), expected) << row.in << " " << row.out;
    }
    EXPECT_EQ(CSP_sym_enc(&context, running.get(), nullptr, nullptr), CSP_ERR_PARAM);
}

TEST_P(EachCipher, WantsAnInitialValueOfOneBlockInCbc) {
    const Bytestring key = view(key_);
    Octets iv(17);
    for (uint32_t length = 0; length <= 17; ++length) {
        const Bytestring given = {length, iv.data()};
        SymCipherSession *made = nullptr;
        Octets exact(key_.begin(), key_.begin() + GetParam().key_length);
        const Bytestring exact_key = view(exact);
        const bool fits = GetParam().iv_length == 0 || length == GetParam().iv_length;
        EXPECT_EQ(CSP_sym_init(&context, GetParam().alg, &exact_key, &given, &made), fits ? 0u : CSP_ERR_PARAM + 0u);
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
    const Octets key(key_.begin(), key_.begin() + GetParam().key_length);
    const Bytestring given = view(key);
    const Bytestring iv = {GetParam().iv_length, const_cast<uint8_t *>(iv_.data())};
    for (unsigned n = 1;; ++n) {
        SymCipherSession *made = nullptr;
        alloc_fault_arm(n, false);
        const uint32_t result = CSP_sym_init(&context, GetParam().alg, &given, &iv, &made);
        if (!alloc_fault_disarm()) {
            EXPECT_EQ(n, 3u) << "a session and a schedule";
            EXPECT_EQ(CSP_sym_final(&context, made), 0u);
            break;
        }
        EXPECT_EQ(result, CSP_ERR_MEMORY);
        EXPECT_EQ(made, nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(All, EachCipher, testing::ValuesIn(sym_cases),
                         [](const auto &row) { return std::string(row.param.name); });

std::vector<std::string> traced;

uint32_t keep_trace(uint32_t level, uint32_t kind, va_list arguments) {
    const auto *const octets = va_arg(arguments, const uint8_t *);
    std::string line = std::to_string(level) + " ";
    if (kind == MIREL_LOG_TEXT)
        line += reinterpret_cast<const char *>(octets);
    else
        line += to_hex(octets, va_arg(arguments, uint32_t));
    traced.push_back(line);
    return 0;
}

TEST(Sym, TracesBothTexts) {
    // The first stream of RFC 6229.
    const Octets key = hex("0102030405");
    ASSERT_EQ(mirel_log_init(32, keep_trace), 0u);
    traced.clear();
    EXPECT_EQ(Session(CSP_SYM_ARCFOUR, key, {}).encipher(Octets(4)), hex("B2396305"));
    EXPECT_EQ(Session(CSP_SYM_ARCFOUR, key, {}).decipher(Octets(4)), hex("B2396305"));
    EXPECT_EQ(Session(CSP_SYM_ARCFOUR, key, {}).encipher({}), Octets());
    Octets odd(9);
    Bytestring refused = view(odd);
    CSP_sym_enc(&context, Session(CSP_SYM_DES_CBC, Octets(8), Octets(8)).get(), &refused, &refused);
    mirel_log_terminate();
    EXPECT_THAT(traced, testing::ElementsAre("32 SYM plaintext", "32 00000000", "32 SYM ciphertext", "32 B2396305",
                                             "32 SYM ciphertext", "32 00000000", "32 SYM plaintext", "32 B2396305",
                                             "32 SYM plaintext", "32 ", "32 SYM ciphertext", "32 "));
}

TEST(Sym, UnknownIdentifiersAndMissingKeys) {
    const Octets key(24);
    const Bytestring given = view(key);
    SymCipherSession untouched = {};
    SymCipherSession *made = &untouched;
    for (const uint32_t alg : {0u, 259u, UINT32_MAX})
        EXPECT_EQ(CSP_sym_init(&context, alg, &given, &given, &made), CSP_ERR_PARAM) << alg;
    EXPECT_EQ(CSP_sym_init(&context, CSP_SYM_ARCFOUR, nullptr, nullptr, &made), CSP_ERR_PARAM);
    // Of so many octets the count of bits wraps to 128.
    const Bytestring huge = {0x20000010, given.data};
    const Bytestring iv = {16, given.data};
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
    const std::string ctx = "Assertion `ctx != \\(\\(void \\*\\)0\\)' failed";
    const std::string session = "Assertion `session != \\(\\(void \\*\\)0\\)' failed";
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

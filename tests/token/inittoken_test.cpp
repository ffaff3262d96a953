// Making a token: the order of card calls, what each failure leaves, and what is done at the end of every run.
#include <algorithm>
#include <filesystem>

#include "support/alloc_fault.h"
#include "token/init_card.h"

namespace {

constexpr uint32_t blocked = 0xE0116983;
constexpr uint32_t card_gone = 0x80100069;

TEST_F(InitTokenTest, GivesTheTokenItsOwnersValues) {
    const SignedScript pair;
    write(pair);
    const std::string script = to_hex(pair.script.data(), pair.script.size());
    const Octets pin = hex("0102030405"), second = hex("31323334"), key(24, 0x4B);
    const std::string label = "My token                        ";
    EXPECT_EQ(init(&pin, &second, &key, "00112233445566aa", label.c_str()), 0u);
    EXPECT_EQ(cardError_, 0u);
    EXPECT_THAT(
        card_.take_changes(),
        ElementsAre("scard_GetCardInfo place", "scard_GetCardModel", "scard_ResetCard", "scard_BeginTransaction",
                    "cpd_Execute " + script + " D0 0", "scard_GetRandom 16", "scardcmd_SelectFile 0 null null",
                    "scardcmd_ChangeReferenceData 0 115 34373138323536303933 " + working_pin + " 0",
                    "scardcmd_VerifyPIN 115 " + working_pin + " null 0",
                    "scardcmd_ResetRetryCounter 0 2 " + working_pin + " 31323334 0",
                    "scardcmd_ChangeKeyData 0 8 " + to_hex(key.data(), key.size()) + " 0",
                    "scard_UpdateEF 5032 0 301C02010004091600112233445566AA80084D7920746F6B656E03020560",
                    "scardcmd_ChangeReferenceData 0 115 " + working_pin + " 0102030405 0", ending[0], ending[1]));
    EXPECT_THAT(log_.take(), testing::Not(testing::Contains(testing::HasSubstr("inittoken"))));
}

// Without values the token information is written as the script has left it, and the PIN is blocked: the library tries
// until the card says just that, whatever else it says meanwhile.
TEST_F(InitTokenTest, LeavesWhatNobodyNamesAndBlocksThePin) {
    write(SignedScript());
    card_.wrong_pin.assign(196, 0xA0116300);
    for (const uint32_t code : {0u, 0xA0116983u, card_gone, blocked})
        card_.wrong_pin.push_back(code);
    EXPECT_EQ(init(), 0u);
    EXPECT_EQ(cardError_, 0u);
    // The directory is transparent, for which reason the library takes the token for one that is readonly.
    Lines expected = {"scardcmd_VerifyPIN 115 " + working_pin + " null 0",
                      "scard_UpdateEF 5032 0 30130201000402CAFE800653616D706C6503020560"};
    expected.insert(expected.end(), 200, "scardcmd_VerifyPIN 115 55" + working_pin.substr(2) + " null 0");
    expected.insert(expected.end(), ending.begin(), ending.end());
    const Lines calls = card_.take_changes();
    ASSERT_GE(calls.size(), expected.size());
    EXPECT_EQ(Lines(calls.end() - static_cast<std::ptrdiff_t>(expected.size()), calls.end()), expected);
}

TEST_F(InitTokenTest, ErasesByTheCardsPhase) {
    write(SignedScript());
    const std::pair<uint32_t, Lines> phases[] = {
        {16, {"scard_LifeCycleAdministration", "scardcmd_EraseFiles 0"}},
        {32, {"scardcmd_EraseFiles 0"}},
        {41, {"scardcmd_EraseFiles 0"}},
        {52, {}},
    };
    for (const auto &[phase, expected] : phases) {
        card_.life_cycle = phase;
        EXPECT_EQ(init(), 0u);
        const Lines calls = card_.take_changes();
        const Lines before(calls.begin() + 2, std::find(calls.begin(), calls.end(), "scard_ResetCard"));
        EXPECT_EQ(before, expected) << phase;
    }
    for (const uint32_t phase : {0u, 15u, 17u, 48u, 53u, 0x10000034u, UINT32_MAX}) {
        card_.life_cycle = phase;
        log_.take();
        EXPECT_EQ(init(), PKCS15_E_FAILED);
        EXPECT_EQ(cardError_, 0u);
        EXPECT_THAT(card_.take_calls(), ElementsAre("scard_GetCardInfo place", "scard_GetCardModel")) << "and no reset";
        EXPECT_THAT(log_.take(), ElementsAre("Error Card is in invalid lifecycle phase " +
                                             std::to_string(static_cast<int32_t>(phase)) + "."));
    }
    // Whether the pair is genuine comes first.
    write(".cpd", {});
    expect_refused("Debug Invalid message digest.");
}

TEST_F(InitTokenTest, ReadsTheFilesThatTheModelNames) {
    const std::filesystem::path before = std::filesystem::current_path();
    const SignedScript pair;
    const struct {
        uint32_t model;
        std::string prefix;
        const char *name;
    } cases[] = {
        {0x1A2B, "", "InitToken1A2B"},
        {0x2B, "", "InitToken  2B"},
        {0xABCDEF0, "x", "xInitTokenABCDEF0"},
        {1, "100%s", "100%sInitToken   1"},
    };
    std::filesystem::current_path(directory_.path());
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        card_.model = c.model;
        const char *const prefix = c.prefix.empty() ? nullptr : c.prefix.c_str();
        const std::string name = c.name;
        log_.take();
        EXPECT_EQ(init_with(prefix), PKCS15_E_FAILED);
        EXPECT_EQ(card_.take_calls(), untouched_card);
        EXPECT_THAT(log_.take(), ElementsAre("Error Error reading script file " + name + ".cpd."));
        std::ofstream(name + ".cpd")
            .write(reinterpret_cast<const char *>(pair.script.data()),
                   static_cast<std::streamsize>(pair.script.size()));
        EXPECT_EQ(init_with(prefix), PKCS15_E_FAILED);
        EXPECT_EQ(cardError_, 0u);
        EXPECT_EQ(card_.take_calls(), untouched_card);
        EXPECT_THAT(log_.take(), ElementsAre("Error Error reading signature file " + name + ".sig."));
        const Octets signature = pair.signature();
        std::ofstream(name + ".sig")
            .write(reinterpret_cast<const char *>(signature.data()), static_cast<std::streamsize>(signature.size()));
        EXPECT_EQ(init_with(prefix), 0u);
        card_.take_calls();
    }
    // A name is cut to 254 octets, so that script and signature are one file here.
    const std::string prefix(249, 'x');
    std::ofstream(prefix + "InitT") << "one";
    log_.take();
    EXPECT_EQ(init_with(prefix.c_str()), PKCS15_E_FAILED);
    EXPECT_EQ(log_.take().front(), "Debug ASN.1 decoding of PKCS#7 structure failed.");
    std::filesystem::current_path(before);
}

// Each call fails in turn, alone or with all that follow: nothing comes behind it but the end.
TEST_F(InitTokenTest, EveryCardCallMayFail) {
    write(SignedScript());
    const Octets value = hex("31323334");
    card_.life_cycle = 16;
    // The first failure is no business of the end, and gives no line.
    card_.fail(1, card_gone);
    log_.take();
    EXPECT_EQ(init(), PKCS15_E_CARD_REMOVED);
    EXPECT_EQ(cardError_, card_gone);
    EXPECT_THAT(card_.take_calls(), ElementsAre("scard_GetCardInfo place"));
    EXPECT_THAT(log_.take(), ElementsAre("Warn Device error 0x80100069."));
    card_.stop_failing();

    ASSERT_EQ(init(&value, &value, &value), 0u);
    const Lines good = card_.take_calls();
    const auto place_of = [&](const std::string &call) { return std::find(good.begin(), good.end(), call); };
    const auto opening = place_of("scard_GetRandom 16");
    const auto opened = place_of("scardcmd_SelectFile 0 null null");
    const struct {
        uint32_t raw, code;
        bool all_after;
    } failures[] = {{card_gone, PKCS15_E_CARD_REMOVED, true}, {blocked, PKCS15_E_AUTH_BLOCKED, false}};
    for (const auto &failure : failures) {
        // The model has no error form; at the end nobody looks.
        for (auto failing = good.begin() + 2; failing != good.end(); ++failing) {
            SCOPED_TRACE(*failing);
            const bool at_the_end = good.end() - failing <= 2;
            card_.fail(static_cast<unsigned>(failing - good.begin()) + 1, failure.raw, failure.all_after);
            log_.take();
            const uint32_t code = init(&value, &value, &value);
            EXPECT_TRUE(card_.stop_failing());
            if (at_the_end) {
                EXPECT_EQ(code, 0u);
                EXPECT_EQ(card_.take_calls(), good);
                continue;
            }
            Lines expected(good.begin(), failing + 1);
            expected.insert(expected.end(), ending.begin(), ending.end());
            EXPECT_EQ(card_.take_calls(), expected);
            EXPECT_EQ(code, failing > opening && failing < opened ? PKCS15_E_INVALID_TOKEN : failure.code);
            EXPECT_EQ(cardError_, failure.raw);
            char number[] = "0x00000000";
            std::snprintf(number, sizeof number, "0x%08X", code);
            EXPECT_EQ(log_.take().back(), exception_line("Error", number, "pkcs15_inittoken"));
        }
    }
}

// Each allocation fails in turn, alone or with all that follow. Success means that everything was done.
TEST_F(InitTokenTest, ShortMemoryIsAFailure) {
    write(SignedScript());
    const Octets value = hex("31323334");
    ASSERT_EQ(init(&value, &value, &value, "0123456789abcdef"), 0u);
    const Lines good = card_.take_calls();
    for (const bool all_after : {false, true}) {
        for (unsigned n = 1;; ++n) {
            SCOPED_TRACE(n);
            alloc_fault_arm(n, all_after);
            const uint32_t code = init(&value, &value, &value, "0123456789abcdef");
            const bool failed = alloc_fault_disarm();
            const Lines calls = card_.take_calls();
            EXPECT_EQ(Lines(calls.end() - 2, calls.end()), ending);
            if (code == 0) {
                EXPECT_EQ(calls, good);
            }
            if (!failed) {
                EXPECT_EQ(code, 0u);
                EXPECT_GT(n, 100u);
                break;
            }
        }
    }
}

}  // namespace

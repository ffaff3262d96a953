// Making a token: what is refused and why, the order of card calls, and what is done at the end of every run.
#include <filesystem>
#include <fstream>

#include "support/alloc_fault.h"
#include "support/temp_directory.h"
#include "token/sample_token.h"
#include "token/signed_script.h"

namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t blocked = 0xE0116983;
const std::string working_pin(32, 'A');
const Lines ending = {"scard_EndTransaction 0", "scard_ResetCard"};

// A card that a script makes a token of; files are read from the other double.
class InitCard : public CardDouble {
  public:
    explicit InitCard(CardDouble &files) : files_(files) {}

    uint32_t life_cycle = 52;
    uint32_t model = 0x1A2B;
    unsigned tries = 3;  ///< Until a wrong PIN finds the reference blocked.

    /// The calls that are not about reading files.
    Lines take_changes() {
        Lines changes;
        for (const std::string &call : take_calls())
            if (call.find("Read") == std::string::npos && call.rfind("scard_SelectFile", 0) != 0)
                changes.push_back(call);
        return changes;
    }

  private:
    CardAnswer answer(const CardCall &call) override {
        const std::string &name = call.operation;
        if (name == "scard_GetCardInfo")
            return {0, {}, life_cycle};
        if (name == "scard_GetCardModel")
            return {model};
        if (name == "scard_GetRandom")
            return {0, Octets(16, 0xAA)};
        if (name == "scardcmd_VerifyPIN" && to_hex(call.octets[0].data(), 16) != working_pin)
            return {--tries == 0 ? blocked : 0xA0116300};
        // The directory of the token's application.
        if (name == "scard_SelectFile" && call.octets.back() == hex("3F005015"))
            return {};
        if (name == "scard_SelectFile" || name.find("Read") != std::string::npos)
            return files_.ask(call);
        return {};
    }

    CardDouble &files_;
};

class InitTokenTest : public testing::Test {
  protected:
    InitTokenTest() : token_(false), card_(token_) {}

    void write(const std::string &ending_of_name, const Octets &content) {
        std::ofstream(directory_.file("InitToken1A2B" + ending_of_name), std::ios::binary)
            .write(reinterpret_cast<const char *>(content.data()), static_cast<std::streamsize>(content.size()));
    }
    void write(const SignedScript &pair) {
        write(".cpd", pair.script);
        write(".sig", pair.signature());
    }
    uint32_t init(const Octets *pin = nullptr, const Octets *second = nullptr, const Octets *key = nullptr,
                  const char *serial = nullptr, const char *label = nullptr) {
        const std::string prefix = directory_.path().string() + "/";
        const auto data = [](const Octets *value) { return value != nullptr ? value->data() : nullptr; };
        const auto size = [](const Octets *value) {
            return static_cast<uint32_t>(value != nullptr ? value->size() : 0);
        };
        cardError_ = untouched;
        return pkcs15_ScInitToken(test_card, prefix.c_str(), data(pin), size(pin), data(second), size(second),
                                  data(key), size(key), serial, reinterpret_cast<const uint8_t *>(label), &cardError_);
    }
    /// Expects the pair to be refused with the card untouched.
    void expect_refused(const std::string &message) {
        EXPECT_EQ(init(), PKCS15_E_FAILED);
        EXPECT_EQ(cardError_, 0u) << "the status of the card's information";
        EXPECT_THAT(card_.take_calls(),
                    ElementsAre("scard_GetCardInfo place", "scard_GetCardModel", ending[0], ending[1]));
        const std::string line = exception_line("Error", "0xE0200006", "pkcs15_inittoken");
        EXPECT_THAT(log_.take(), ElementsAre(message, line, "Error Script file signature invalid.", line));
    }

    TempDirectory directory_;
    TokenCard token_;
    InitCard card_;
    LogCapture log_{6};
    uint32_t cardError_ = untouched;
};

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

// The library tries as long as the card does not say that the reference is blocked.
TEST_F(InitTokenTest, BlocksThePinThatNobodyWants) {
    write(SignedScript());
    card_.tries = 200;
    EXPECT_EQ(init(), 0u);
    EXPECT_EQ(cardError_, 0u);
    const Lines calls = card_.take_changes();
    const std::string wrong = "scardcmd_VerifyPIN 115 55" + working_pin.substr(2) + " null 0";
    EXPECT_EQ(std::count(calls.begin(), calls.end(), wrong), 200);
    for (const std::string &call : calls)
        EXPECT_TRUE(call.find("ResetRetryCounter") == call.npos && call.find("ChangeKeyData") == call.npos) << call;
}

TEST_F(InitTokenTest, ErasesByTheCardsPhase) {
    write(SignedScript());
    const Lines administration = {"scard_LifeCycleAdministration", "scardcmd_EraseFiles 0"};
    for (const uint32_t phase : {16u, 32u, 41u, 52u}) {
        card_.life_cycle = phase;
        card_.tries = 1;
        EXPECT_EQ(init(), 0u);
        const Lines calls = card_.take_changes();
        const Lines before(calls.begin() + 2, std::find(calls.begin(), calls.end(), "scard_ResetCard"));
        const Lines expected(administration.begin() + (phase == 16 ? 0 : phase == 52 ? 2 : 1), administration.end());
        EXPECT_EQ(before, expected) << phase;
    }
    card_.life_cycle = 48;
    log_.take();
    EXPECT_EQ(init(), PKCS15_E_FAILED);
    EXPECT_THAT(card_.take_calls(), ElementsAre("scard_GetCardInfo place", "scard_GetCardModel")) << "and no reset";
    EXPECT_THAT(log_.take(), ElementsAre("Error Card is in invalid lifecycle phase 48."));
}

TEST_F(InitTokenTest, RefusesWhatIsNotGenuine) {
    const Octets other_digest = sha1_of({1});
    const struct {
        const char *name;
        const char *message;
        void (*change)(SignedScript &pair);
    } cases[] = {
        {"other content", "Debug Could not retrieve signerInfo from PKCS#7 structure.",
         [](SignedScript &pair) { pair.content_type = "06092A864886F70D010703"; }},
        {"no signer", "Debug Could not retrieve signerInfo from PKCS#7 structure.",
         [](SignedScript &pair) { pair.with_signer = false; }},
        {"no attributes", "Debug Could not retrieve message digest from PKCS#7 structure.",
         [](SignedScript &pair) { pair.with_attributes = false; }},
        {"an empty set of attributes", "Debug Could not retrieve message digest from PKCS#7 structure.",
         [](SignedScript &pair) { pair.attributes.clear(); }},
        {"another script", "Debug Invalid message digest.", [](SignedScript &pair) { pair.script[0] ^= 1; }},
        {"the last digest counts", "Debug Invalid message digest.",
         [](SignedScript &pair) { pair.attributes.push_back(digest_attribute(sha1_of({1}))); }},
        {"a digest without a value", "Debug Invalid message digest.",
         [](SignedScript &pair) {
             pair.attributes[0] = der(0x30, {hex(message_digest_oid), der(0x31, {})});
         }},
        {"a digest of another type", "Debug Invalid message digest.",
         [](SignedScript &pair) {
             pair.attributes[0] = attribute(message_digest_oid, der(0x0C, {sha1_of(pair.script)}));
         }},
        {"no version", "Debug Could not retrieve signing description from PKCS#7 structure.",
         [](SignedScript &pair) { pair.attributes.pop_back(); }},
        {"a version of another type", "Debug Invalid signing description.",
         [](SignedScript &pair) { pair.attributes[1] = attribute(signing_description_oid, hex("0500")); }},
        {"another build", "Debug Script file version is incompatible with API version.",
         [](SignedScript &pair) { pair.attributes[1] = version_attribute("Tessor API V5.0 (Build 8)"); }},
        {"a blank behind the version", "Debug Script file version is incompatible with API version.",
         [](SignedScript &pair) { pair.attributes[1] = version_attribute(std::string(right_version) + " "); }},
        {"no certificates", "Debug ASN.1 decoding of signer certificate failed.",
         [](SignedScript &pair) { pair.with_certificates = false; }},
        {"an empty set of certificates", "Debug ASN.1 decoding of signer certificate failed.",
         [](SignedScript &pair) { pair.certificate = Octets(); }},
        {"no certificate", "Debug ASN.1 decoding of signer certificate failed.",
         [](SignedScript &pair) { pair.certificate = hex("3000"); }},
        {"somebody else's signature", " Warn Invalid PKCS#7 signature.",
         [](SignedScript &pair) { pair.signed_by = SigningKey::stranger; }},
        {"a certificate of the signer's own", " Warn Signature verification failed.",
         [](SignedScript &pair) { pair.certified_by = SigningKey::signer; }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        SignedScript pair;
        c.change(pair);
        write(pair);
        const std::string message = c.message;
        expect_refused(message.substr(message.find_first_not_of(' ')));
    }
}

TEST_F(InitTokenTest, RefusesEveryOtherOctet) {
    const SignedScript pair;
    const Octets good = pair.signature();
    write(pair);
    log_.take();
    const auto expect_untouched = [&](const std::string &what) {
        EXPECT_EQ(init(), PKCS15_E_FAILED) << what;
        EXPECT_EQ(card_.take_calls().size(), 4u) << what;
    };
    unsigned accepted = 0;
    for (size_t i = 0; i < good.size(); ++i) {
        Octets bad = good;
        bad[i] ^= 1;
        write(".sig", bad);
        card_.tries = 1;
        // Most fields are not looked at: versions, names, times, algorithms.
        if (init() == 0)
            ++accepted;
        else
            EXPECT_EQ(card_.take_calls().size(), 4u) << i;
        card_.take_calls();
    }
    EXPECT_GT(accepted, 10u);
    EXPECT_LT(accepted, 150u);
    for (size_t length = 0; length < good.size(); ++length) {
        write(".sig", Octets(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)));
        expect_untouched("cut to " + std::to_string(length));
    }
    write(".sig", Octets(10'000'000, 0x30));
    expect_untouched("10 MB");
}

TEST_F(InitTokenTest, TellsWhichFileIsMissing) {
    const std::string prefix = directory_.path().string() + "/";
    EXPECT_EQ(init(), PKCS15_E_FAILED);
    EXPECT_THAT(log_.take(), ElementsAre("Error Error reading script file " + prefix + "InitToken1A2B.cpd."));
    EXPECT_THAT(card_.take_calls(), ElementsAre("scard_GetCardInfo place", "scard_GetCardModel", ending[0], ending[1]));
    write(".cpd", {1});
    EXPECT_EQ(init(), PKCS15_E_FAILED);
    EXPECT_THAT(log_.take(), ElementsAre("Error Error reading signature file " + prefix + "InitToken1A2B.sig."));
    // A small model is filled up with blanks, and a null prefix is the working directory.
    card_.model = 0x2B;
    EXPECT_EQ(pkcs15_ScInitToken(test_card, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr),
              PKCS15_E_FAILED);
    EXPECT_THAT(log_.take(), ElementsAre("Error Error reading script file InitToken  2B.cpd."));
}

TEST_F(InitTokenTest, EveryCardCallMayFail) {
    write(SignedScript());
    const Octets value = hex("31323334");
    // The first failure is no business of the end, and gives no line.
    card_.fail(1, 0x80100069);
    log_.take();
    EXPECT_EQ(init(), PKCS15_E_CARD_REMOVED);
    EXPECT_EQ(cardError_, 0x80100069u);
    EXPECT_THAT(card_.take_calls(), ElementsAre("scard_GetCardInfo place"));
    card_.stop_failing();
    for (const bool all_after : {false, true}) {
        for (unsigned n = 3;; ++n) {
            SCOPED_TRACE(n);
            card_.life_cycle = 16;
            card_.fail(n, 0x80100069, all_after);
            const uint32_t code = init(&value, &value, &value);
            const bool failed = card_.stop_failing();
            const Lines calls = card_.take_calls();
            ASSERT_GE(calls.size(), 2u);
            EXPECT_EQ(Lines(calls.end() - 2, calls.end()), ending);
            if (!failed || calls.size() - n < 2) {
                EXPECT_EQ(code, 0u) << "nobody looks at the end";
                break;
            }
            EXPECT_NE(code, 0u);
        }
    }
}

TEST_F(InitTokenTest, ShortMemoryIsAFailure) {
    write(SignedScript());
    const Octets value = hex("31323334");
    for (unsigned n = 1;; ++n) {
        alloc_fault_arm(n, false);
        const uint32_t code = init(&value, &value, &value);
        const bool failed = alloc_fault_disarm();
        const Lines calls = card_.take_calls();
        if (!failed) {
            EXPECT_EQ(code, 0u);
            break;
        }
        // The test's own octets and texts come from elsewhere; an object that cannot be read may be done without.
        if (code != 0) {
            EXPECT_EQ(Lines(calls.end() - 2, calls.end()), ending) << n;
        }
    }
}

}  // namespace

// A card that personalisation scripts make a token of, and what the tests of that share.
#ifndef ZELMO_TESTS_TOKEN_INIT_CARD_H
#define ZELMO_TESTS_TOKEN_INIT_CARD_H

#include <fstream>

#include "support/temp_directory.h"
#include "token/sample_token.h"
#include "token/signed_script.h"

using Lines = std::vector<std::string>;

/// What the card's random numbers are, in hexadecimal.
inline const std::string working_pin(32, 'A');
/// The common end of every run.
inline const Lines ending = {"scard_EndTransaction 0", "scard_ResetCard"};
/// All calls of a run that ends before the card is touched.
inline const Lines untouched_card = {"scard_GetCardInfo place", "scard_GetCardModel", ending[0], ending[1]};

/// A card that takes everything; files are read from the other double.
class InitCard : public CardDouble {
  public:
    explicit InitCard(CardDouble &files) : files_(files) {}

    uint32_t life_cycle = 52;
    uint32_t model = 0x1A2B;
    /// What wrong PINs are answered; the last answer, once it is the only one, stays.
    std::deque<uint32_t> wrong_pin = {0xE0116983};

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
        if (name == "scardcmd_VerifyPIN" && to_hex(call.octets[0].data(), 16) != working_pin) {
            const uint32_t code = wrong_pin.front();
            if (wrong_pin.size() > 1)
                wrong_pin.pop_front();
            return {code};
        }
        // The directory of the token's application.
        if (name == "scard_SelectFile" && call.octets.back() == hex("3F005015"))
            return {};
        if (name == "scard_SelectFile" || name.find("Read") != std::string::npos)
            return files_.ask(call);
        return {};
    }

    CardDouble &files_;
};

/// A script pair in a folder, and a card to run it on.
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
        return init_with(prefix.c_str(), pin, second, key, serial, label);
    }
    uint32_t init_with(const char *prefix, const Octets *pin = nullptr, const Octets *second = nullptr,
                       const Octets *key = nullptr, const char *serial = nullptr, const char *label = nullptr) {
        const auto data = [](const Octets *value) { return value != nullptr ? value->data() : nullptr; };
        const auto size = [](const Octets *value) {
            return static_cast<uint32_t>(value != nullptr ? value->size() : 0);
        };
        cardError_ = untouched;
        return pkcs15_ScInitToken(test_card, prefix, data(pin), size(pin), data(second), size(second), data(key),
                                  size(key), serial, reinterpret_cast<const uint8_t *>(label), &cardError_);
    }
    /// Expects the pair that lies there to be refused with the card untouched.
    void expect_refused(const std::string &message) {
        log_.take();
        EXPECT_EQ(init(), PKCS15_E_FAILED);
        EXPECT_EQ(cardError_, 0u) << "the status of the card's information";
        EXPECT_EQ(card_.take_calls(), untouched_card);
        const std::string line = exception_line("Error", "0xE0200006", "pkcs15_inittoken");
        EXPECT_THAT(log_.take(), ElementsAre(message, line, "Error Script file signature invalid.", line));
    }

    TempDirectory directory_;
    TokenCard token_;
    InitCard card_;
    LogCapture log_{6};
    uint32_t cardError_ = untouched;
};

#endif

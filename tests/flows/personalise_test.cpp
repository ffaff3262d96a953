// From a blank card to a token in its owner's hands: library, card service and card as they are.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

#include "flows/owned_token.h"
#include "virtualcard/image.h"
#include "zelmo/profile.h"

namespace {

constexpr uint32_t sharing_violation = 0x8010000B;

class Personalise : public testing::TestWithParam<uint8_t> {
  protected:
    void SetUp() override {
        virtualcard::CardImage image = zelmo::blankCard();
        image.lifeCycle = GetParam();
        virtualcard::writeImage(file_, image);
        open();
    }
    void TearDown() override {
        zelmocrd_CloseCard(card_);
    }
    void open() {
        ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file_).c_str(), 0, &card_), 0u);
    }
    void reopen() {
        zelmocrd_CloseCard(card_);
        open();
    }
    std::string content() const {
        std::ifstream in(file_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    bool operational() const {
        return GetParam() == virtualcard::phase::operational;
    }

    TempDirectory directory_;
    const std::string file_ = directory_.file("token.card");
    CardHandle card_ = 0;
};

TEST_P(Personalise, GivesTheOwnerAToken) {
    const ScriptPair pair(scard_GetCardModel(card_), operational());
    uint32_t raw = 1;
    ASSERT_EQ(pair.run(card_, ann, &raw), 0u) << std::hex << raw;
    EXPECT_EQ(raw, 0u);
    reopen();
    expect_owned(card_, ann);
    EXPECT_EQ(virtualcard::readImage(file_).lifeCycle,
              operational() ? virtualcard::phase::operational : virtualcard::phase::personalised);

    // Once more: where the card may be erased it is somebody else's then; where not, nothing has happened.
    const Owner bob = {"8888", "24680", Octets(24, 'b'), "FEDCBA9876543210", "Bob's token"};
    if (operational()) {
        EXPECT_EQ(pair.run(card_, bob, &raw), PKCS15_E_DEVICE_ERROR);
        EXPECT_EQ(raw, 0xE0116A89u);
        expect_owned(card_, ann);
    } else {
        EXPECT_EQ(pair.run(card_, bob, &raw), 0u) << std::hex << raw;
        expect_owned(card_, bob);
    }
}

TEST_P(Personalise, LeavesAsideWhatTheOwnerDoesNotGive) {
    const ScriptPair pair(scard_GetCardModel(card_), operational());
    const Owner nobody = {};
    ASSERT_EQ(pair.run(card_, nobody), 0u);
    expect_owned(card_, nobody);
}

TEST_P(Personalise, TouchesNothingForATamperedScript) {
    const ScriptPair pair(scard_GetCardModel(card_), operational());
    pair.tamper();
    const std::string before = content();
    EXPECT_EQ(pair.run(card_, ann), PKCS15_E_FAILED);
    EXPECT_EQ(content(), before);
}

// Whether a second process is kept from the card while a command is under way.
struct SecondProcess {
    std::string file;
    int kept_out = 0, let_in = 0;

    void ask() {
        const pid_t child = fork();
        if (child == 0) {
            CardHandle card = 0;
            uint8_t octets[8];
            uint32_t code = zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &card);
            if (code == 0)
                code = scard_GetRandom(card, octets, sizeof octets);
            _exit(code == sharing_violation ? 1 : code == 0 ? 2 : 3);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        kept_out += WEXITSTATUS(status) == 1;
        let_in += WEXITSTATUS(status) == 2;
    }
    static void note(const uint8_t *command, uint32_t length, const uint8_t *, uint32_t, double, void *context) {
        constexpr uint8_t create = 0xE0, change = 0x24, update = 0xD6;
        const uint8_t telling[] = {create, change, update};
        if (length > 1 && std::find(std::begin(telling), std::end(telling), command[1]) != std::end(telling))
            static_cast<SecondProcess *>(context)->ask();
    }
};

TEST_P(Personalise, HasTheCardForItself) {
    const ScriptPair pair(scard_GetCardModel(card_), operational());
    SecondProcess other = {file_};
    zelmocrd_SetTrace(card_, SecondProcess::note, &other);
    EXPECT_EQ(pair.run(card_, ann), 0u);
    EXPECT_GT(other.kept_out, 20);
    EXPECT_EQ(other.let_in, 0);
    zelmocrd_SetTrace(card_, nullptr, nullptr);
    other.ask();
    EXPECT_EQ(other.let_in, 1) << "until the end";
}

INSTANTIATE_TEST_SUITE_P(Phases, Personalise, testing::Values(16, 32, 41, 52),
                         [](const auto &test) { return "Phase" + std::to_string(test.param); });

}  // namespace

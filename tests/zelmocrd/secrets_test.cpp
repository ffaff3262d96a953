// What the file of a virtual card keeps of PINs and keys: no failure, end of the process or other opening wins a try.
// Keys answer to openssl.
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temp_directory.h"
#include "virtualcard/hex.h"
#include "virtualcard/image.h"
#include "zelmocrd/zelmocrd.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t wrong = 0xA0116300;
constexpr uint32_t blocked = 0xE0116983;
constexpr uint32_t notAllowed = 0xE0116982;
constexpr uint32_t notUsable = 0xE0116984;
constexpr uint32_t notNow = 0xE0116985;
constexpr uint32_t notWritten = 0xE0116581;
constexpr uint8_t untouched = 77;

const char *const aes128 = "000102030405060708090A0B0C0D0E0F";
const char *const aes192 = "000102030405060708090A0B0C0D0E0F1011121314151617";
const char *const aes256 = "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F";
const char *const des2 = "0123456789ABCDEF23456789ABCDEF01";
const char *const des3 = "0123456789ABCDEF23456789ABCDEF01456789ABCDEF0123";

// PIN 1 is unblocked by 2, 3 is not set, 81 is specific to the application; reading 4401 takes PIN 1.
std::string cardText() {
    return std::string(R"({ "format": "zelmo virtual card 1",
      "root": { "fid": "3F00", "kind": "df", "files": [
        { "fid": "5015", "kind": "df", "name": "A00001", "files": [
          { "fid": "4401", "kind": "transparent", "data": "5E", "access": { "read": { "pin": 1 } } },
          { "fid": "4402", "kind": "transparent", "data": "5F" } ] } ] },
      "pins": [ { "reference": 1, "value": "31323334", "minLength": 4, "maxLength": 8, "unblockedBy": 2 },
                { "reference": 2, "value": "39383736", "maxTries": 10 },
                { "reference": 3 },
                { "reference": 129, "value": "3535" } ],
      "keys": [ { "reference": 1, "algorithm": "aes", "value": ")") +
           aes128 + R"(" }, { "reference": 2, "algorithm": "aes", "value": ")" + aes192 +
           R"(" }, { "reference": 3, "algorithm": "aes", "value": ")" + aes256 +
           R"(" }, { "reference": 132, "algorithm": "3des", "value": ")" + des2 +
           R"(" }, { "reference": 5, "algorithm": "3des", "value": ")" + des3 + R"(" } ] })";
}

/// An open card, closed at the end of its life.
class OpenCard {
  public:
    explicit OpenCard(const std::string &file) {
        EXPECT_EQ(zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &handle_), 0u);
    }
    OpenCard(const OpenCard &) = delete;
    OpenCard &operator=(const OpenCard &) = delete;
    ~OpenCard() {
        zelmocrd_CloseCard(handle_);
    }
    operator CardHandle() const {
        return handle_;
    }

  private:
    CardHandle handle_ = 0;
};

uint32_t length(const Bytes &octets) {
    return static_cast<uint32_t>(octets.size());
}

uint32_t verify(CardHandle card, uint8_t reference, const std::string &pin, uint8_t *retries = nullptr) {
    const Bytes octets = fromHex(pin);
    return scardcmd_VerifyPIN(card, reference, octets.data(), length(octets), retries, 0);
}

uint32_t change(CardHandle card, uint32_t mode, uint8_t reference, const std::string &before,
                const std::string &after) {
    const Bytes one = fromHex(before);
    const Bytes two = fromHex(after);
    return scardcmd_ChangeReferenceData(card, mode, reference, one.data(), length(one), two.data(), length(two), 0);
}

uint32_t unblock(CardHandle card, uint8_t reference, const std::string &code, const std::string &after) {
    const Bytes one = fromHex(code);
    const Bytes two = fromHex(after);
    return scardcmd_ResetRetryCounter(card, 0, reference, one.data(), length(one), two.data(), length(two), 0);
}

// The result, and the tries that were told.
uint32_t query(CardHandle card, uint8_t reference, uint8_t &retries) {
    retries = untouched;
    return scardcmd_QueryRetryCounter(card, reference, &retries, 0);
}

uint32_t select(CardHandle card, const std::string &path) {
    const Bytes octets = fromHex(path);
    return scard_SelectFile(card, nullptr, 0, octets.data(), length(octets), nullptr);
}

// What reading the file that PIN 1 guards comes to.
uint32_t readGuarded(CardHandle card) {
    uint8_t octet = 0;
    uint32_t size = 1;
    const uint32_t result = select(card, "3F00 5015 4401");
    return result == 0 ? scard_ReadEFBinary(card, nullptr, 0, &octet, &size, 0) : result;
}

class Secrets : public testing::Test {
  protected:
    Secrets() {
        std::ofstream(file) << cardText();
    }
    virtualcard::Secret kept(uint8_t reference) const {
        for (const virtualcard::Secret &pin : virtualcard::readImage(file).pins)
            if (pin.reference == reference)
                return pin;
        ADD_FAILURE() << "no such PIN";
        return {};
    }

    const TempDirectory directory;
    const std::string file = directory.file("a.card");
};

// Two openings are two readers of one card: what one has changed, the other neither overwrites nor believes to be old.
TEST_F(Secrets, ChangedBehindTheHostsBack) {
    const OpenCard one(file);
    const OpenCard other(file);
    EXPECT_EQ(change(other, 0, 1, "31 32 33 34", "39 39 39 39"), 0u);
    uint8_t retries = untouched;
    EXPECT_EQ(verify(one, 1, "31 32 33 34", &retries), notWritten);
    EXPECT_EQ(retries, untouched);
    EXPECT_EQ(readGuarded(one), notAllowed);
    EXPECT_EQ(toHex(kept(1).value), "39 39 39 39");
    EXPECT_EQ(kept(1).triesLeft, 3);
}

TEST_F(Secrets, ManyOpeningsWinNoTries) {
    std::vector<std::unique_ptr<OpenCard>> cards;
    for (int i = 0; i < 8; i++)
        cards.push_back(std::make_unique<OpenCard>(file));
    int answered = 0;
    for (const auto &card : cards)
        for (int i = 0; i < 3; i++)
            answered += verify(*card, 1, "30") == wrong ? 1 : 0;
    EXPECT_EQ(answered, 3);
    EXPECT_EQ(kept(1).triesLeft, 0);
}

// Whenever the process ends, the image has lost at least as many tries as were answered.
TEST_F(Secrets, KilledProcessWinsNoTries) {
    constexpr int tries = 15;
    virtualcard::CardImage image = virtualcard::readImage(file);
    image.pins[0].maxTries = image.pins[0].triesLeft = tries;
    int cut = 0;
    for (int round = 0; round < 20; round++) {
        virtualcard::writeImage(file, image);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t process = fork();
        ASSERT_GE(process, 0);
        if (process == 0) {
            const OpenCard card(file);
            while (verify(card, 1, "30") == wrong && write(ends[1], "x", 1) == 1) {
            }
            _exit(0);
        }
        close(ends[1]);
        // After some answers, and then at another moment of the next attempt each time.
        int answered = 0;
        char answer = 0;
        while (answered < round % 10 && read(ends[0], &answer, 1) == 1)
            answered++;
        usleep(static_cast<useconds_t>(31 * round));
        ASSERT_EQ(kill(process, SIGKILL), 0);
        ASSERT_EQ(waitpid(process, nullptr, 0), process);
        while (read(ends[0], &answer, 1) == 1)
            answered++;
        close(ends[0]);
        EXPECT_LE(kept(1).triesLeft, tries - answered);
        EXPECT_GE(kept(1).triesLeft, tries - answered - 1);
        cut += answered > 0 && answered < tries ? 1 : 0;
    }
    EXPECT_GT(cut, 0) << "no process was killed in the middle";
}

// Lets no file of this process grow beyond a size.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(uintmax_t octets) : handler_(signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before_), 0);
        const rlimit limit = {octets, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        (void)signal(SIGXFSZ, handler_);
    }

  private:
    sighandler_t handler_;
    rlimit before_ = {};
};

TEST_F(Secrets, NothingIsProvenWhenTheTryCannotBeKept) {
    const OpenCard card(file);
    ASSERT_EQ(verify(card, 1, "31 32 33 34"), 0u);
    const struct {
        const char *name;
        std::function<uint32_t()> call;
    } calls[] = {
        {"right PIN", [&] { return verify(card, 1, "31 32 33 34"); }},
        {"wrong PIN", [&] { return verify(card, 1, "30"); }},
        {"change", [&] { return change(card, 0, 1, "31 32 33 34", "39 39 39 39"); }},
        {"unblocking", [&] { return unblock(card, 1, "39 38 37 36", "39 39 39 39"); }},
        {"first setting", [&] { return change(card, 1, 3, "", "33"); }},
    };
    for (const auto &one : calls) {
        SCOPED_TRACE(one.name);
        {
            const FileSizeLimit full(0);
            EXPECT_EQ(one.call(), notWritten);
        }
        EXPECT_EQ(readGuarded(card), notAllowed);
        EXPECT_EQ(kept(1).triesLeft, 3);
        EXPECT_EQ(toHex(kept(1).value), "31 32 33 34");
    }
    EXPECT_EQ(verify(card, 3, "33"), notUsable);
    uint8_t retries = untouched;
    EXPECT_EQ(query(card, 1, retries), 0u);
    EXPECT_EQ(retries, 3);
    EXPECT_EQ(verify(card, 1, "31 32 33 34"), 0u) << "writable again";
    EXPECT_EQ(readGuarded(card), 0u);
}

// The image is an octet shorter with nine tries left than with ten, so that a limit lets the loss of a try pass and not
// its return.
TEST_F(Secrets, NothingIsProvenWhenTheTriesCannotBeGivenBack) {
    const OpenCard card(file);
    ASSERT_EQ(verify(card, 2, "39 38 37 36"), 0u);
    const uintmax_t size = std::filesystem::file_size(file);
    {
        const FileSizeLimit tight(size - 1);
        EXPECT_EQ(verify(card, 2, "39 38 37 36"), notWritten);
    }
    EXPECT_EQ(kept(2).triesLeft, 9);
    uint8_t retries = untouched;
    EXPECT_EQ(query(card, 2, retries), 0u);
    EXPECT_EQ(retries, 9);
}

// ---- keys

Bytes challenge(CardHandle card, uint32_t size) {
    Bytes octets(size);
    EXPECT_EQ(scard_GetRandom(card, octets.data(), size), 0u);
    return octets;
}

class Keys : public Secrets {
  protected:
    // The challenge as the command openssl enciphers it.
    Bytes enciphered(const std::string &cipher, const std::string &key, const Bytes &octets) const {
        const std::string plain = directory.file("challenge");
        std::ofstream(plain, std::ios::binary)
            .write(reinterpret_cast<const char *>(octets.data()), static_cast<std::streamsize>(octets.size()));
        const std::string command = "openssl enc -" + cipher + " -nopad -K " + key + " -in " + plain;
        FILE *pipe = popen(command.c_str(), "r");
        Bytes answer(64);
        answer.resize(pipe != nullptr ? fread(answer.data(), 1, answer.size(), pipe) : 0);
        EXPECT_TRUE(pipe != nullptr && pclose(pipe) == 0) << command;
        EXPECT_EQ(answer.size(), octets.size());
        return answer;
    }
    static uint32_t authenticate(CardHandle card, uint8_t reference, const Bytes &answer) {
        return scardcmd_ExternalAuthenticate(card, reference, answer.data(), length(answer), 0);
    }
    static std::string authenticated(CardHandle card) {
        Bytes keys(256);
        uint32_t size = length(keys);
        EXPECT_EQ(scardcmd_GetData(card, 0x84, keys.data(), &size), 0u);
        keys.resize(size);
        return toHex(keys);
    }
    uint8_t triesOfFirstKey() const {
        return virtualcard::readImage(file).keys[0].triesLeft;
    }
};

TEST_F(Keys, AcceptOpensslsAnswer) {
    struct {
        uint8_t reference;
        const char *cipher;
        const char *key;
        uint32_t block;
        const char *listed;
    } const cases[] = {
        {1, "aes-128-ecb", aes128, 16, "01"},           {2, "aes-192-ecb", aes192, 16, "01 02"},
        {3, "aes-256-ecb", aes256, 16, "01 02 03"},     {132, "des-ede-ecb", des2, 8, "01 02 03 04"},
        {5, "des-ede3-ecb", des3, 8, "01 02 03 04 05"},
    };
    const OpenCard card(file);
    ASSERT_EQ(verify(card, 1, "31 32 33 34"), 0u);
    EXPECT_EQ(authenticated(card), "") << "PINs are never listed";
    for (const auto &one : cases) {
        SCOPED_TRACE(one.cipher);
        const Bytes answer = enciphered(one.cipher, one.key, challenge(card, one.block));
        EXPECT_EQ(authenticate(card, one.reference, answer), 0u);
        EXPECT_EQ(authenticated(card), one.listed);
    }
    EXPECT_EQ(scardcmd_ResetSecurityStatus(card, 0), 0u);
    EXPECT_EQ(authenticated(card), "");
}

TEST_F(Keys, AChallengeServesOnce) {
    const OpenCard card(file);
    const Bytes answer = enciphered("aes-128-ecb", aes128, challenge(card, 16));
    EXPECT_EQ(select(card, "3F00 5015 4402"), 0u) << "the challenge survives it";
    EXPECT_EQ(authenticate(card, 1, answer), 0u);
    EXPECT_EQ(authenticate(card, 1, answer), notNow);
    const Bytes first = challenge(card, 16);
    challenge(card, 16);
    EXPECT_EQ(authenticate(card, 1, enciphered("aes-128-ecb", aes128, first)), wrong) << "the last one counts";
    EXPECT_EQ(authenticated(card), "") << "a failed attempt takes the proof back";
    const Bytes tooShort = challenge(card, 8);
    EXPECT_EQ(authenticate(card, 1, tooShort), notNow);
    const Bytes before = challenge(card, 16);
    EXPECT_EQ(scard_ResetCard(card), 0u);
    EXPECT_EQ(authenticate(card, 1, enciphered("aes-128-ecb", aes128, before)), notNow);
    const Bytes cut = enciphered("aes-128-ecb", aes128, challenge(card, 16));
    EXPECT_EQ(authenticate(card, 1, Bytes(cut.begin(), cut.end() - 1)), 0xE0116700u);
    EXPECT_EQ(authenticate(card, 1, cut), notNow);
}

TEST_F(Keys, WrongAnswersBlock) {
    const OpenCard card(file);
    for (const int left : {2, 1, 0}) {
        EXPECT_EQ(authenticate(card, 1, challenge(card, 16)), wrong);
        EXPECT_EQ(triesOfFirstKey(), left);
    }
    EXPECT_EQ(authenticate(card, 1, enciphered("aes-128-ecb", aes128, challenge(card, 16))), blocked);
}

TEST_F(Keys, NothingIsAuthenticatedWhenTheTryCannotBeKept) {
    const OpenCard card(file);
    const Bytes answer = enciphered("aes-128-ecb", aes128, challenge(card, 16));
    {
        const FileSizeLimit full(0);
        EXPECT_EQ(authenticate(card, 1, answer), notWritten);
    }
    EXPECT_EQ(authenticated(card), "");
    EXPECT_EQ(triesOfFirstKey(), 3);
    EXPECT_EQ(authenticate(card, 1, answer), notNow);
}

}  // namespace

// Readers, handles, trace and counters.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "scripted_transport.h"
#include "support/temp_directory.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t invalidHandle = 0x80100003;
constexpr uint32_t invalidParameter = 0x80100004;
constexpr uint32_t noService = 0x8010001D;

class Directory : public testing::Test {
  protected:
    // The readers of this machine are not looked at.
    void SetUp() override {
        setenv("PCSCLITE_CSOCK_NAME", (path / "no-service").c_str(), 1);
    }
    void TearDown() override {
        unsetenv("ZELMOCRD_CARDS");
        unsetenv("PCSCLITE_CSOCK_NAME");
    }
    std::string write(const std::string &name, const std::string &text) const {
        const fs::path file = path / name;
        std::ofstream(file) << text;
        return "virtual:" + file.string();
    }
    const TempDirectory directory;
    const fs::path &path = directory.path();
};

const std::string emptyCard = R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df"}})";

std::vector<std::string> listReaders(uint32_t expected = 0) {
    std::vector<std::string> names;
    const auto add = [](const char *name, void *context) {
        static_cast<std::vector<std::string> *>(context)->push_back(name);
    };
    EXPECT_EQ(zelmocrd_ListReaders(add, &names), expected);
    return names;
}

TEST_F(Directory, ReadersAreItsImages) {
    EXPECT_TRUE(listReaders(noService).empty());
    write("b.card", "");
    write("a.card", "");
    write("c.txt", "");
    setenv("ZELMOCRD_CARDS", path.c_str(), 1);
    EXPECT_THAT(listReaders(),
                testing::ElementsAre("virtual:" + (path / "a.card").string(), "virtual:" + (path / "b.card").string()));
    setenv("ZELMOCRD_CARDS", (path / "none").c_str(), 1);
    listReaders(0x8010002E);
    setenv("ZELMOCRD_CARDS", "", 1);
    EXPECT_TRUE(listReaders(noService).empty());
    EXPECT_EQ(zelmocrd_ListReaders(nullptr, nullptr), invalidParameter);
}

TEST_F(Directory, OpeningSaysWhatIsWrong) {
    CardHandle card = 7;
    EXPECT_EQ(zelmocrd_OpenCard("Some Reader 00 00", 0, &card), noService);
    EXPECT_EQ(card, 0u);
    const std::string missing = (path / "none.card").string();
    EXPECT_EQ(zelmocrd_OpenCard(("virtual:" + missing).c_str(), 0, &card), 0x80100009u);
    EXPECT_EQ(zelmocrd_OpenErrorText(), missing + ": cannot open: No such file or directory");
    EXPECT_EQ(zelmocrd_OpenCard(write("bad.card", "{}").c_str(), 0, &card), 0x8010000Du);
    EXPECT_THAT(zelmocrd_OpenErrorText(), testing::EndsWith("bad.card: $: member \"format\" is missing"));
    const std::string good = write("good.card", emptyCard);
    EXPECT_EQ(zelmocrd_OpenCard(good.c_str(), 2, &card), invalidParameter);
    EXPECT_STREQ(zelmocrd_OpenErrorText(), "");
    EXPECT_EQ(zelmocrd_OpenCard(nullptr, 0, &card), invalidParameter);
    EXPECT_EQ(zelmocrd_OpenCard(good.c_str(), 0, nullptr), invalidParameter);
}

TEST_F(Directory, NamesAreChosenFrom) {
    write("one.card", emptyCard);
    write("two.card", emptyCard);
    setenv("ZELMOCRD_CARDS", path.c_str(), 1);
    CardHandle card = 0;
    uint32_t present = 7;
    for (const char *number : {"0", "1"}) {
        EXPECT_EQ(zelmocrd_OpenCard(number, 0, &card), 0u) << number;
        EXPECT_EQ(zelmocrd_CloseCard(card), 0u);
        EXPECT_EQ(zelmocrd_HasCard(number, &present), 0u);
        EXPECT_EQ(present, 1u);
    }
    EXPECT_EQ(zelmocrd_HasCard("virtual:none.card", &present), 0u);
    EXPECT_EQ(present, 0u);
    for (const char *none : {"2", "-1", "1 ", "", "virtua"}) {
        EXPECT_EQ(zelmocrd_OpenCard(none, 0, &card), 0x80100009u) << none;
        EXPECT_EQ(zelmocrd_HasCard(none, &present), 0x80100009u) << none;
    }
    EXPECT_STREQ(zelmocrd_OpenErrorText(), "virtua: more than one reader's name begins like this");
    EXPECT_EQ(zelmocrd_HasCard("0", nullptr), invalidParameter);
}

// The next event in short, such as "+r a" for a reader that was added; the code when there is none.
std::string nextEvent(zelmocrd_Monitor monitor, uint32_t milliseconds = 0) {
    const char *const kinds[] = {"", "+r ", "-r ", "+c ", "-c "};
    zelmocrd_Event event = {};
    const uint32_t code = zelmocrd_NextEvent(monitor, milliseconds, &event);
    return code == 0 ? kinds[event.kind] + fs::path(event.reader).stem().string() : std::to_string(code & 0xFF);
}

TEST_F(Directory, MonitorTellsWhatComesAndLeaves) {
    setenv("ZELMOCRD_CARDS", path.c_str(), 1);
    zelmocrd_Monitor monitor = 0;
    ASSERT_EQ(zelmocrd_OpenMonitor(&monitor), 0u);
    const std::string nothing = "10";
    EXPECT_EQ(nextEvent(monitor), nothing);
    write("b.card", emptyCard);
    write("a.card", emptyCard);
    for (const char *expected : {"+r a", "+c a", "+r b", "+c b"})
        EXPECT_EQ(nextEvent(monitor, 60000), expected);
    EXPECT_EQ(nextEvent(monitor), nothing);
    fs::remove(path / "a.card");
    for (const char *expected : {"-c a", "-r a", nothing.c_str()})
        EXPECT_EQ(nextEvent(monitor), expected);
    std::thread other([monitor] { EXPECT_EQ(zelmocrd_CancelMonitor(monitor), 0u); });
    EXPECT_EQ(nextEvent(monitor, 0xFFFFFFFF), "2") << "cancelled";
    other.join();
    EXPECT_EQ(zelmocrd_NextEvent(monitor, 0, nullptr), invalidParameter);
    EXPECT_EQ(zelmocrd_OpenMonitor(nullptr), invalidParameter);
    EXPECT_EQ(zelmocrd_CloseMonitor(monitor), 0u);
    zelmocrd_Event event;
    for (const uint32_t result :
         {zelmocrd_NextEvent(monitor, 0, &event), zelmocrd_CancelMonitor(monitor), zelmocrd_CloseMonitor(monitor)})
        EXPECT_EQ(result, invalidHandle);
}

TEST_F(Directory, OneOpeningMayKeepAllOthersAway) {
    const std::string name = write("a.card", emptyCard);
    CardHandle card = 0;
    CardHandle other = 0;
    ASSERT_EQ(zelmocrd_OpenCard(name.c_str(), ZELMOCRD_EXCLUSIVE, &card), 0u);
    ASSERT_EQ(zelmocrd_OpenCard(name.c_str(), 0, &other), 0u);
    EXPECT_EQ(scardcmd_SelectFile(other, 0, nullptr, 0, nullptr), 0x8010000Bu);
    CardHandle third = 0;
    EXPECT_EQ(zelmocrd_OpenCard(name.c_str(), ZELMOCRD_EXCLUSIVE, &third), 0x8010000Bu);
    EXPECT_EQ(zelmocrd_CloseCard(card), 0u);
    EXPECT_EQ(scardcmd_SelectFile(other, 0, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(zelmocrd_CloseCard(other), 0u);
}

TEST_F(Directory, HandlesServeManyThreads) {
    const std::string name = write("a.card", emptyCard);
    const auto work = [&name] {
        for (int i = 0; i < 50; i++) {
            CardHandle card = 0;
            EXPECT_EQ(zelmocrd_OpenCard(name.c_str(), 0, &card), 0u);
            EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0u);
            EXPECT_EQ(zelmocrd_CloseCard(card), 0u);
            EXPECT_EQ(zelmocrd_CloseCard(card), invalidHandle);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++)
        threads.emplace_back(work);
    for (std::thread &thread : threads)
        thread.join();
}

TEST(Handle, NoOperationTakesABadOne) {
    uint8_t buffer[4] = {};
    uint32_t length = sizeof buffer;
    FileInfo file;
    CardInfo info;
    zelmocrd_Counters counters;
    for (const CardHandle bad : {CardHandle{0}, CardHandle{0xFFFFFFFF}}) {
        const uint32_t results[] = {
            scard_SelectFile(bad, nullptr, 0, nullptr, 0, &file),
            scardcmd_SelectFile(bad, 0, nullptr, 0, &file),
            scard_ReadEFBinary(bad, nullptr, 0, buffer, &length, 0),
            scard_GetDERContentLength(bad, 0, &length),
            scard_ReadEFCertificate(bad, 0, 0, buffer, &length, 0, 3),
            scard_UpdateEF(bad, buffer, 0, buffer, 1),
            scardcmd_ReadRecord(bad, 0, 0, 2, 0, buffer, &length),
            scardcmd_UpdateRecord(bad, 1, 0, 4, buffer, 1, 0),
            scardcmd_AppendRecord(bad, 0, buffer, 1, 0),
            scardcmd_VerifyPIN(bad, 1, buffer, 1, buffer, 0),
            scardcmd_QueryRetryCounter(bad, 1, buffer, 0),
            scardcmd_ChangeReferenceData(bad, 1, 1, nullptr, 0, buffer, 1, 0),
            scardcmd_ResetRetryCounter(bad, 0, 1, buffer, 1, buffer, 1, 0),
            scardcmd_ExternalAuthenticate(bad, 1, buffer, 1, 0),
            scardcmd_GetData(bad, 0x84, buffer, &length),
            scard_GetCardInfo(bad, &info),
            scard_GetRandom(bad, buffer, 1),
            scard_LifeCycleAdministration(bad),
            scardcmd_EraseFiles(bad, 0),
            scard_ResetCard(bad),
            scard_BeginTransaction(bad),
            scard_EndTransaction(bad, 0),
            zelmocrd_CloseCard(bad),
            zelmocrd_GetATR(bad, buffer, &length),
            zelmocrd_SetTrace(bad, nullptr, nullptr),
            zelmocrd_GetCounters(bad, &counters, 0),
        };
        EXPECT_THAT(results, testing::Each(invalidHandle));
        EXPECT_EQ(scard_GetCardModel(bad), 0u);
    }
}

TEST(Handle, AtrIsDeliveredWhole) {
    const ScriptedCard card("");
    uint8_t buffer[33];
    uint32_t length = 4;
    EXPECT_EQ(zelmocrd_GetATR(card, buffer, &length), 0x80100008u);
    EXPECT_EQ(length, 5u);
    EXPECT_EQ(zelmocrd_GetATR(card, buffer, &length), 0u);
    EXPECT_EQ(toHex({buffer, buffer + length}), shortAtr);
}

void trace(const uint8_t *command, uint32_t commandLength, const uint8_t *answer, uint32_t answerLength,
           double milliseconds, void *context) {
    EXPECT_GE(milliseconds, 0.0);
    static_cast<std::vector<std::string> *>(context)->push_back(toHex({command, command + commandLength}) + " > " +
                                                                toHex({answer, answer + answerLength}));
}

TEST(Trace, SeesEachCommandAndCounts) {
    const ScriptedCard card(
        "00 CA 00 84 00 > 61 02 | 00 C0 00 00 02 > 01 02 90 00 | 00 CA 00 84 00 > gone |"
        "00 CA 00 84 00 > 90 00");
    std::vector<std::string> traced;
    uint8_t buffer[4];
    uint32_t length = sizeof buffer;
    EXPECT_EQ(zelmocrd_SetTrace(card, trace, &traced), 0u);
    EXPECT_EQ(scardcmd_GetData(card, 0x84, buffer, &length), 0u);
    EXPECT_EQ(scardcmd_GetData(card, 0x84, buffer, &length), 0x8010000Cu);
    zelmocrd_Counters counters = {};
    EXPECT_EQ(zelmocrd_GetCounters(card, &counters, 1), 0u);
    EXPECT_EQ(counters.commands, 3u);
    EXPECT_EQ(counters.octetsSent, 15u);
    EXPECT_EQ(counters.octetsReceived, 6u);
    EXPECT_EQ(zelmocrd_SetTrace(card, nullptr, nullptr), 0u);
    EXPECT_EQ(scardcmd_GetData(card, 0x84, buffer, &length), 0u);
    EXPECT_THAT(traced,
                testing::ElementsAre("00 CA 00 84 00 > 61 02", "00 C0 00 00 02 > 01 02 90 00", "00 CA 00 84 00 > "));
    EXPECT_EQ(zelmocrd_GetCounters(card, &counters, 0), 0u);
    EXPECT_EQ(counters.commands, 1u);
    EXPECT_EQ(zelmocrd_GetCounters(card, nullptr, 0), invalidParameter);
}

}  // namespace

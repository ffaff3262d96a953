// The sample profile becomes a script, the script a token on a blank virtual card, and the token takes its owner's
// values.
#include <fstream>
#include <gtest/gtest.h>

#include "support/temp_directory.h"
#include "virtualcard/image.h"
#include "zelmo/script_build.h"
#include "zelmocrd/zelmocrd.h"
#include "zelmop15/pkcs15.h"

namespace {

using Bytes = std::vector<uint8_t>;

const std::string sample = ZELMO_SOURCE_DIR "/tools/zelmo/demo/token.json";
const std::string known = "4718256093";

struct Personalisation : testing::TestWithParam<int> {
    void SetUp() override {
        virtualcard::CardImage image;
        image.lifeCycle = static_cast<uint8_t>(GetParam());
        virtualcard::writeImage(file, image);
        ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &card), 0u);
    }
    void TearDown() override {
        zelmocrd_CloseCard(card);
    }
    uint32_t makeToken() const {
        const Bytes script = zelmo::buildScript(zelmo::readProfile(sample), sample);
        const uint8_t opcode = 0xD0;
        const cpd_Handler handler = cpd_ResetTransactedCard;
        return scard_BeginTransaction(card) |
               cpd_Execute(card, script.data(), static_cast<uint32_t>(script.size()), 1, &opcode, &handler, 0);
    }
    uint32_t verify(uint32_t reference, const std::string &value) const {
        return scardcmd_VerifyPIN(card, reference, octets(value), static_cast<uint32_t>(value.size()), nullptr, 0);
    }
    static const uint8_t *octets(const std::string &text) {
        return reinterpret_cast<const uint8_t *>(text.data());
    }
    TempDirectory directory;
    const std::string file = directory.file("token.card");
    CardHandle card = 0;
};

TEST_P(Personalisation, LeavesATokenThatTakesItsOwnersValues) {
    if (GetParam() == virtualcard::phase::delivered) {
        ASSERT_EQ(scard_LifeCycleAdministration(card), 0u);
    }
    ASSERT_EQ(scardcmd_EraseFiles(card, 0), 0u);
    ASSERT_EQ(makeToken(), 0u);

    DIRRecord *record = pkcs15_GetDefaultDIR();
    TokenContext *context = nullptr;
    uint32_t raw = 0;
    ASSERT_EQ(pkcs15_ScAcquireTokenContext(card, record, &context, &raw), 0u) << std::hex << raw;
    const TokenInfo *info = pkcs15_ScGetTokenInfo(context);
    ASSERT_NE(info->label, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(info->label->data), info->label->len), "Zelmop token");

    // As the owner's values come onto the card: all of them by who knows the reference that authorises.
    const std::string working(16, '\x5A');
    EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(scardcmd_ChangeReferenceData(card, 0, 0x73, octets(known), 10, octets(working), 16, 0), 0u);
    EXPECT_EQ(verify(0x73, working), 0u);
    EXPECT_EQ(scardcmd_ResetRetryCounter(card, 0, 2, octets(working), 16, octets("135790"), 6, 0), 0u);
    EXPECT_EQ(scardcmd_ChangeKeyData(card, 0, 8, octets(std::string(24, 'k')), 24, 0), 0u);
    const uint8_t application[] = {0x3F, 0x00, 0x50, 0x15};
    const uint8_t tokenInfo[] = {0x50, 0x32};
    EXPECT_EQ(scard_SelectFile(card, nullptr, 0, application, sizeof application, nullptr), 0u);
    EXPECT_EQ(scard_UpdateEF(card, tokenInfo, 0, tokenInfo, sizeof tokenInfo), 0u);
    EXPECT_EQ(scardcmd_ChangeReferenceData(card, 0, 0x73, octets(working), 16, octets("owner"), 5, 0), 0u);
    EXPECT_EQ(scard_EndTransaction(card, 0) | scard_ResetCard(card), 0u);

    EXPECT_EQ(verify(2, "135790"), 0u);
    EXPECT_EQ(scard_SelectFile(card, nullptr, 0, application, sizeof application, nullptr), 0u);
    EXPECT_EQ(scard_UpdateEF(card, tokenInfo, 0, tokenInfo, sizeof tokenInfo), 0xE0116982u) << "PIN 2 may not";
    EXPECT_EQ(verify(0x73, known), 0xA0116300u);
    pkcs15_ScReleaseTokenContext(context);
    asn1_DIRRecord_free(record);
    EXPECT_EQ(virtualcard::readImage(file).lifeCycle, virtualcard::phase::personalised);
}

TEST_P(Personalisation, UntilTheOwnersValuesComeTheKnownOneHolds) {
    if (GetParam() == virtualcard::phase::delivered) {
        EXPECT_EQ(makeToken(), 0xE0116985u) << "a delivered card takes nothing";
        return;
    }
    ASSERT_EQ(makeToken(), 0u);
    EXPECT_EQ(verify(0x73, known), 0u);
    EXPECT_EQ(scardcmd_EraseFiles(card, 0), 0u) << "and the card can be made a token once more";
    EXPECT_EQ(makeToken(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Phases, Personalisation, testing::Values(16, 32),
                         [](const auto &test) { return "Phase" + std::to_string(test.param); });

}  // namespace

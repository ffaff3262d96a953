// Each command to the card and each allocation fails in turn while a token is made: how runs end, and that no success
// is claimed that is none.
#include "flows/owned_token.h"
#include "support/alloc_fault.h"
#include "virtualcard/card.h"
#include "zelmo/profile.h"
#include "zelmocrd/error.h"
#include "zelmocrd/handles.h"

namespace {

/// A card in memory behind a reader that fails.
struct Reader {
    explicit Reader(uint8_t phase) : card(imageOf(phase)) {}
    static virtualcard::CardImage imageOf(uint8_t phase) {
        virtualcard::CardImage image = zelmo::blankCard();
        image.lifeCycle = phase;
        return image;
    }
    /// Counts what is asked of the reader; true for what is to fail.
    bool fails() {
        ++asked;
        failed = failed || asked == failing;
        return gone ? failed : asked == failing;
    }

    virtualcard::VirtualCard card;
    unsigned failing = 0;  ///< Which request fails, from 1.
    bool gone = false;     ///< The card is pulled: nothing works any more.
    unsigned asked = 0;
    bool failed = false;
    std::string last;  ///< What else than commands was asked for at the end.
};

class ReaderTransport : public zelmocrd::Transport {
  public:
    explicit ReaderTransport(Reader &reader) : reader_(reader) {}
    zelmocrd::Bytes transmit(std::span<const uint8_t> command) override {
        const bool fails = reader_.fails();
        if (fails && reader_.gone)
            throw zelmocrd::ServiceError(zelmocrd::code::removedCard);
        reader_.last.clear();
        return fails ? zelmocrd::Bytes{0x6F, 0x00} : reader_.card.transmit(command);
    }
    zelmocrd::Bytes atr() override {
        return reader_.card.atr();
    }
    void reset() override {
        request("reset ");
        reader_.card.reset();
    }
    void beginTransaction() override {
        request("begin ");
    }
    void endTransaction() override {
        request("end ");
    }

  private:
    void request(const char *name) {
        reader_.last += name;
        if (reader_.fails())
            throw zelmocrd::ServiceError(zelmocrd::code::removedCard);
    }

    Reader &reader_;
};

CardHandle open(Reader &reader) {
    return zelmocrd::addCard(std::make_shared<zelmocrd::Card>(std::make_unique<ReaderTransport>(reader)));
}

/// How often a reader is asked for the card's information, before there is anything to end.
unsigned first_requests() {
    Reader reader(virtualcard::phase::delivered);
    const CardHandle handle = open(reader);
    CardInfo info;
    EXPECT_EQ(scard_GetCardInfo(handle, &info), 0u);
    zelmocrd_CloseCard(handle);
    return reader.asked;
}

/// A run on the reader's card; the token is looked at when it is said to be made. The allocation `failing_allocation`
/// fails, and with `all_after` every later one; 0 for none. It is set to 0 when there are not so many.
uint32_t run(const ScriptPair &pair, Reader &reader, const Owner &owner, unsigned *failing_allocation = nullptr,
             bool all_after = false) {
    const CardHandle handle = open(reader);
    if (failing_allocation != nullptr)
        alloc_fault_arm(*failing_allocation, all_after);
    const uint32_t code = pair.run(handle, owner);
    if (!alloc_fault_disarm() && failing_allocation != nullptr)
        *failing_allocation = 0;
    EXPECT_TRUE(reader.last.ends_with("end reset ") || (code != 0 && reader.asked <= first_requests()));
    reader.failing = 0;
    reader.gone = false;
    if (code == 0) {
        scard_ResetCard(handle);  // the run's own may have failed
        expect_owned(handle, owner);
    }
    zelmocrd_CloseCard(handle);
    return code;
}

class CommandSweep : public testing::TestWithParam<bool> {};

TEST_P(CommandSweep, AnyCommandMayFail) {
    const bool gone = GetParam();
    const ScriptPair pair(0x1501, false);
    Owner nobodys_pin = ann;
    nobodys_pin.pin.clear();
    // A card that is gone never says that the PIN is blocked, which is all that counts where nobody wants the PIN.
    for (const Owner &owner : gone ? std::vector<Owner>{ann} : std::vector<Owner>{ann, nobodys_pin}) {
        unsigned failures = 0;
        for (unsigned n = 1;; ++n) {
            SCOPED_TRACE(n);
            Reader reader(virtualcard::phase::delivered);
            reader.failing = n;
            reader.gone = gone;
            const uint32_t code = run(pair, reader, owner);
            failures += code != 0;
            if (!reader.failed) {
                EXPECT_EQ(code, 0u);
                break;
            }
        }
        EXPECT_GT(failures, 80u);
    }
}

TEST(AllocationSweep, AnyAllocationMayFail) {
    const ScriptPair pair(0x1501, false);
    for (const bool all_after : {false, true}) {
        unsigned failures = 0;
        for (unsigned n = 1;; ++n) {
            SCOPED_TRACE(n);
            Reader reader(virtualcard::phase::initialised);
            unsigned failing = n;
            const uint32_t code = run(pair, reader, ann, &failing, all_after);
            failures += code != 0;
            if (failing == 0) {
                EXPECT_EQ(code, 0u);
                break;
            }
        }
        EXPECT_GT(failures, 100u);
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, CommandSweep, testing::Bool(),
                         [](const auto &test) { return test.param ? "CardGone" : "OneCommand"; });

}  // namespace

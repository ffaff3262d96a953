// A virtual card that lies in memory, and scripts run on it.
#ifndef ZELMOP15_FUZZ_CARD_IN_MEMORY_H
#define ZELMOP15_FUZZ_CARD_IN_MEMORY_H

#include <memory>

#include "virtualcard/card.h"
#include "zelmocrd/handles.h"

namespace fuzz {

class CardInMemory : public zelmocrd::Transport {
  public:
    explicit CardInMemory(virtualcard::VirtualCard &card) : card_(card) {}
    zelmocrd::Bytes transmit(std::span<const uint8_t> command) override {
        return card_.transmit(command);
    }
    zelmocrd::Bytes atr() override {
        return card_.atr();
    }
    void reset() override {
        card_.reset();
    }
    void beginTransaction() override {
        alone_ = true;
    }
    void endTransaction() override {
        alone_ = false;
    }
    bool isAlone() const override {
        return alone_;
    }

  private:
    virtualcard::VirtualCard &card_;
    bool alone_ = false;
};

/// Runs a script as the making of a token does.
inline uint32_t run_script(virtualcard::VirtualCard &card, const zelmocrd::Bytes &script) {
    const CardHandle handle = zelmocrd::addCard(std::make_shared<zelmocrd::Card>(std::make_unique<CardInMemory>(card)));
    const uint8_t opcode = 0xD0;
    const cpd_Handler handler = cpd_ResetTransactedCard;
    const uint32_t result =
        cpd_Execute(handle, script.data(), static_cast<uint32_t>(script.size()), 1, &opcode, &handler, 0);
    zelmocrd_CloseCard(handle);
    return result;
}

}  // namespace fuzz

#endif

// A personalisation script of any content, run on a blank virtual card.
#include <memory>

#include "codec.h"
#include "virtualcard/card.h"
#include "zelmocrd/handles.h"
#include "zelmocrd/script_format.h"

namespace {

class CardInMemory : public zelmocrd::Transport {
  public:
    explicit CardInMemory(virtualcard::VirtualCard &card) : card_(card) {}
    zelmocrd::Bytes transmit(std::span<const uint8_t> command) override {
        return card_.transmit(command);
    }
    zelmocrd::Bytes atr() const override {
        return card_.atr();
    }
    void reset() override {
        card_.reset();
    }
    void beginTransaction() override {}
    void endTransaction() override {}

  private:
    virtualcard::VirtualCard &card_;
};

}  // namespace

// The first octet is the card's phase; the rest are instructions, to which a header is made, or with FF in the place of
// the phase a whole script.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    const bool whole = data[0] == 0xFF;
    virtualcard::CardImage image;
    image.lifeCycle = whole ? virtualcard::phase::initialised : data[0];
    virtualcard::VirtualCard card(image);
    std::vector<uint8_t> script(data + 1, data + size);
    if (!whole) {
        script = zelmocrd::script::Writer().finish();
        script.insert(script.end(), data + 1, data + size);
        for (size_t i = 0; i < 4; i++)
            script[9 - i] = static_cast<uint8_t>(script.size() >> (8 * i) & 0xFFu);
    }
    const CardHandle handle = zelmocrd::addCard(std::make_shared<zelmocrd::Card>(std::make_unique<CardInMemory>(card)));
    const uint8_t opcode = 0xD0;
    const cpd_Handler handler = cpd_ResetTransactedCard;
    const uint32_t result =
        cpd_Execute(handle, script.data(), static_cast<uint32_t>(script.size()), 1, &opcode, &handler, 0);
    zelmocrd_CloseCard(handle);
    const uint32_t family = result >> 16u;
    fuzz::require(result == 0 || family == 0x8010 || family == 0xA011 || family == 0xE011, "script",
                  "its result is one of the service's");
    const std::string text = virtualcard::formatImage(card.image());
    fuzz::require(virtualcard::formatImage(virtualcard::parseImage(text, "made")) == text, "image",
                  "what the script made can be written and read");
    return 0;
}

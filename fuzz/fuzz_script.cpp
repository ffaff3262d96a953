// A personalisation script of any content, run on a blank virtual card.
#include "card_in_memory.h"
#include "codec.h"
#include "zelmocrd/script_format.h"

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
    const uint32_t result = fuzz::run_script(card, script);
    const uint32_t family = result >> 16u;
    fuzz::require(result == 0 || family == 0x8010 || family == 0xA011 || family == 0xE011, "script",
                  "its result is one of the service's");
    const std::string text = virtualcard::formatImage(card.image());
    fuzz::require(virtualcard::formatImage(virtualcard::parseImage(text, "made")) == text, "image",
                  "what the script made can be written and read");
    return 0;
}

// Profiles of tokens: an error of one line, or a script that makes of a blank card just what the profile says.
#include <algorithm>
#include <string_view>

#include "card_in_memory.h"
#include "codec.h"
#include "zelmo/failure.h"
#include "zelmo/script_build.h"

namespace {

void check_made(const zelmo::TokenPlan &plan, const virtualcard::Bytes &script) {
    virtualcard::CardImage blank;
    blank.lifeCycle = virtualcard::phase::initialised;
    virtualcard::VirtualCard card(blank);
    fuzz::require(fuzz::run_script(card, script) == 0, "profile", "its script runs");
    virtualcard::CardImage made = card.image();
    virtualcard::CardImage wanted = plan.image;
    wanted.lifeCycle = plan.phase.value_or(virtualcard::phase::initialised);
    // PINs come in an order of their own.
    const auto by_reference = [](const virtualcard::Secret &a, const virtualcard::Secret &b) {
        return a.reference < b.reference;
    };
    std::sort(made.pins.begin(), made.pins.end(), by_reference);
    std::sort(wanted.pins.begin(), wanted.pins.end(), by_reference);
    fuzz::require(virtualcard::formatImage(made) == virtualcard::formatImage(wanted), "profile",
                  "its script makes what it says");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string name = ZELMO_SOURCE_DIR "/tools/zelmo/demo/fuzz.json";
    try {
        const zelmo::TokenPlan plan = zelmo::parseProfile({reinterpret_cast<const char *>(data), size}, name);
        check_made(plan, zelmo::buildScript(plan, name));
    } catch (const zelmo::Failure &failure) {
        const std::string_view message = failure.what();
        fuzz::require(!message.empty() && message.find('\n') == std::string_view::npos, "profile",
                      "errors are one line");
    }
    return 0;
}

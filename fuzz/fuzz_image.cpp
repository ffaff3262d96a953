// Image files of the virtual card, and the card that results.
#include <array>
#include <string_view>

#include "codec.h"
#include "virtualcard/card.h"

namespace {

/// Select the token's application and its object directory, read them in both ways.
void use(virtualcard::CardImage image) {
    static constexpr std::array<uint8_t, 17> application = {0x00, 0xA4, 0x04, 0x00, 0x0C, 0xA0, 0x00, 0x00, 0x00,
                                                            0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
    static constexpr std::array<uint8_t, 8> directory = {0x00, 0xA4, 0x02, 0x00, 0x02, 0x50, 0x31, 0x00};
    static constexpr std::array<uint8_t, 5> read_binary = {0x00, 0xB0, 0x00, 0x00, 0x00};
    static constexpr std::array<uint8_t, 5> read_record = {0x00, 0xB2, 0x00, 0x02, 0x00};
    virtualcard::VirtualCard card(std::move(image));
    fuzz::require(card.atr().size() >= 2, "card", "it has an answer to reset");
    card.transmit(application);
    card.transmit(directory);
    card.transmit(read_binary);
    card.transmit(read_record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    virtualcard::CardImage image;
    try {
        image = virtualcard::parseImage({reinterpret_cast<const char *>(data), size}, "image");
    } catch (const virtualcard::ImageError &error) {
        const std::string_view message = error.what();
        fuzz::require(!message.empty() && message.find('\n') == std::string_view::npos, "image", "errors are one line");
        return 0;
    }
    const std::string text = virtualcard::formatImage(image);
    fuzz::require(virtualcard::formatImage(virtualcard::parseImage(text, "written")) == text, "image",
                  "what was read can be written and read");
    use(std::move(image));
    return 0;
}

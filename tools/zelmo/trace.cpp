#include "trace.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "text.h"

namespace zelmo {

namespace {

constexpr uint8_t get_response = 0xC0;

/// The instructions of ISO/IEC 7816-4 that handle files: selecting, reading, writing, creating, deleting.
constexpr std::array<uint8_t, 23> file_instructions = {0x04, 0x0E, 0x0F, 0x44, 0x70, 0xA0, 0xA1, 0xA2,
                                                       0xA4, 0xB0, 0xB1, 0xB2, 0xB3, 0xCA, 0xCB, 0xD0,
                                                       0xD6, 0xD7, 0xDC, 0xDD, 0xE0, 0xE2, 0xE4};

bool isOpen(uint8_t cla, uint8_t ins) {
    const bool proprietary = (cla & 0x80) != 0;
    return !proprietary &&
           std::find(file_instructions.begin(), file_instructions.end(), ins) != file_instructions.end();
}

std::string octetsText(std::span<const uint8_t> octets) {
    constexpr size_t width = 32;
    std::string text;
    for (size_t i = 0; i < octets.size(); i += width) {
        text += i == 0 ? " " : "\n        ";
        text += hex(octets.subspan(i, std::min(width, octets.size() - i)), " ");
    }
    return text;
}

std::string body(std::span<const uint8_t> octets, bool masked) {
    return !masked || octets.empty() ? octetsText(octets) : std::string(" [masked]");
}

}  // namespace

std::string CommandTrace::format(std::span<const uint8_t> command, std::span<const uint8_t> answer,
                                 double milliseconds) {
    if (command.empty() && answer.size() == 4)
        return fmt::format("card !! the script stopped at offset {}\n",
                           answer[0] << 24U | answer[1] << 16U | answer[2] << 8U | answer[3]);
    const bool has_header = command.size() >= 4;
    const bool continues = has_header && command[1] == get_response;
    masked_ = continues ? masked_ : !has_header || !isOpen(command[0], command[1]);

    const size_t header = std::min<size_t>(command.size(), 4);
    // Behind the header a single octet is a wanted length, more is data with its lengths.
    const bool has_data = command.size() > 5;
    const size_t status = std::min<size_t>(answer.size(), 2);
    return fmt::format("card >{}{}\ncard <{}{} ({:.2f} ms)\n", octetsText(command.first(header)),
                       body(command.subspan(header), masked_ && has_data),
                       body(answer.first(answer.size() - status), masked_), octetsText(answer.last(status)),
                       milliseconds);
}

}  // namespace zelmo

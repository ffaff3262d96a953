#include "virtualcard/command.h"

namespace virtualcard {

namespace {

constexpr size_t headerSize = 4;

size_t bigEndian(std::span<const uint8_t> octets) {
    size_t value = 0;
    for (const uint8_t octet : octets)
        value = value << 8u | octet;
    return value;
}

// An Le field of one or two octets, or none.
bool parseLe(std::span<const uint8_t> field, Command &command) {
    const size_t width = command.extended ? 2 : 1;
    if (field.empty())
        return true;
    if (field.size() != width)
        return false;
    const size_t le = bigEndian(field);
    command.everything = le == 0;
    command.ne = le != 0 ? le : size_t{1} << (8 * width);
    return true;
}

// What follows the header: Lc and data, or nothing of them, then Le.
bool parseBody(std::span<const uint8_t> body, Command &command) {
    const size_t width = command.extended ? 2 : 1;
    if (body.size() <= width)
        return parseLe(body, command);
    const size_t lc = bigEndian(body.first(width));
    body = body.subspan(width);
    if (lc == 0 || lc > body.size())
        return false;
    command.data = body.first(lc);
    return parseLe(body.subspan(lc), command);
}

}  // namespace

std::optional<Command> parseCommand(std::span<const uint8_t> octets) {
    if (octets.size() < headerSize)
        return std::nullopt;
    Command command;
    command.cla = octets[0];
    command.ins = octets[1];
    command.p1 = octets[2];
    command.p2 = octets[3];
    std::span<const uint8_t> body = octets.subspan(headerSize);
    // A zero with more behind it opens the extended form.
    if (body.size() > 1 && body[0] == 0) {
        command.extended = true;
        body = body.subspan(1);
        if (body.size() < 2)
            return std::nullopt;
    }
    if (!parseBody(body, command))
        return std::nullopt;
    return command;
}

}  // namespace virtualcard

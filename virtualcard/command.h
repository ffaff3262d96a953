// One command APDU, taken apart.
#ifndef VIRTUALCARD_COMMAND_H
#define VIRTUALCARD_COMMAND_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace virtualcard {

/// A command of any of the four cases. `data` points into the octets that it was read from.
struct Command {
    uint8_t cla = 0;
    uint8_t ins = 0;
    uint8_t p1 = 0;
    uint8_t p2 = 0;
    std::span<const uint8_t> data;
    size_t ne = 0;            ///< Octets of answer that are wanted at most; 0 when the command has no Le.
    bool extended = false;    ///< Whether its lengths have the extended form.
    bool everything = false;  ///< Whether Le is all zeros, so that as much as there is is wanted.
};

/// Takes a command apart; nothing when its lengths contradict each other.
std::optional<Command> parseCommand(std::span<const uint8_t> octets);

}  // namespace virtualcard

#endif

// Commands and answers as octets, and the codes that status words become.
#ifndef ZELMOCRD_APDU_H
#define ZELMOCRD_APDU_H

#include <cstdint>
#include <span>

#include "zelmocrd/transport.h"

namespace zelmocrd {

inline constexpr uint32_t shortDataMax = 255;
inline constexpr uint32_t shortAnswerMax = 256;
inline constexpr uint32_t extendedMax = 65535;
inline constexpr uint32_t extendedAnswerMax = 65536;

/// A command, of class 00 unless it says otherwise. `data` is the caller's.
struct Command {
    uint8_t cla = 0;
    uint8_t ins = 0;
    uint8_t p1 = 0;
    uint8_t p2 = 0;
    std::span<const uint8_t> data = {};
    uint32_t ne = 0;  ///< Octets of answer wanted at most; 0 for none.
};

/// What a command came to.
struct Answer {
    Bytes data;
    uint16_t sw = 0;
    uint32_t corrected = 0;  ///< The Ne that the card named in the place of the command's own; 0 for none.

    uint8_t sw1() const {
        return static_cast<uint8_t>(sw >> 8u);
    }
    uint8_t sw2() const {
        return static_cast<uint8_t>(sw & 0xFFu);
    }
};

/// The forms of commands that can be sent.
struct CommandForms {
    bool extendedLength = false;
    bool byCharacters = false;  ///< T=0: data goes one way, so that a command with data says nothing of its answer.
};

/// The octets of a command: short form where its lengths allow, else extended form where it can be sent. Throws
/// ServiceError for lengths that cannot be sent.
Bytes encode(const Command &command, CommandForms forms);

/// 9000 gives 0; 62xx and 63xx are warnings, 63Cx among them without its count; all else is an error.
uint32_t statusCode(uint16_t sw);

}  // namespace zelmocrd

#endif

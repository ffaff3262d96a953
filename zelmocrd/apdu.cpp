#include "zelmocrd/apdu.h"

#include "zelmocrd/error.h"

namespace zelmocrd {

namespace {

// A length of one octet, or of two; the greatest one of either width is written as zeros.
void appendLength(Bytes &out, uint32_t length, bool extended) {
    if (extended)
        out.push_back(static_cast<uint8_t>(length >> 8u & 0xFFu));
    out.push_back(static_cast<uint8_t>(length & 0xFFu));
}

}  // namespace

Bytes encode(const Command &command, CommandForms forms) {
    const bool extended = command.data.size() > shortDataMax || command.ne > shortAnswerMax;
    require(!extended || forms.extendedLength);
    require(command.data.size() <= extendedMax && command.ne <= extendedAnswerMax);
    Bytes out;
    out.reserve(command.data.size() + 9);
    out.insert(out.end(), {command.cla, command.ins, command.p1, command.p2});
    if (extended)
        out.push_back(0x00);
    if (!command.data.empty()) {
        appendLength(out, static_cast<uint32_t>(command.data.size()), extended);
        out.insert(out.end(), command.data.begin(), command.data.end());
    }
    if (forms.byCharacters) {
        // The fifth octet is always there.
        if (command.data.empty())
            appendLength(out, command.ne, false);
    } else if (command.ne != 0) {
        appendLength(out, command.ne, extended);
    }
    return out;
}

uint32_t statusCode(uint16_t sw) {
    constexpr uint32_t warning = 0xA0110000;
    constexpr uint32_t error = 0xE0110000;
    const unsigned sw1 = sw >> 8u;
    if (sw == 0x9000)
        return code::ok;
    if ((sw & 0xFFF0u) == 0x63C0)
        return warning | 0x6300u;
    return (sw1 == 0x62 || sw1 == 0x63 ? warning : error) | sw;
}

}  // namespace zelmocrd

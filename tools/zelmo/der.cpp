#include "der.h"

namespace zelmo {

std::optional<DerElement> takeElement(Octets &input) {
    if (input.size() < 2)
        return std::nullopt;
    size_t header = 2;
    size_t length = input[1];
    if (length >= 0x80) {
        const size_t octets = length & 0x7F;
        if (octets == 0 || octets > 4 || input.size() < 2 + octets)
            return std::nullopt;
        length = 0;
        for (; header < 2 + octets; ++header)
            length = length << 8 | input[header];
    }
    if (length > input.size() - header)
        return std::nullopt;
    const DerElement element = {input[0], input.subspan(header, length), input.first(header + length)};
    input = input.subspan(header + length);
    return element;
}

}  // namespace zelmo

// Taking DER apart where the token library keeps the bytes as they are.
#ifndef ZELMO_DER_H
#define ZELMO_DER_H

#include <cstdint>
#include <optional>
#include <span>

namespace zelmo {

using Octets = std::span<const uint8_t>;

/// One element: its first octet, its content, and the whole of it.
struct DerElement {
    uint8_t tag = 0;
    Octets content;
    Octets whole;
};

/// Takes the element at the front of `input`, which is moved behind it; nothing, with `input` as it was, when there is
/// no whole element of definite length.
std::optional<DerElement> takeElement(Octets &input);

}  // namespace zelmo

#endif

#include "zelmocrd/atr.h"

#include <algorithm>

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

// The historical bytes stand behind T0 and the interface bytes: the high nibble of T0 and of each TD says which of
// TA, TB, TC and TD follow (ISO/IEC 7816-3).
Octets historicalBytes(Octets atr) {
    if (atr.size() < 2)
        return {};
    const size_t count = atr[1] & 0x0Fu;
    unsigned present = atr[1] >> 4u;
    size_t at = 2;
    while (present != 0) {
        for (const unsigned bit : {1u, 2u, 4u})
            at += (present & bit) != 0 ? 1 : 0;
        if ((present & 8u) == 0)
            break;
        if (at >= atr.size())
            return {};
        present = atr[at++] >> 4u;
    }
    return at + count <= atr.size() ? atr.subspan(at, count) : Octets();
}

}  // namespace

CardAbilities abilitiesFromAtr(Octets atr) {
    constexpr uint8_t withStatusBehind = 0x00;
    constexpr uint8_t objectsOnly = 0x80;
    constexpr size_t statusSize = 3;
    constexpr unsigned cardCapabilities = 7;
    Octets objects = historicalBytes(atr);
    if (objects.empty() || (objects[0] != withStatusBehind && objects[0] != objectsOnly))
        return {};
    const size_t behind = objects[0] == withStatusBehind ? statusSize : 0;
    objects = objects.subspan(1);
    objects = objects.first(objects.size() - std::min(behind, objects.size()));
    while (!objects.empty()) {
        const unsigned tag = objects[0] >> 4u;
        const size_t length = objects[0] & 0x0Fu;
        if (length >= objects.size())
            return {};
        if (tag == cardCapabilities && length >= 3)
            return {(objects[3] & 0x40u) != 0, (objects[3] & 0x80u) != 0};
        objects = objects.subspan(1 + length);
    }
    return {};
}

}  // namespace zelmocrd

// Words from octets and back, in both orders.
#ifndef ZELMOP15_CSP_WORDS_H
#define ZELMOP15_CSP_WORDS_H

#include <cstdint>

namespace csp {

constexpr uint32_t load_big32(const uint8_t *octets) {
    return uint32_t{octets[0]} << 24 | uint32_t{octets[1]} << 16 | uint32_t{octets[2]} << 8 | uint32_t{octets[3]};
}

constexpr void store_big32(uint8_t *octets, uint32_t word) {
    octets[0] = static_cast<uint8_t>(word >> 24);
    octets[1] = static_cast<uint8_t>(word >> 16);
    octets[2] = static_cast<uint8_t>(word >> 8);
    octets[3] = static_cast<uint8_t>(word);
}

constexpr uint32_t load_little32(const uint8_t *octets) {
    return uint32_t{octets[3]} << 24 | uint32_t{octets[2]} << 16 | uint32_t{octets[1]} << 8 | uint32_t{octets[0]};
}

constexpr void store_little32(uint8_t *octets, uint32_t word) {
    octets[0] = static_cast<uint8_t>(word);
    octets[1] = static_cast<uint8_t>(word >> 8);
    octets[2] = static_cast<uint8_t>(word >> 16);
    octets[3] = static_cast<uint8_t>(word >> 24);
}

constexpr uint64_t load_big64(const uint8_t *octets) {
    return uint64_t{load_big32(octets)} << 32 | load_big32(octets + 4);
}

constexpr void store_big64(uint8_t *octets, uint64_t word) {
    store_big32(octets, static_cast<uint32_t>(word >> 32));
    store_big32(octets + 4, static_cast<uint32_t>(word));
}

constexpr uint32_t load_big16(const uint8_t *octets) {
    return uint32_t{octets[0]} << 8 | uint32_t{octets[1]};
}

constexpr void store_big16(uint8_t *octets, uint32_t word) {
    octets[0] = static_cast<uint8_t>(word >> 8);
    octets[1] = static_cast<uint8_t>(word);
}

constexpr uint32_t load_little16(const uint8_t *octets) {
    return uint32_t{octets[0]} | uint32_t{octets[1]} << 8;
}

constexpr void store_little16(uint8_t *octets, uint32_t word) {
    octets[0] = static_cast<uint8_t>(word);
    octets[1] = static_cast<uint8_t>(word >> 8);
}

}  // namespace csp

#endif

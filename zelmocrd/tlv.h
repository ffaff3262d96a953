// Reads BER-TLV objects that a card made, none of whose lengths can be trusted.
#ifndef ZELMOCRD_TLV_H
#define ZELMOCRD_TLV_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zelmocrd {

/// The header of an object: its tag octets as a number, and the sizes of header and value.
struct TlvHeader {
    uint32_t tag = 0;
    size_t headerSize = 0;
    size_t valueSize = 0;
};

/// Reads the header at the start of `octets`, which need not hold the value. Nothing for a header that is cut off, a
/// tag over 3 octets, a length over 4 octets or an indefinite one.
std::optional<TlvHeader> parseTlvHeader(std::span<const uint8_t> octets);

/// An object and its value inside the octets that it was read from.
struct Tlv {
    uint32_t tag = 0;
    std::span<const uint8_t> value;
};

/// Takes the next object off the front of `octets`, passing over 00 and FF between objects. Nothing at the end or when
/// what stands there is no object that fits.
std::optional<Tlv> takeTlv(std::span<const uint8_t> &octets);

/// The value of the first object `tag` among `octets`.
std::optional<std::span<const uint8_t>> findTlv(std::span<const uint8_t> octets, uint32_t tag);

/// Up to 4 octets as a big-endian number; nothing for more or for none.
std::optional<uint32_t> bigEndian(std::span<const uint8_t> octets);

}  // namespace zelmocrd

#endif

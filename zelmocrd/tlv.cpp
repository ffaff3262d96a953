#include "zelmocrd/tlv.h"

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

// The number of octets of the tag, or 0.
size_t tagSize(Octets octets) {
    constexpr size_t most = 3;
    if (octets.empty())
        return 0;
    if ((octets[0] & 0x1Fu) != 0x1F)
        return 1;
    for (size_t i = 1; i < most && i < octets.size(); i++)
        if ((octets[i] & 0x80u) == 0)
            return i + 1;
    return 0;
}

}  // namespace

std::optional<uint32_t> bigEndian(Octets octets) {
    if (octets.empty() || octets.size() > sizeof(uint32_t))
        return std::nullopt;
    uint32_t value = 0;
    for (const uint8_t octet : octets)
        value = value << 8u | octet;
    return value;
}

std::optional<TlvHeader> parseTlvHeader(Octets octets) {
    const size_t tagEnd = tagSize(octets);
    if (tagEnd == 0 || octets.size() <= tagEnd)
        return std::nullopt;
    TlvHeader header;
    header.tag = *bigEndian(octets.first(tagEnd));
    const uint8_t first = octets[tagEnd];
    if (first < 0x80) {
        header.headerSize = tagEnd + 1;
        header.valueSize = first;
        return header;
    }
    const size_t count = first & 0x7Fu;
    header.headerSize = tagEnd + 1 + count;
    if (header.headerSize > octets.size())
        return std::nullopt;
    const std::optional<uint32_t> length = bigEndian(octets.subspan(tagEnd + 1, count));
    if (!length)
        return std::nullopt;
    header.valueSize = *length;
    return header;
}

std::optional<Tlv> takeTlv(Octets &octets) {
    while (!octets.empty() && (octets[0] == 0x00 || octets[0] == 0xFF))
        octets = octets.subspan(1);
    const std::optional<TlvHeader> header = parseTlvHeader(octets);
    if (!header || octets.size() - header->headerSize < header->valueSize)
        return std::nullopt;
    const Tlv object = {header->tag, octets.subspan(header->headerSize, header->valueSize)};
    octets = octets.subspan(header->headerSize + header->valueSize);
    return object;
}

std::optional<Octets> findTlv(Octets octets, uint32_t tag) {
    while (const std::optional<Tlv> object = takeTlv(octets))
        if (object->tag == tag)
            return object->value;
    return std::nullopt;
}

}  // namespace zelmocrd

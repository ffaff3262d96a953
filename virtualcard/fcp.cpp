#include "virtualcard/fcp.h"

#include <cstdint>

namespace virtualcard {

namespace {

// Tags and descriptor octets of ISO/IEC 7816-4.
constexpr uint8_t tagTemplate = 0x62;
constexpr uint8_t tagSize = 0x80;
constexpr uint8_t tagDescriptor = 0x82;
constexpr uint8_t tagFileId = 0x83;
constexpr uint8_t tagName = 0x84;
constexpr uint8_t tagShortId = 0x88;
constexpr uint8_t tagLifeCycle = 0x8A;
constexpr uint8_t octetUnits = 0x21;

Bytes twoOctets(size_t value) {
    return {static_cast<uint8_t>(value >> 8u & 0xFFu), static_cast<uint8_t>(value & 0xFFu)};
}

Bytes descriptor(const File &file) {
    Bytes value = {descriptorOctet(file.kind)};
    if (file.kind == FileKind::linearVariable || file.kind == FileKind::tlvRecords) {
        const Bytes size = twoOctets(file.maxRecord);
        value.insert(value.end(), {octetUnits, size[0], size[1], static_cast<uint8_t>(file.records.size())});
    }
    return value;
}

uint8_t lifeCycleOctet(FileState state) {
    switch (state) {
        case FileState::deactivated:
            return 0x04;
        case FileState::terminated:
            return 0x0C;
        case FileState::created:
            return 0x03;
        case FileState::activated:
            break;
    }
    return 0x05;
}

}  // namespace

uint8_t descriptorOctet(FileKind kind) {
    switch (kind) {
        case FileKind::transparent:
            return 0x01;
        case FileKind::linearVariable:
            return 0x04;
        case FileKind::tlvRecords:
            return 0x05;
        case FileKind::df:
            break;
    }
    return 0x38;
}

std::optional<Object> takeObject(std::span<const uint8_t> &octets) {
    if (octets.size() < 2)
        return std::nullopt;
    size_t length = octets[1];
    size_t header = 2;
    if (length > 0x80 && length <= 0x82) {
        header += length - 0x80;
        if (octets.size() < header)
            return std::nullopt;
        length = header == 3 ? octets[2] : static_cast<size_t>(octets[2] << 8 | octets[3]);
    } else if (length >= 0x80) {
        return std::nullopt;
    }
    if (octets.size() - header < length)
        return std::nullopt;
    const Object object = {octets[0], octets.subspan(header, length)};
    octets = octets.subspan(header + length);
    return object;
}

void appendObject(Bytes &out, uint8_t tag, const Bytes &value) {
    out.push_back(tag);
    const Bytes length = twoOctets(value.size());
    if (value.size() > 0xFF)
        out.insert(out.end(), {0x82, length[0]});
    else if (value.size() > 0x7F)
        out.push_back(0x81);
    out.push_back(length[1]);
    out.insert(out.end(), value.begin(), value.end());
}

Bytes fileControlParameters(const File &file) {
    Bytes parameters;
    if (file.kind == FileKind::transparent)
        appendObject(parameters, tagSize, twoOctets(file.data.size()));
    appendObject(parameters, tagDescriptor, descriptor(file));
    appendObject(parameters, tagFileId, twoOctets(file.fid));
    if (!file.name.empty())
        appendObject(parameters, tagName, file.name);
    // An empty object says that there is none; without one the identifier's low bits would count.
    if (file.kind != FileKind::df)
        appendObject(parameters, tagShortId, file.sfi ? Bytes{static_cast<uint8_t>(*file.sfi << 3u)} : Bytes{});
    appendObject(parameters, tagLifeCycle, {lifeCycleOctet(file.state)});
    Bytes fcp;
    appendObject(fcp, tagTemplate, parameters);
    return fcp;
}

}  // namespace virtualcard

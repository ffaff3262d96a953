// READ BINARY and UPDATE BINARY. The even forms reach the first 32 KB of a file, the odd ones all of it.
#include <algorithm>

#include "virtualcard/card.h"
#include "virtualcard/fcp.h"

namespace virtualcard {

namespace {

constexpr uint8_t tagOffset = 0x54;
constexpr uint8_t tagData = 0x53;

// Takes the object `tag` off the front of `octets`.
bool takeObject(std::span<const uint8_t> &octets, uint8_t tag, std::span<const uint8_t> &value) {
    const std::optional<Object> object = virtualcard::takeObject(octets);
    value = object ? object->value : value;
    return object && object->tag == tag;
}

// How many octets of value fit into an object of `room` octets.
size_t valueRoom(size_t room) {
    for (const size_t header : {size_t{2}, size_t{3}, size_t{4}}) {
        const size_t most = header == 2 ? 0x7F : header == 3 ? 0xFF : 0xFFFF;
        if (room <= header)
            return 0;
        if (room - header <= most)
            return room - header;
    }
    return 0xFFFF;
}

Bytes slice(const Bytes &data, size_t offset, size_t length) {
    const auto from = data.begin() + static_cast<std::ptrdiff_t>(offset);
    return {from, from + static_cast<std::ptrdiff_t>(std::min(length, data.size() - offset))};
}

}  // namespace

uint16_t VirtualCard::openBinary(const Command &command, Operation operation, size_t &offset) {
    constexpr uint8_t shortIdentifier = 0x80;
    offset = static_cast<size_t>(command.p1 << 8 | command.p2);
    if ((command.p1 & shortIdentifier) != 0) {
        if ((command.p1 & 0x60u) != 0)
            return sw::wrongParameters;
        offset = command.p2;
        if (const uint16_t status = selectShort(command.p1 & 0x1Fu); status != sw::ok)
            return status;
    }
    if (ef_ == nullptr)
        return sw::noCurrentFile;
    return ef_->kind == FileKind::transparent ? usable(*ef_, operation) : sw::wrongFileKind;
}

uint16_t VirtualCard::openBinaryOdd(const Command &command, Operation operation, size_t &offset,
                                    std::span<const uint8_t> &data) {
    if (command.p1 != 0 || command.p2 != 0)
        return sw::wrongParameters;
    data = command.data;
    std::span<const uint8_t> field;
    if (!takeObject(data, tagOffset, field) || field.empty() || field.size() > 4)
        return sw::wrongData;
    const uint16_t status = openBinary(command, operation, offset);
    offset = 0;
    for (const uint8_t octet : field)
        offset = offset << 8u | octet;
    return status;
}

VirtualCard::Answer VirtualCard::readBinary(const Command &command) {
    if (command.ne == 0 || !command.data.empty())
        return sw::wrongLength;
    size_t offset = 0;
    if (const uint16_t status = openBinary(command, Operation::read, offset); status != sw::ok)
        return status;
    if (offset >= ef_->data.size())
        return sw::outsideFile;
    const bool ended = ef_->data.size() - offset < command.ne;
    return {slice(ef_->data, offset, command.ne), ended ? sw::endOfFile : sw::ok};
}

VirtualCard::Answer VirtualCard::readBinaryOdd(const Command &command) {
    size_t offset = 0;
    std::span<const uint8_t> rest;
    if (command.ne < 3)
        return sw::wrongLength;
    if (const uint16_t status = openBinaryOdd(command, Operation::read, offset, rest); status != sw::ok)
        return status;
    if (!rest.empty())
        return sw::wrongData;
    if (offset >= ef_->data.size())
        return sw::outsideFile;
    const size_t length = valueRoom(command.ne);
    Bytes answer;
    appendObject(answer, tagData, slice(ef_->data, offset, length));
    return {std::move(answer), ef_->data.size() - offset < length ? sw::endOfFile : sw::ok};
}

uint16_t VirtualCard::overwrite(size_t offset, std::span<const uint8_t> data) {
    if (offset > ef_->data.size())
        return sw::outsideFile;
    if (data.size() > ef_->data.size() - offset)
        return sw::noSpace;
    std::copy(data.begin(), data.end(), ef_->data.begin() + static_cast<std::ptrdiff_t>(offset));
    changed_ = true;
    return sw::ok;
}

VirtualCard::Answer VirtualCard::updateBinary(const Command &command) {
    if (command.data.empty())
        return sw::wrongLength;
    size_t offset = 0;
    const uint16_t status = openBinary(command, Operation::update, offset);
    return status == sw::ok ? overwrite(offset, command.data) : status;
}

VirtualCard::Answer VirtualCard::updateBinaryOdd(const Command &command) {
    size_t offset = 0;
    std::span<const uint8_t> rest;
    std::span<const uint8_t> value;
    if (const uint16_t status = openBinaryOdd(command, Operation::update, offset, rest); status != sw::ok)
        return status;
    if (!takeObject(rest, tagData, value) || !rest.empty() || value.empty())
        return sw::wrongData;
    return overwrite(offset, value);
}

}  // namespace virtualcard

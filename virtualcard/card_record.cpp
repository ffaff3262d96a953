// READ, UPDATE and APPEND RECORD. A record's identifier is its first octet.
#include <algorithm>
#include <iterator>

#include "virtualcard/card.h"

namespace virtualcard {

namespace {

// The low three bits of P2.
enum RecordMode : uint8_t { first = 0, last = 1, next = 2, previous = 3, byNumber = 4 };

uint8_t shortIdentifier(const Command &command) {
    return command.p2 >> 3u;
}

uint8_t recordMode(const Command &command) {
    return command.p2 & 0x07u;
}

}  // namespace

uint16_t VirtualCard::openRecords(uint8_t sfi, Operation operation) {
    if (sfi == 31)
        return sw::wrongParameters;
    if (sfi != 0) {
        if (const uint16_t status = selectShort(sfi); status != sw::ok)
            return status;
    }
    if (ef_ == nullptr)
        return sw::noCurrentFile;
    const bool hasRecords = ef_->kind == FileKind::linearVariable || ef_->kind == FileKind::tlvRecords;
    return hasRecords ? usable(*ef_, operation) : sw::wrongFileKind;
}

// Identifier 0 fits any record. Only a search by identifier moves the record pointer.
VirtualCard::RecordPlace VirtualCard::findRecord(uint8_t p1, uint8_t mode) {
    const std::vector<Bytes> &records = ef_->records;
    if (mode == byNumber) {
        const size_t index = p1 != 0 ? p1 - size_t{1} : record_.value_or(records.size());
        return {index < records.size() ? sw::ok : sw::recordNotFound, index};
    }
    if (mode > byNumber)
        return {sw::wrongParameters, 0};
    const auto fits = [p1](const Bytes &record) { return p1 == 0 || (!record.empty() && record[0] == p1); };
    const bool forward = mode == first || mode == next;
    std::ptrdiff_t step = forward ? 1 : -1;
    std::ptrdiff_t index = forward ? 0 : std::ssize(records) - 1;
    if (record_ && (mode == next || mode == previous))
        index = static_cast<std::ptrdiff_t>(*record_) + step;
    for (; index >= 0 && index < std::ssize(records); index += step) {
        if (fits(records[static_cast<size_t>(index)])) {
            record_ = static_cast<size_t>(index);
            return {sw::ok, *record_};
        }
    }
    return {sw::recordNotFound, 0};
}

VirtualCard::Answer VirtualCard::readRecord(const Command &command) {
    if (command.ne == 0 || !command.data.empty())
        return sw::wrongLength;
    if (const uint16_t status = openRecords(shortIdentifier(command), Operation::read); status != sw::ok)
        return status;
    const RecordPlace place = findRecord(command.p1, recordMode(command));
    if (place.status != sw::ok)
        return place.status;
    Bytes record = ef_->records[place.index];
    if (command.everything)
        return record;
    const uint16_t status = record.size() < command.ne ? sw::endOfFile : sw::ok;
    record.resize(std::min(record.size(), command.ne));
    return {std::move(record), status};
}

VirtualCard::Answer VirtualCard::updateRecord(const Command &command) {
    if (command.data.empty())
        return sw::wrongLength;
    if (const uint16_t status = openRecords(shortIdentifier(command), Operation::update); status != sw::ok)
        return status;
    if (command.data.size() > ef_->maxRecord)
        return sw::noSpace;
    const RecordPlace place = findRecord(command.p1, recordMode(command));
    if (place.status != sw::ok)
        return place.status;
    ef_->records[place.index].assign(command.data.begin(), command.data.end());
    changed_ = true;
    return sw::ok;
}

VirtualCard::Answer VirtualCard::appendRecord(const Command &command) {
    if (command.p1 != 0 || recordMode(command) != 0)
        return sw::wrongParameters;
    if (command.data.empty())
        return sw::wrongLength;
    if (const uint16_t status = openRecords(shortIdentifier(command), Operation::append); status != sw::ok)
        return status;
    if (command.data.size() > ef_->maxRecord || ef_->records.size() >= ef_->maxRecords)
        return sw::noSpace;
    ef_->records.emplace_back(command.data.begin(), command.data.end());
    record_ = ef_->records.size() - 1;
    changed_ = true;
    return sw::ok;
}

}  // namespace virtualcard

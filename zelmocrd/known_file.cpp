#include "zelmocrd/known_file.h"

#include <algorithm>

namespace zelmocrd {

namespace {

bool isOneOf(uint8_t ins, std::initializer_list<uint8_t> list) {
    return std::find(list.begin(), list.end(), ins) != list.end();
}

bool readsCurrentFile(const Command &command) {
    constexpr uint8_t byShortIdentifier = 0x80;
    return isOneOf(command.ins, {0xB0, 0xB1}) && (command.p1 & byShortIdentifier) == 0;
}

// Of the standard's class and without a short identifier in P2, which would select.
bool handlesRecords(const Command &command) {
    return isOneOf(command.ins, {0xB2, 0xDC, 0xE2}) && command.p2 <= 7;
}

// Commands on secrets, data objects and random numbers, and UPDATE BINARY, leave the selection alone.
bool keepsSelection(const Command &command) {
    return isOneOf(command.ins, {0x20, 0x24, 0x2C, 0x82, 0x84, 0xCA}) ||
           (command.ins == 0xD6 && (command.p1 & 0x80u) == 0) || command.ins == 0xD7;
}

// The end of a file or of its records is an answer like others. After an error anything may be selected.
bool isError(uint16_t sw) {
    constexpr uint16_t outsideFile = 0x6B00, noRecord = 0x6A83;
    const unsigned sw1 = sw >> 8u;
    return sw1 != 0x90 && sw1 != 0x62 && sw1 != 0x63 && sw != outsideFile && sw != noRecord;
}

bool equal(KnownFile::Octets a, const Bytes &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

}  // namespace

void KnownFile::forget() {
    selected_ = false;
    info_.reset();
    forgetStart();
}

void KnownFile::note(const Command &command, uint16_t sw) {
    const bool reads = readsCurrentFile(command);
    if (!reads)
        forgetStart();
    if (handlesRecords(command))
        untouched_ = false;
    else if (!reads && !keepsSelection(command))
        forget();
    if (command.cla != 0 || isError(sw))
        forget();
}

void KnownFile::selected(Octets name, Octets path, const FileInfo *info) {
    selected_ = untouched_ = true;
    name_.assign(name.begin(), name.end());
    path_.assign(path.begin(), path.end());
    info_ = info != nullptr ? std::optional(*info) : std::nullopt;
    forgetStart();
}

bool KnownFile::isSelected(Octets name, Octets path) const {
    return selected_ && untouched_ && equal(name, name_) && equal(path, path_);
}

// An EF leaves the DF it lies in the current one. Whether a file is an EF its selection may have told.
bool KnownFile::isInside(Octets name) const {
    const bool efInside = path_.size() == 2 && info_ && info_->fileType != 0;
    return selected_ && !name.empty() && equal(name, name_) && (path_.empty() || efInside);
}

void KnownFile::keepStart(Octets octets, bool whole) {
    start_.emplace(Bytes(octets.begin(), octets.end()));
    whole_ = whole;
}

}  // namespace zelmocrd

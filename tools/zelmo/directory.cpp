#include "directory.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <span>

#include "failure.h"
#include "text.h"

namespace zelmo {

namespace {

using Octets = std::span<const uint8_t>;

constexpr uint32_t transparent = 1;
constexpr uint32_t linear_records = 4;
constexpr uint32_t tlv_records = 5;
constexpr uint32_t record_not_found = 0xE0116A83;
constexpr size_t greatest_file = 32768;
constexpr int most_records = 254;  // a card has no more, unless it is out of order

/// The AIDs of PKCS #15 and of ISO/IEC 7816-15; cards may add octets of their own to either.
constexpr std::array<uint8_t, 12> pkcs15_aid = {0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
constexpr std::array<uint8_t, 5> iso_aid = {0xE8, 0x28, 0xBD, 0x08, 0x0F};

bool startsWith(Octets octets, Octets start) {
    return octets.size() >= start.size() && std::equal(start.begin(), start.end(), octets.begin());
}

bool isPkcs15(const Application &application) {
    if (application->aid == nullptr)
        return false;
    const Octets aid(application->aid->data, application->aid->len);
    return startsWith(aid, pkcs15_aid) || startsWith(aid, iso_aid);
}

/// Decodes one entry from the front of `input`, which moves behind it. False when there is none or it is malformed.
bool takeApplication(Octets &input, Directory &directory) {
    DIRRecord *record = nullptr;
    const uint8_t *end = asn1_DIRRecord_d(input.data(), input.data() + input.size(), 0, &record, 0);
    Application application(record);
    if (end == nullptr)
        return false;
    directory.applications.push_back(std::move(application));
    input = input.subspan(static_cast<size_t>(end - input.data()));
    return true;
}

void readTransparent(const Card &card, Directory &directory) {
    std::vector<uint8_t> buffer(greatest_file);
    auto length = static_cast<uint32_t>(buffer.size());
    if (const uint32_t raw = scard_ReadEFBinary(card.handle(), nullptr, 0, buffer.data(), &length, 0); raw != 0)
        throw cardFailure("cannot read EF.DIR", raw);
    Octets rest = Octets(buffer).first(std::min<size_t>(length, buffer.size()));
    while (!rest.empty() && rest[0] != 0) {
        const size_t offset = length - rest.size();
        if (!takeApplication(rest, directory)) {
            directory.unreadable.push_back(fmt::format("octets from {} on", offset));
            return;
        }
    }
}

/// Some cards put a header of two octets before an entry and leave its tag a plain SEQUENCE's.
Octets repaired(std::span<uint8_t> record) {
    if (record.size() <= 2 || record[0] != 0 || record[2] != 0x30)
        return record;
    record[2] = 0x61;
    return record.subspan(2);
}

void readRecords(const Card &card, Directory &directory) {
    for (int number = 1; number <= most_records; ++number) {
        std::array<uint8_t, 256> buffer{};
        auto length = static_cast<uint32_t>(buffer.size());
        const uint32_t raw = scardcmd_ReadRecord(card.handle(), 0, 0, 2, 0, buffer.data(), &length);
        if (raw == record_not_found)
            return;
        if (raw != 0)
            throw cardFailure(fmt::format("cannot read record {} of EF.DIR", number), raw);
        Octets entry = repaired(std::span(buffer).first(std::min<size_t>(length, buffer.size())));
        const bool free_record = std::all_of(entry.begin(), entry.end(), [](uint8_t octet) { return octet == 0; });
        if (!free_record && !takeApplication(entry, directory))
            directory.unreadable.push_back(fmt::format("record {}", number));
    }
}

asn1_OctetString filterEntry(Octets aid) {
    return {static_cast<uint32_t>(aid.size()), const_cast<uint8_t *>(aid.data())};
}

/// The first application with one of these AIDs, found by the library; null when there is none, or when the library
/// cannot read on to it.
Application findApplication(const Card &card, std::initializer_list<Octets> aids) {
    std::vector<asn1_OctetString> filter;
    for (const Octets aid : aids)
        filter.push_back(filterEntry(aid));
    filter.push_back({0, nullptr});
    uintptr_t cursor = 0;
    DIRRecord *found = nullptr;
    uint32_t raw = 0;
    const uint32_t code =
        pkcs15_ScEnumerateDirectories(card.handle(), ENUM_FIRST, filter.data(), &cursor, &found, &raw);
    if (cursor != 0)
        pkcs15_ScEnumerateDirectories(card.handle(), ENUM_CLOSE, nullptr, &cursor, nullptr, &raw);
    return Application(code == 0 ? found : nullptr);
}

/// The first of all applications that `matches`; null when there is none.
template <class Matches>
Application searchApplication(const Card &card, Matches matches) {
    Directory directory = readDirectory(card);
    for (Application &application : directory.applications) {
        if (matches(application))
            return std::move(application);
    }
    return nullptr;
}

Application builtInApplication() {
    Application application(pkcs15_GetDefaultDIR());
    if (!application)
        throw libraryFailure("cannot use the built-in directory", PKCS15_E_NO_MEMORY, 0);
    return application;
}

Choice chooseByAid(const Card &card, Octets aid) {
    Choice choice{findApplication(card, {aid})};
    if (!choice.application)
        choice.application = searchApplication(card, [aid](const Application &a) {
            return a->aid != nullptr && a->aid->len == aid.size() && startsWith(Octets(a->aid->data, a->aid->len), aid);
        });
    if (!choice.application)
        throw Failure(Exit::notFound,
                      fmt::format("the card has no application {}; see 'zelmo apps' for what it holds", hex(aid)));
    return choice;
}

}  // namespace

Directory readDirectory(const Card &card) {
    Directory directory;
    const std::array<uint8_t, 2> ef_dir = {0x2F, 0x00};
    FileInfo info{};
    const uint32_t raw = scardcmd_SelectFile(card.handle(), 8, ef_dir.data(), ef_dir.size(), &info);
    if (raw == 0xE0116A82)
        return directory;
    if (raw != 0)
        throw cardFailure("cannot select EF.DIR", raw);
    directory.present = true;
    if (info.fileType == transparent)
        readTransparent(card, directory);
    else if (info.fileType == linear_records || info.fileType == tlv_records)
        readRecords(card, directory);
    else
        throw Failure(Exit::malformed,
                      "cannot read EF.DIR: it is neither transparent nor made of records; "
                      "repeat with --trace to see what the card says of it");
    return directory;
}

Choice chooseApplication(const Card &card, std::vector<uint8_t> aid) {
    if (!aid.empty())
        return chooseByAid(card, aid);
    Choice choice{findApplication(card, {pkcs15_aid, iso_aid})};
    if (!choice.application)
        choice.application = searchApplication(card, isPkcs15);
    if (!choice.application)
        choice = {builtInApplication(), true};
    return choice;
}

}  // namespace zelmo

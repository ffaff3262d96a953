#include "profile.h"

#include "profile_objects.h"

namespace zelmo {

namespace {

using virtualcard::AccessCondition;
using virtualcard::CardImage;
using virtualcard::File;
using virtualcard::FileKind;
using virtualcard::Operation;

const AccessCondition never = {AccessCondition::Kind::never, 0, {}};
const AccessCondition with_pin = {AccessCondition::Kind::pin, pin_reference, {}};
constexpr size_t spare_records = 2;

File elementaryFile(uint16_t fid, FileKind kind, const AccessCondition &update) {
    File file;
    file.fid = fid;
    file.kind = kind;
    file.access[Operation::update] = update;
    return file;
}

/// A transparent file with some room behind its content.
File transparent(uint16_t fid, Bytes content, size_t room) {
    File file = elementaryFile(fid, FileKind::transparent, never);
    file.data = std::move(content);
    file.data.resize(file.data.size() + room);
    return file;
}

File transparentDirectory(const ObjectDirectory &directory) {
    Bytes content;
    for (const Bytes &object : directory.objects)
        content.insert(content.end(), object.begin(), object.end());
    return transparent(directory.fid, content, 64);
}

/// Records of id, length and object, and free ones behind them.
File recordDirectory(const ObjectDirectory &directory) {
    File file = elementaryFile(directory.fid, FileKind::tlvRecords, with_pin);
    for (const Bytes &object : directory.objects) {
        Bytes record = {static_cast<uint8_t>(file.records.size() + 1), static_cast<uint8_t>(object.size())};
        record.insert(record.end(), object.begin(), object.end());
        file.records.push_back(record);
    }
    file.records.insert(file.records.end(), spare_records, Bytes{0, 0});
    return file;
}

CardImage emptyImage(const Bytes &serial) {
    CardImage image;
    image.serial = serial;
    return image;
}

/// A token whose directory files `directoryFile` makes.
CardImage token(const Bytes &serial, bool records, File (*directoryFile)(const ObjectDirectory &directory)) {
    CardImage image = emptyImage(serial);
    File ef_dir = elementaryFile(0x2F00, records ? FileKind::linearVariable : FileKind::transparent, never);
    const Bytes entry = applicationTemplate(records ? "Zelmop demo token" : "Zelmop demo eID");
    if (records)
        ef_dir.records = {entry};
    else
        ef_dir.data = entry;

    File application;
    application.fid = 0x5015;
    application.name = {0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
    const auto directories = objectDirectories();
    application.files.push_back(transparent(0x5031, objectDirectoryFile(directories), 32));
    application.files.push_back(transparent(0x5032, tokenInfo(serial, records), records ? 32 : 0));
    for (const ObjectDirectory &directory : directories)
        application.files.push_back(directoryFile(directory));
    for (File &file : objectFiles())
        application.files.push_back(std::move(file));

    image.root.files = {ef_dir, application};
    image.pins = pins();
    image.keys = keys();
    return image;
}

}  // namespace

CardImage eidCard() {
    return token({0x5A, 0x45, 0x4C, 0x4D, 0x4F, 0x50, 0x15, 0x01}, false, transparentDirectory);
}

CardImage recordsCard() {
    return token({0x5A, 0x45, 0x4C, 0x4D, 0x4F, 0x50, 0x15, 0x02}, true, recordDirectory);
}

CardImage blankCard() {
    CardImage image = emptyImage({0x5A, 0x45, 0x4C, 0x4D, 0x4F, 0x50, 0x15, 0x10});
    image.lifeCycle = virtualcard::phase::delivered;
    return image;
}

CardImage emptyCard() {
    return emptyImage({0x5A, 0x45, 0x4C, 0x4D, 0x4F, 0x50, 0x15, 0x00});
}

const std::vector<Profile> &profiles() {
    static const std::vector<Profile> all = {
        {"eid", "a token in transparent files, to be read only: PIN, PUK, keys, certificates, data", eidCard},
        {"records", "the same objects in record files, which can be changed after the PIN", recordsCard},
        {"empty", "a card with nothing but its root", emptyCard},
        {"blank", "a card as it is delivered, to be made a token by a script", blankCard},
    };
    return all;
}

}  // namespace zelmo

// The objects of the demonstration tokens.
#ifndef ZELMO_PROFILE_OBJECTS_H
#define ZELMO_PROFILE_OBJECTS_H

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "virtualcard/image.h"

namespace zelmo {

using Bytes = virtualcard::Bytes;

/// An object directory file: what it lists, where it lies.
struct ObjectDirectory {
    uint32_t objectType;
    uint16_t fid;
    std::vector<Bytes> objects;  ///< Encoded, at most 232 octets each, so that they fit records.
};

inline constexpr uint8_t pin_reference = 0x81;
inline constexpr uint8_t puk_reference = 0x82;
inline constexpr uint8_t admin_key_reference = 0x03;

/// Directories of all objects, in the order of the object directory file.
std::vector<ObjectDirectory> objectDirectories();
/// The files that the objects point to.
std::vector<virtualcard::File> objectFiles();
/// PIN 1234 and PUK 12345678, which unblocks it, as does the administration key.
std::vector<virtualcard::Secret> pins();
/// The administration key, for triple DES.
std::vector<virtualcard::Secret> keys();

/// The content of EF.TokenInfo. With records, `recordLength` is what it says of the directory files.
Bytes tokenInfo(const Bytes &serial, bool records);
/// The content of the object directory file.
Bytes objectDirectoryFile(std::span<const ObjectDirectory> directories);
/// The entry of EF.DIR.
Bytes applicationTemplate(std::string_view label);

}  // namespace zelmo

#endif

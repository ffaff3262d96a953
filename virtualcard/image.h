// What a virtual card is made of, and its text form. Everything here is plain data that owns what it holds.
#ifndef VIRTUALCARD_IMAGE_H
#define VIRTUALCARD_IMAGE_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "virtualcard/access.h"

namespace virtualcard {

using Bytes = std::vector<uint8_t>;

enum class FileKind : uint8_t { df, transparent, linearVariable, tlvRecords };
/// `created`: conditions do not count yet, so that the file can be filled.
enum class FileState : uint8_t { activated, deactivated, terminated, created };

/// The phases of a card's life that its commands know.
namespace phase {
inline constexpr uint8_t delivered = 16;     ///< Nothing can be created.
inline constexpr uint8_t initialised = 32;   ///< Anybody may create files, PINs and keys.
inline constexpr uint8_t personalised = 41;  ///< Access conditions count; the card can be erased.
inline constexpr uint8_t operational = 52;   ///< The card cannot be erased any more.
}  // namespace phase

/// What an access condition can stand for. `read` to `append` are for an EF, `create` and `remove` for a DF, `change`
/// for a secret, `unblock` for a PIN.
enum class Operation : uint8_t { read, update, append, create, remove, change, unblock };

/// Bounds that hold for every image.
namespace limits {
inline constexpr size_t fileSize = 0xFFFF;       ///< octets of a transparent file
inline constexpr size_t recordSize = 0xFFFF;     ///< octets of one record
inline constexpr size_t records = 254;           ///< records of one file: a record number is one octet, 255 reserved
inline constexpr size_t depth = 8;               ///< DFs inside each other, the root included
inline constexpr size_t secret = 255;            ///< octets of a PIN or a key
inline constexpr size_t conditionDepth = 8;      ///< access conditions inside each other
inline constexpr size_t imageText = 16u << 20u;  ///< octets of an image file
}  // namespace limits

inline constexpr uint16_t rootFileId = 0x3F00;

/// A DF or an EF. Of `data`, `records` and `files` only the one that belongs to the kind is in use.
struct File {
    uint16_t fid = 0;
    FileKind kind = FileKind::df;
    FileState state = FileState::activated;
    std::optional<uint8_t> sfi;                   ///< EF: short file identifier, 1 to 30.
    std::map<Operation, AccessCondition> access;  ///< An operation that is absent is always allowed.
    Bytes name;                                   ///< DF: the AID, up to 16 octets; empty for none.
    std::list<File> files;                        ///< DF: what it holds. A list, so that files keep their address.
    Bytes data;                                   ///< Transparent EF: the content, as long as the file.
    size_t maxRecord = 234;                       ///< Record EF: greatest length of a record.
    size_t maxRecords = limits::records;          ///< Record EF: greatest number of records.
    std::vector<Bytes> records;                   ///< Record EF: the records, each as long as it is.
};

/// How the holder of a key answers a challenge: by enciphering it, as one block, under the key.
enum class KeyAlgorithm : uint8_t { aes, tripleDes };

/// A PIN or a key: a value with a retry counter. `maxTries` 0 stands for no counter.
struct Secret {
    uint8_t reference = 0;
    Bytes value;  ///< PIN: empty until it is set.
    uint8_t maxTries = 3;
    uint8_t triesLeft = 3;
    std::map<Operation, AccessCondition> access;  ///< What is absent has a rule of its own: see docs/image-format.md.
    size_t minLength = 1;                         ///< PIN: least octets of a new value.
    size_t maxLength = limits::secret;            ///< PIN: most octets of a new value.
    std::optional<uint8_t> unblockedBy;           ///< PIN: the PIN that unblocks it.
    std::optional<KeyAlgorithm> algorithm;        ///< Key: what it can authenticate with.
};

/// Whether a key of this algorithm can have so many octets.
bool keyLengthFits(KeyAlgorithm algorithm, size_t octets);

/// A whole card.
struct CardImage {
    CardImage() {
        root.fid = rootFileId;
    }

    Bytes atr;  ///< Empty: an ATR that tells the card's own abilities (defaultAtr()).
    Bytes serial = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};
    uint16_t model = 0x1501;
    uint8_t lifeCycle = phase::operational;
    bool extendedLength = false;  ///< Whether commands of extended length are accepted.
    File root;
    std::vector<Secret> pins;
    std::vector<Secret> keys;
};

/// Why an image could not be read or written; what() is one line with file name, JSON path and reason.
class ImageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The ATR of a card that announces selection by name, path and identifier, short file identifiers and, when
/// `extendedLength` is set, extended length.
Bytes defaultAtr(bool extendedLength);

/// Reads the text form; `name` stands in messages for the file. Throws ImageError.
CardImage parseImage(std::string_view text, const std::string &name);
/// The text form, such that parseImage() gives an equal image.
std::string formatImage(const CardImage &image);

/// Reads an image file. Throws ImageError.
CardImage readImage(const std::string &file);
/// Writes an image file such that, whenever the process ends, the old or the new content is there, whole. Throws
/// ImageError.
void writeImage(const std::string &file, const CardImage &image);

class ImageHold;

/// One file as it stands on the disk at one time; a replaced or rewritten file differs from it.
struct FileIdentity {
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = 0;
    int64_t seconds = 0;
    int64_t nanoseconds = 0;
    bool operator==(const FileIdentity &) const = default;
};

/// The same two for a file that others may write as well: readImage() tells what it read, and writeImage() refuses to
/// overwrite a file that is not `identity` any more, and tells what it wrote. `hold` is the caller's own hold of the
/// file, which moves on to the new one; without it the file must not be held by anybody.
CardImage readImage(const std::string &file, FileIdentity &identity);
void writeImage(const std::string &file, const CardImage &image, FileIdentity &identity, ImageHold *hold = nullptr);
/// Whether the file is still the one that was read or written.
bool isUnchanged(const std::string &file, const FileIdentity &identity);

}  // namespace virtualcard

#endif

// Result codes that the card service itself gives, and how they travel inside it.
#ifndef ZELMOCRD_ERROR_H
#define ZELMOCRD_ERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace zelmocrd {

// PC/SC codes.
namespace code {
inline constexpr uint32_t ok = 0;
inline constexpr uint32_t cancelled = 0x80100002;
inline constexpr uint32_t invalidHandle = 0x80100003;
inline constexpr uint32_t invalidParameter = 0x80100004;
inline constexpr uint32_t noMemory = 0x80100006;
inline constexpr uint32_t insufficientBuffer = 0x80100008;
inline constexpr uint32_t unknownReader = 0x80100009;
inline constexpr uint32_t timeout = 0x8010000A;
inline constexpr uint32_t sharingViolation = 0x8010000B;  ///< Somebody else has taken the card exclusively.
inline constexpr uint32_t unknownCard = 0x8010000D;
inline constexpr uint32_t invalidValue = 0x80100011;  ///< What the card holds cannot be interpreted.
inline constexpr uint32_t unknownError = 0x80100014;
inline constexpr uint32_t notTransacted = 0x80100016;
inline constexpr uint32_t unsupported = 0x80100022;
inline constexpr uint32_t noReaders = 0x8010002E;
inline constexpr uint32_t communication = 0x8010002F;  ///< The card does not keep to the protocol.
inline constexpr uint32_t removedCard = 0x80100069;
}  // namespace code

/// A failure on its way to the C boundary, where its code becomes the result.
class ServiceError : public std::runtime_error {
  public:
    explicit ServiceError(uint32_t result, const std::string &text = {}) : std::runtime_error(text), code(result) {}
    uint32_t code;
};

/// Refuses an argument unless `condition` holds.
inline void require(bool condition) {
    if (!condition)
        throw ServiceError(code::invalidParameter);
}

}  // namespace zelmocrd

#endif

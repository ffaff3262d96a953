// The status words that a virtual card answers (ISO/IEC 7816-4).
#ifndef VIRTUALCARD_STATUS_WORDS_H
#define VIRTUALCARD_STATUS_WORDS_H

#include <cstdint>

namespace virtualcard::sw {

inline constexpr uint16_t moreData = 0x6100;  ///< Low octet: how many, 0 for 256 or more.
inline constexpr uint16_t endOfFile = 0x6282;
inline constexpr uint16_t deactivated = 0x6283;
inline constexpr uint16_t terminated = 0x6285;
inline constexpr uint16_t verificationFailed = 0x6300;
inline constexpr uint16_t triesLeft = 0x63C0;  ///< Low nibble: how many.
inline constexpr uint16_t memoryFailure = 0x6581;
inline constexpr uint16_t wrongLength = 0x6700;
inline constexpr uint16_t noChannels = 0x6881;
inline constexpr uint16_t noSecureMessaging = 0x6882;
inline constexpr uint16_t noChaining = 0x6884;
inline constexpr uint16_t wrongFileKind = 0x6981;
inline constexpr uint16_t securityStatus = 0x6982;
inline constexpr uint16_t blocked = 0x6983;
inline constexpr uint16_t notUsable = 0x6984;  ///< A PIN that is not set, a key that cannot authenticate.
inline constexpr uint16_t conditionsOfUse = 0x6985;
inline constexpr uint16_t noCurrentFile = 0x6986;
inline constexpr uint16_t wrongData = 0x6A80;
inline constexpr uint16_t notSupported = 0x6A81;
inline constexpr uint16_t fileNotFound = 0x6A82;
inline constexpr uint16_t recordNotFound = 0x6A83;
inline constexpr uint16_t noSpace = 0x6A84;
inline constexpr uint16_t wrongParameters = 0x6A86;
inline constexpr uint16_t lengthParameters = 0x6A87;
inline constexpr uint16_t referenceNotFound = 0x6A88;
inline constexpr uint16_t existsAlready = 0x6A89;
inline constexpr uint16_t outsideFile = 0x6B00;
inline constexpr uint16_t exactLength = 0x6C00;  ///< Low octet: the length to ask for.
inline constexpr uint16_t unknownInstruction = 0x6D00;
inline constexpr uint16_t unknownClass = 0x6E00;
inline constexpr uint16_t noDiagnosis = 0x6F00;
inline constexpr uint16_t ok = 0x9000;

}  // namespace virtualcard::sw

#endif

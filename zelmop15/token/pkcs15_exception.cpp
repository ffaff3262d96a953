// Codes of card and reader, and the report of failures.
#include "token/pkcs15_exception.h"

#include "zelmop15/pkcs15.h"

namespace {

struct CodePair {
    uint32_t raw;
    uint32_t code;
};

// What is not named here is a device error. A reset card (0x80100068) is one on purpose.
constexpr CodePair known_codes[] = {
    {0x80100002, PKCS15_E_CANCELLED},               // SCARD_E_CANCELLED
    {0x80100004, PKCS15_E_UNSUPPORTED},             // SCARD_E_INVALID_PARAMETER
    {0x80100006, PKCS15_E_NO_MEMORY},               // SCARD_E_NO_MEMORY
    {0x8010000A, PKCS15_E_TIMEOUT},                 // SCARD_E_TIMEOUT
    {0x8010000C, PKCS15_E_NO_CARD},                 // SCARD_E_NO_SMARTCARD
    {0x8010000D, PKCS15_E_INVALID_TOKEN},           // SCARD_E_UNKNOWN_CARD
    {0x8010000F, PKCS15_E_INVALID_TOKEN},           // SCARD_E_PROTO_MISMATCH
    {0x8010001C, PKCS15_E_INVALID_TOKEN},           // SCARD_E_CARD_UNSUPPORTED
    {0x8010001E, PKCS15_E_CARD_REMOVED},            // SCARD_E_SERVICE_STOPPED
    {0x80100069, PKCS15_E_CARD_REMOVED},            // SCARD_W_REMOVED_CARD
    {0xA0116300, PKCS15_E_VERIFICATION_FAILED},     // verification failed
    {0xE0116581, PKCS15_E_NO_CARD_SPACE},           // memory failure
    {0xE0116700, PKCS15_E_INVALID_PARAMETER},       // wrong length
    {0xE0116982, PKCS15_E_SECURITY_STATUS},         // security status not satisfied
    {0xE0116983, PKCS15_E_AUTH_BLOCKED},            // authentication method blocked
    {0xE0116984, PKCS15_E_REFERENCE_DATA_INVALID},  // referenced data invalidated
    {0xE0116985, PKCS15_E_VERIFICATION_FAILED},     // conditions of use not satisfied
    {0xE0116A84, PKCS15_E_NO_CARD_SPACE},           // not enough memory in the file
};

constexpr uint32_t warning_level = 3;

}  // namespace

extern "C" {

const uint32_t LogExceptionLevel[4] = {5, 4, 3, 2};

uint32_t pkcs15_SCardException(uint32_t code) {
    if (code == 0)
        return 0;
    pkcs15_LogMessage(warning_level, "Device error 0x%08X.", code);
    for (const CodePair &known : known_codes)
        if (known.raw == code)
            return known.code;
    return PKCS15_E_DEVICE_ERROR;
}
}

namespace token {

uint32_t raise(uint32_t code, const char *unit, int line) {
    pkcs15_LogMessage(LogExceptionLevel[code >> 30], "Exception 0x%08X at %s (%d)", code, unit, line);
    return code;
}

}  // namespace token

// Result codes in words.
#include <algorithm>
#include <cstdint>
#include <iterator>

#include "zelmocrd/zelmocrd.h"

namespace {

struct StatusText {
    uint32_t code;
    const char *text;
};

// In ascending order. The words for status words are those of ISO/IEC 7816-4 in short.
constexpr StatusText texts[] = {
    {0x00000000, "success"},
    {0x80100001, "internal error of the PC/SC service"},
    {0x80100002, "cancelled"},
    {0x80100003, "invalid card handle"},
    {0x80100004, "invalid argument"},
    {0x80100006, "not enough memory"},
    {0x80100008, "buffer too small"},
    {0x80100009, "unknown reader"},
    {0x8010000A, "timeout"},
    {0x8010000B, "card in use by another program"},
    {0x8010000C, "no card in the reader"},
    {0x8010000D, "unknown card"},
    {0x8010000F, "card does not support the protocol"},
    {0x80100010, "card or reader not ready"},
    {0x80100011, "card holds a value that cannot be interpreted"},
    {0x80100013, "communication error inside the PC/SC service"},
    {0x80100014, "unknown error"},
    {0x80100016, "no transaction open"},
    {0x80100017, "reader not available"},
    {0x8010001C, "card not supported"},
    {0x8010001D, "PC/SC service not running"},
    {0x8010001E, "PC/SC service stopped"},
    {0x80100022, "unsupported function"},
    {0x80100027, "access denied"},
    {0x8010002E, "no readers available"},
    {0x8010002F, "card does not keep to the protocol"},
    {0x80100065, "card not supported by the reader"},
    {0x80100066, "card does not answer"},
    {0x80100067, "card without power"},
    {0x80100068, "card has been reset"},
    {0x80100069, "card removed"},
    {0x8010006A, "access to the card denied"},
    {0x8010006E, "cancelled by the user"},
    {0xA0116200, "warning, card memory unchanged"},
    {0xA0116281, "data read may be damaged"},
    {0xA0116282, "end of file or record reached"},
    {0xA0116283, "file deactivated"},
    {0xA0116284, "file information malformed"},
    {0xA0116285, "file terminated"},
    {0xA0116300, "verification failed"},
    {0xA0116381, "file filled up by the last write"},
    {0xE0116400, "execution error, card memory unchanged"},
    {0xE0116500, "execution error, card memory changed"},
    {0xE0116581, "card memory failure"},
    {0xE0116700, "wrong length"},
    {0xE0116881, "logical channel not supported"},
    {0xE0116882, "secure messaging not supported"},
    {0xE0116884, "command chaining not supported"},
    {0xE0116900, "command not allowed"},
    {0xE0116981, "command does not fit the kind of file"},
    {0xE0116982, "security status not satisfied"},
    {0xE0116983, "authentication method blocked"},
    {0xE0116984, "reference data invalidated"},
    {0xE0116985, "conditions of use not satisfied"},
    {0xE0116986, "no file selected"},
    {0xE0116987, "secure messaging objects missing"},
    {0xE0116988, "secure messaging objects incorrect"},
    {0xE0116A80, "incorrect data"},
    {0xE0116A81, "function not supported"},
    {0xE0116A82, "file not found"},
    {0xE0116A83, "record not found"},
    {0xE0116A84, "not enough memory in the file"},
    {0xE0116A85, "length does not fit the record structure"},
    {0xE0116A86, "incorrect parameters"},
    {0xE0116A87, "length does not fit the parameters"},
    {0xE0116A88, "referenced data not found"},
    {0xE0116A89, "file already exists"},
    {0xE0116A8A, "application name already exists"},
    {0xE0116B00, "offset outside the file"},
    {0xE0116D00, "instruction not supported"},
    {0xE0116E00, "command class not supported"},
    {0xE0116F00, "unspecific card error"},
};

constexpr bool before(const StatusText &left, const StatusText &right) {
    return left.code < right.code;
}

static_assert(std::is_sorted(std::begin(texts), std::end(texts), before));

const char *exactText(uint32_t code) {
    const auto *found = std::lower_bound(std::begin(texts), std::end(texts), StatusText{code, nullptr}, before);
    return found != std::end(texts) && found->code == code ? found->text : nullptr;
}

}  // namespace

const char *zelmocrd_StatusText(uint32_t code) {
    constexpr uint32_t family = 0xFFFF0000;
    constexpr uint32_t firstOctet = 0xFFFFFF00;
    if (const char *text = exactText(code))
        return text;
    if ((code & firstOctet) == 0xE0116C00)
        return "wrong expected length";
    switch (code & family) {
        case 0x80100000:
            return "unknown PC/SC code";
        case 0xA0110000:
            return "unknown card warning";
        case 0xE0110000:
            return "unknown card error";
        default:
            return "unknown code";
    }
}

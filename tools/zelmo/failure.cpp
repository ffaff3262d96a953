#include "failure.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>
#include <utility>

#include "zelmocrd/zelmocrd.h"
#include "zelmop15/pkcs15.h"

namespace zelmo {

namespace {

/// A library code: its name, what it means for scripts, what to try.
struct Code {
    uint32_t code;
    std::string_view name;
    Exit exit;
    std::string_view advice;
};

constexpr std::string_view insert_card = "insert the card and try again";
constexpr std::string_view show_log = "repeat with --log 6 --trace to see what the card answers";

constexpr std::array<Code, 24> codes = {{
    {PKCS15_S_END_OF_ENUMERATION, "PKCS15_S_END_OF_ENUMERATION", Exit::notFound, ""},
    {PKCS15_W_CANCELLED_BY_USER, "PKCS15_W_CANCELLED_BY_USER", Exit::failure, ""},
    {PKCS15_E_UNSUPPORTED, "PKCS15_E_UNSUPPORTED", Exit::malformed, show_log},
    {PKCS15_E_NO_MEMORY, "PKCS15_E_NO_MEMORY", Exit::failure, "close other programs and try again"},
    {PKCS15_E_INVALID_PARAMETER, "PKCS15_E_INVALID_PARAMETER", Exit::failure, show_log},
    {PKCS15_E_BUFFER_TOO_SMALL, "PKCS15_E_BUFFER_TOO_SMALL", Exit::failure, show_log},
    {PKCS15_E_NO_CARD_SPACE, "PKCS15_E_NO_CARD_SPACE", Exit::failure, "delete an object to make room"},
    {PKCS15_E_FAILED, "PKCS15_E_FAILED", Exit::failure, show_log},
    {PKCS15_E_TIMEOUT, "PKCS15_E_TIMEOUT", Exit::failure, "try again"},
    {PKCS15_E_CANCELLED, "PKCS15_E_CANCELLED", Exit::failure, "try again"},
    {PKCS15_E_OBJECT_NOT_FOUND, "PKCS15_E_OBJECT_NOT_FOUND", Exit::notFound, "see 'zelmo list' for what there is"},
    {PKCS15_E_PIN_REQUIRED, "PKCS15_E_PIN_REQUIRED", Exit::accessDenied, "give the PIN"},
    {PKCS15_E_INVALID_TOKEN, "PKCS15_E_INVALID_TOKEN", Exit::malformed, show_log},
    {PKCS15_E_DEVICE_ERROR, "PKCS15_E_DEVICE_ERROR", Exit::failure, show_log},
    {PKCS15_E_NO_CARD, "PKCS15_E_NO_CARD", Exit::noCard, insert_card},
    {PKCS15_E_CARD_REMOVED, "PKCS15_E_CARD_REMOVED", Exit::noCard, insert_card},
    {PKCS15_E_VERIFICATION_FAILED, "PKCS15_E_VERIFICATION_FAILED", Exit::pinWrong, "check the PIN"},
    {PKCS15_E_NOT_INITIALIZED, "PKCS15_E_NOT_INITIALIZED", Exit::accessDenied, "set the PIN first"},
    {PKCS15_E_AUTH_BLOCKED, "PKCS15_E_AUTH_BLOCKED", Exit::pinBlocked, "unblock the PIN with its PUK"},
    {PKCS15_E_CREDENTIAL_REJECTED, "PKCS15_E_CREDENTIAL_REJECTED", Exit::pinWrong, "check the PIN"},
    {PKCS15_E_PIN_LENGTH, "PKCS15_E_PIN_LENGTH", Exit::failure,
     "see 'zelmo list' for the lengths that the PIN may have"},
    {PKCS15_E_PIN_FORMAT, "PKCS15_E_PIN_FORMAT", Exit::failure,
     "see 'zelmo list' for the characters that the PIN takes"},
    {PKCS15_E_SECURITY_STATUS, "PKCS15_E_SECURITY_STATUS", Exit::accessDenied, "verify the PIN that guards it first"},
    {PKCS15_E_REFERENCE_DATA_INVALID, "PKCS15_E_REFERENCE_DATA_INVALID", Exit::accessDenied,
     "the PIN or key has no value on the card, or is out of use for good"},
}};

/// A raw code that says more than the library code it is mapped to.
struct Raw {
    uint32_t raw;
    Exit exit;
    std::string_view advice;
};

constexpr std::string_view start_service = "start pcscd, or use a virtual card: --reader virtual:FILE";
constexpr std::string_view list_readers = "see 'zelmo readers' for the readers that there are";

constexpr std::array<Raw, 13> raws = {{
    {0xE0116982, Exit::accessDenied, "verify the PIN that guards it first"},
    {0xE0116A82, Exit::notFound, "see 'zelmo apps' for what the card holds"},
    {0xE0116A88, Exit::notFound, "the token names a PIN or key that the card does not have"},
    {0xE0116983, Exit::pinBlocked, "unblock the PIN with its PUK"},
    {0x80100009, Exit::noCard, list_readers},
    {0x8010000C, Exit::noCard, insert_card},
    {0x80100017, Exit::noCard, list_readers},
    {0x8010001D, Exit::noCard, start_service},
    {0x8010001E, Exit::noCard, start_service},
    {0x8010002E, Exit::noCard, "connect a reader, or use a virtual card: --reader virtual:FILE"},
    {0x80100066, Exit::noCard, insert_card},
    {0x80100067, Exit::noCard, insert_card},
    {0x80100069, Exit::noCard, insert_card},
}};

template <class Table, class Key>
auto find(const Table &table, Key Table::value_type::*key, Key value) {
    const auto found = std::find_if(table.begin(), table.end(), [&](const auto &row) { return row.*key == value; });
    return found != table.end() ? &*found : nullptr;
}

std::string withAdvice(std::string line, std::string_view advice) {
    return advice.empty() ? line : fmt::format("{}; {}", std::move(line), advice);
}

}  // namespace

std::string codeName(uint32_t code) {
    const Code *known = find(codes, &Code::code, code);
    return known != nullptr ? std::string(known->name) : fmt::format("0x{:08X}", code);
}

std::string rawText(uint32_t raw) {
    const uint32_t family = raw >> 16;
    const char *words = zelmocrd_StatusText(raw);
    if (family == 0xE011 || family == 0xA011)
        return fmt::format("card: {:04X}, {}", raw & 0xFFFF, words);
    return fmt::format("reader: 0x{:08X}, {}", raw, words);
}

Exit exitFor(uint32_t code, uint32_t raw) {
    if (const Raw *known = find(raws, &Raw::raw, raw))
        return known->exit;
    const Code *known = find(codes, &Code::code, code);
    return known != nullptr ? known->exit : Exit::failure;
}

std::string reasonText(uint32_t code, uint32_t raw) {
    return raw == 0 ? codeName(code) : fmt::format("{} ({})", codeName(code), rawText(raw));
}

Failure libraryFailure(const std::string &what, uint32_t code, uint32_t raw) {
    const Raw *known = find(raws, &Raw::raw, raw);
    const Code *row = find(codes, &Code::code, code);
    const std::string_view advice = known != nullptr ? known->advice : row != nullptr ? row->advice : show_log;
    return {exitFor(code, raw), withAdvice(fmt::format("{}: {}", what, reasonText(code, raw)), advice)};
}

Failure cardFailure(const std::string &what, uint32_t raw) {
    const Raw *known = find(raws, &Raw::raw, raw);
    const Exit exit = known != nullptr ? known->exit : Exit::failure;
    return {exit, withAdvice(fmt::format("{}: {}", what, rawText(raw)), known != nullptr ? known->advice : show_log)};
}

}  // namespace zelmo

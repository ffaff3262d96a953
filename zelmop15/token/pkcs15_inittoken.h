// What has to be known of the making of a token before it begins.
#ifndef ZELMOP15_TOKEN_PKCS15_INITTOKEN_H
#define ZELMOP15_TOKEN_PKCS15_INITTOKEN_H

#include <cstddef>
#include <cstdint>

namespace token {

/// Formats of the names of a script and its signature, from a prefix and the card's model, and the octets that a name
/// may have, its terminator included; a longer one is cut.
inline constexpr char script_name_format[] = "%sInitToken%4X.cpd";
inline constexpr char signature_name_format[] = "%sInitToken%4X.sig";
inline constexpr size_t max_file_name = 256;

/// The secrets of a token that a script has made.
enum : uint8_t { authorising_pin = 0x73, second_pin = 2, admin_key = 8 };

/// The one instruction that a script may have beside those of the card service: the card is reset.
inline constexpr uint8_t reset_instruction = 0xD0;

/// The phases of a card's life in which it may be made a token. All but `operational` are erased first.
enum LifeCycle : uint32_t { delivered = 16, initialised = 32, personalised = 41, operational = 52 };

constexpr bool may_personalise(uint32_t phase) {
    return phase == delivered || phase == initialised || phase == personalised || phase == operational;
}

}  // namespace token

#endif

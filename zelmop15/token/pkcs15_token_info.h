// The TokenInfo file of a known faulty card.
#ifndef ZELMOP15_TOKEN_PKCS15_TOKEN_INFO_H
#define ZELMOP15_TOKEN_PKCS15_TOKEN_INFO_H

#include <cstdint>

namespace token {

/// Octets of the known image. The file's buffer must hold at least as many.
inline constexpr uint32_t cia_info_size = 59;

/// When the buffer begins with the faulty image, puts the right one in its place and yields true: the file then is
/// cia_info_size octets long, whatever the card delivered.
bool repair_token_info(uint8_t *file);

}  // namespace token

#endif

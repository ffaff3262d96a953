// Pieces of operations that others are built from.
#ifndef ZELMOCRD_OPERATIONS_H
#define ZELMOCRD_OPERATIONS_H

#include <cstdint>
#include <span>

#include "zelmocrd/card.h"

namespace zelmocrd {

/// Writes into the selected transparent file, with as many commands as that takes.
uint32_t writeBinary(Card &card, uint32_t offset, std::span<const uint8_t> data);

}  // namespace zelmocrd

#endif

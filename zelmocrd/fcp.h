// What a selection answers about a file.
#ifndef ZELMOCRD_FCP_H
#define ZELMOCRD_FCP_H

#include <cstdint>
#include <span>

#include "zelmocrd/zelmocrd.h"

namespace zelmocrd {

/// Reads an FCP template, alone or inside an FCI template. What is missing or malformed stays 0.
FileInfo parseFileControl(std::span<const uint8_t> answer);

}  // namespace zelmocrd

#endif

// The card in software, inside this process.
#ifndef ZELMOCRD_VIRTUAL_TRANSPORT_H
#define ZELMOCRD_VIRTUAL_TRANSPORT_H

#include "zelmocrd/transport.h"

namespace zelmocrd {

/// Opens the virtual card that is kept in the image `file`.
std::unique_ptr<Transport> openVirtualCard(const std::string &file);

}  // namespace zelmocrd

#endif

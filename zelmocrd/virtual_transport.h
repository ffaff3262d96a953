// The card in software, inside this process.
#ifndef ZELMOCRD_VIRTUAL_TRANSPORT_H
#define ZELMOCRD_VIRTUAL_TRANSPORT_H

#include "zelmocrd/transport.h"

namespace zelmocrd {

/// Opens the virtual card that is kept in the image `file`, for itself alone if `exclusive`.
std::unique_ptr<Transport> openVirtualCard(const std::string &file, bool exclusive);

}  // namespace zelmocrd

#endif

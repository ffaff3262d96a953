// Cards in readers of the PC/SC service.
#ifndef ZELMOCRD_PCSC_TRANSPORT_H
#define ZELMOCRD_PCSC_TRANSPORT_H

#include "zelmocrd/transport.h"

namespace zelmocrd {

/// Opens the card in the reader with this name, for itself alone if `exclusive`.
std::unique_ptr<Transport> openPcscCard(const std::string &reader, bool exclusive);

}  // namespace zelmocrd

#endif

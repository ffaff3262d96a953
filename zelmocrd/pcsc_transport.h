// Cards in readers of the PC/SC service.
#ifndef ZELMOCRD_PCSC_TRANSPORT_H
#define ZELMOCRD_PCSC_TRANSPORT_H

#include <string>
#include <vector>

#include "zelmocrd/transport.h"

namespace zelmocrd {

/// The readers of the PC/SC service, in its order; none when it has none. Throws ServiceError when it is not there.
std::vector<std::string> pcscReaderNames();

/// Whether there is a card in the reader with this name. Throws ServiceError.
bool pcscCardIsPresent(const std::string &reader);

/// Opens the card in the reader with this name, for itself alone if `exclusive`.
std::unique_ptr<Transport> openPcscCard(const std::string &reader, bool exclusive);

}  // namespace zelmocrd

#endif

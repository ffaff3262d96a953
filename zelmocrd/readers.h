// Reader names and what they stand for.
#ifndef ZELMOCRD_READERS_H
#define ZELMOCRD_READERS_H

#include "zelmocrd/transport.h"

namespace zelmocrd {

/// The readers that there are: those of the PC/SC service in its order, then the virtual ones by name.
struct Readers {
    std::vector<std::string> names;
    /// Why those of the PC/SC service are missing; 0 when they are not.
    uint32_t serviceResult = 0;
};
Readers listReaders();
/// The virtual ones alone.
std::vector<std::string> virtualReaderNames();

/// Whether there is a card in the reader that `readerName` stands for. Throws ServiceError.
bool hasCard(const std::string &readerName);

/// Opens the card that `readerName` stands for. Throws ServiceError, with a text where there is more to say than its
/// code does.
std::unique_ptr<Transport> openTransport(const std::string &readerName, bool exclusive);

}  // namespace zelmocrd

#endif

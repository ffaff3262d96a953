#include "virtualcard/image.h"

namespace virtualcard {

Bytes defaultAtr(bool extendedLength) {
    const uint8_t commandLengths = extendedLength ? 0x40 : 0x00;
    // T=0 and T=1 by TD1 and TD2; historical bytes: category 80, then the card capabilities 73: selection by full and
    // partial name, path, identifier, short identifier, record number and record identifier; data units of an octet.
    Bytes atr = {0x3B, 0x85, 0x80, 0x01, 0x80, 0x73, 0xF7, 0x21, commandLengths};
    uint8_t check = 0;
    for (size_t i = 1; i < atr.size(); i++)
        check ^= atr[i];
    atr.push_back(check);
    return atr;
}

}  // namespace virtualcard

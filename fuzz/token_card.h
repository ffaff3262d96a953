// A virtual card whose token files are a fuzz input, behind a way to it that can fail.
#ifndef ZELMOP15_FUZZ_TOKEN_CARD_H
#define ZELMOP15_FUZZ_TOKEN_CARD_H

#include "codec.h"
#include "zelmocrd/zelmocrd.h"

namespace fuzz {

/// An open card, closed with the object.
///
/// The input: one octet with the number of the command that goes wrong (0: none), two with the status word that it
/// answers, one that tells how (see token_card.cpp); then for EF.DIR, the TokenInfo, the object directory and the
/// directory files of the nine types one octet with the kind of file (0 absent, 1 transparent, 2 records of
/// variable length, 3 TLV records), two with its length, and its content; a record stands behind one octet with its
/// length.
class TokenCard {
  public:
    explicit TokenCard(Octets input);
    ~TokenCard();
    TokenCard(const TokenCard &) = delete;
    TokenCard &operator=(const TokenCard &) = delete;

    [[nodiscard]] CardHandle handle() const {
        return handle_;
    }

  private:
    CardHandle handle_;
};

}  // namespace fuzz

#endif

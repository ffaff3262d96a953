// Directory entries of the objects on a token, encoded.
#ifndef ZELMO_OBJECT_MAKER_H
#define ZELMO_OBJECT_MAKER_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "arena.h"
#include "der.h"
#include "virtualcard/image.h"

namespace zelmo {

using Bytes = virtualcard::Bytes;

/// What every object has. Flags are bit numbers of CommonObjectFlags.
struct CommonFacts {
    std::string label;
    std::vector<uint32_t> flags = {};
    Bytes authId = {};  ///< Empty for none.
};

/// A PIN; flags are bit numbers of PinFlags.
struct PinFacts {
    CommonFacts common;
    Bytes id;
    std::vector<uint32_t> flags;
    uint32_t least = 4, stored = 8, most = 8;
    uint8_t reference = 0;
    std::optional<uint8_t> padding = {};
};

/// An X.509 certificate in the file `fid` of the application.
struct CertificateFacts {
    CommonFacts common;
    Bytes id;
    uint16_t fid = 0;
    bool authority = false;
    Octets der;
};

/// Data in the file `fid` of the application.
struct DataFacts {
    CommonFacts common;
    std::string application;
    uint16_t fid = 0;
};

/// A triple-DES key of the card, with which one can authenticate.
struct SecretKeyFacts {
    CommonFacts common;
    Bytes id;
    uint8_t reference = 0;
    uint32_t bits = 192;
    uint16_t fid = 0;
};

/// Authentication with a key.
struct AuthKeyFacts {
    CommonFacts common;
    Bytes id;
    Bytes keyId;
};

/// What EF.TokenInfo says.
struct TokenFacts {
    Bytes serial;
    std::string manufacturer;
    std::string label;
    std::vector<uint32_t> flags;  ///< Bit numbers of TokenFlags.
    bool records = false;         ///< Whether the directory files hold records.
};

/// Encodes records of the token library.
class ObjectMaker {
  public:
    Bytes pin(const PinFacts &facts);
    Bytes certificate(const CertificateFacts &facts);
    Bytes data(const DataFacts &facts);
    Bytes secretKey(const SecretKeyFacts &facts);
    Bytes authKey(const AuthKeyFacts &facts);
    Bytes tokenInfo(const TokenFacts &facts);

  protected:
    template <class Choice>
    Bytes object(uint32_t (*encode)(uint8_t **, const Choice *), CommonObjectAttributes *common, void *attributes,
                 void *type) {
        constexpr uint32_t sequence_tag = 16;
        auto *made = arena_.make(PKCS15Object{common, attributes, nullptr, type});
        return encoded(encode, Choice{sequence_tag, made});
    }
    CommonObjectAttributes *common(const CommonFacts &facts);
    /// A value in a file of the application.
    ObjectValue *indirect(uint16_t fid);

    Arena arena_;
};

}  // namespace zelmo

#endif

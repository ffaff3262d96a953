// What stands in a certificate's value.
#ifndef ZELMO_CERTIFICATE_H
#define ZELMO_CERTIFICATE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "der.h"

namespace zelmo {

/// The fields that people look for.
struct CertificateFields {
    std::vector<uint8_t> subject;       ///< Encoded Name.
    std::vector<uint8_t> issuer;        ///< Encoded Name.
    std::vector<uint8_t> serialNumber;  ///< Content of the INTEGER.
    std::string notBefore, notAfter;    ///< As GeneralizedTime: 20260901120000Z.
};

/// Takes an X.509 certificate (RFC 5280) apart; nothing for octets that are none.
std::optional<CertificateFields> certificateFields(Octets value);

/// The value as PEM (RFC 7468).
std::string pemOf(Octets value);

}  // namespace zelmo

#endif

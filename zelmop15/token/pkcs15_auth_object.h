// Looks into authentication objects. Records that a host made may lack what decoded ones always have.
#ifndef ZELMOP15_TOKEN_PKCS15_AUTH_OBJECT_H
#define ZELMOP15_TOKEN_PKCS15_AUTH_OBJECT_H

#include "runtime/wiped.h"
#include "token/pkcs15_accessors.h"

namespace token {

/// The object behind a PIN or an authentication key, borrowed; null for the other alternatives.
const PKCS15Object *auth_object_in(const AuthenticationType &type);
/// What the object is known by, borrowed; null when it lacks it.
const Identifier *auth_id(const PKCS15Object &object);
/// Attributes of a PIN object, borrowed.
inline const PinAttributes &pin_attributes(const PKCS15Object &object) {
    return *static_cast<const PinAttributes *>(object.typeAttributes);
}

/// Most octets of a PIN, typed or in the card's form.
inline constexpr uint32_t pin_capacity = 64;

/// A PIN in the card's form.
struct EncodedPin {
    WipedBuffer<pin_capacity> buffer;
    uint32_t length = pin_capacity;
};
/// The number by which the card knows a PIN; 0 for one that has none.
inline uint8_t pin_reference(const PinAttributes &attributes) {
    return attributes.pinReference != nullptr ? first_octet(*attributes.pinReference) : uint8_t{0};
}

/// The secret key that an authentication key stands for.
struct AuthKey {
    uint8_t reference;  ///< The card's number of the key.
    const Path *path;   ///< Its file, borrowed; null when it has none.
};
/// False when the context knows no key by this authId, or not by what number the card knows it.
bool find_auth_key(const TokenContext &context, const Identifier *authId, AuthKey &key);

}  // namespace token

#endif

// The coders of each object type.
#ifndef ZELMOP15_TOKEN_PKCS15_TYPES_FUNCTIONS_H
#define ZELMOP15_TOKEN_PKCS15_TYPES_FUNCTIONS_H

#include "asn1/asn1_record.h"

/// Row of the table: what is done with the objects of one type.
struct P15TypeFunctions {
    const char *name;        ///< Name of the objects' type.
    asn1_element_free free;  ///< Releases an object; null is a no-op.
    asn1_element_d decoder;  ///< Reads an object.
    asn1_element_e encoder;  ///< Writes an object.
};

namespace token {

/// The typed functions of a record in the untyped shapes that lists, directory files and the table take.
template <class T, auto Encode, auto Decode, auto Free>
using RecordThunks = asn1::Coder<T, asn1::no_octet, Encode, Decode, Free>;

template <class T, auto Encode, auto Decode, auto Free>
constexpr P15TypeFunctions type_functions(const char *name) {
    using Thunks = RecordThunks<T, Encode, Decode, Free>;
    return {name, Thunks::free_thunk, Thunks::d_thunk, Thunks::e_thunk};
}

#define P15_TYPE(T) token::type_functions<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free>(#T)

extern "C" {
/// One row per object type; the index is also the selector of the type's entry in the object directory file.
inline constexpr P15TypeFunctions P15TypesFunctions[] = {
    P15_TYPE(PrivateKeyType),      // PKCS15_PRIVATE_KEYS
    P15_TYPE(PublicKeyType),       // PKCS15_PUBLIC_KEYS
    P15_TYPE(PublicKeyType),       // PKCS15_TRUSTED_PUBLIC_KEYS
    P15_TYPE(SecretKeyType),       // PKCS15_SECRET_KEYS
    P15_TYPE(CertificateType),     // PKCS15_CERTIFICATES
    P15_TYPE(CertificateType),     // PKCS15_TRUSTED_CERTIFICATES
    P15_TYPE(CertificateType),     // PKCS15_USEFUL_CERTIFICATES
    P15_TYPE(DataType),            // PKCS15_DATA_OBJECTS
    P15_TYPE(AuthenticationType),  // PKCS15_AUTH_OBJECTS
};
}
#undef P15_TYPE

/// Number of object types.
inline constexpr uint32_t object_types = sizeof P15TypesFunctions / sizeof P15TypesFunctions[0];
static_assert(object_types == PKCS15_AUTH_OBJECTS + 1);

}  // namespace token

#endif

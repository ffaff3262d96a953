// Whether a personalisation script is genuine.
#ifndef ZELMOP15_TOKEN_PKCS15_INITTOKEN_SIGNATURE_H
#define ZELMOP15_TOKEN_PKCS15_INITTOKEN_SIGNATURE_H

#include <cstdint>

#include "runtime/bytestring.h"

namespace token {

/// The version of the API that a script must be signed for.
inline constexpr char script_api_version[] = "Tessor API V5.0 (Build 7)";

/// Why a script is refused, in the order of the tests; the first that fails is told.
enum class ScriptFault : uint8_t {
    none,
    not_pkcs7,          ///< The signature file is no ContentInfo.
    no_signer,          ///< It is no signed data, or nobody has signed it.
    no_digest_made,     ///< The script's digest cannot be computed.
    no_digest,          ///< The signed attributes hold no message digest.
    other_digest,       ///< The message digest is not the script's.
    no_version,         ///< The signed attributes hold no signing description.
    malformed_version,  ///< The signing description is no IA5String.
    other_version,      ///< The signing description is not script_api_version.
    no_certificate,     ///< The first certificate is missing or malformed.
    not_encoded,        ///< The signed attributes cannot be encoded again.
    signer_signature,   ///< The signature is not one by the key of the first certificate.
    root_signature,     ///< The first certificate is not signed by the built-in key.
    no_memory
};

/// Tests the signature file of a script: 0 when the script is the one that was signed for this version of the API, by
/// somebody whose certificate the built-in key has signed. Otherwise PKCS15_E_FAILED or PKCS15_E_NO_MEMORY, with what
/// was found wrong in the log. `*fault` (null: not wanted) receives the same as a value.
uint32_t verify_script(const Bytestring &script, const Bytestring &signature, ScriptFault *fault = nullptr);

}  // namespace token

#endif

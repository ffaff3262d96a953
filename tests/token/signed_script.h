// Script pairs as a signer makes them, put together octet by octet so that any part of them can be wrong.
#ifndef ZELMO_TESTS_TOKEN_SIGNED_SCRIPT_H
#define ZELMO_TESTS_TOKEN_SIGNED_SCRIPT_H

#include <optional>
#include <string>
#include <vector>

#include "support/octets.h"

/// Keys that sign: the development root, and keys of the test PKI.
enum class SigningKey { root, signer, stranger };

Octets sha1_of(const Octets &text);
/// DER of the key's RSAPublicKey.
Octets public_key(SigningKey which);
/// A certificate for this key; `nameParts` are the RDNs of the issuer, `extensions` what stands behind the key.
Octets make_certificate(const Octets &publicKey, SigningKey issuer, const Octets &nameParts = {},
                        const Octets &extensions = {});
/// An attribute with these values.
Octets attribute(const char *oid, const Octets &values);
Octets digest_attribute(const Octets &digest);
Octets version_attribute(const std::string &text);

inline const char signed_data_oid[] = "06092A864886F70D010702";
inline const char signing_description_oid[] = "06092A864886F70D01090D";
inline const char message_digest_oid[] = "06092A864886F70D010904";
inline const char right_version[] = "Tessor API V5.0 (Build 7)";

/// What goes into a signature file; as it stands it makes a good one for the script.
struct SignedScript {
    Octets script = {'a', ' ', 's', 'c', 'r', 'i', 'p', 't'};
    std::vector<Octets> attributes = {digest_attribute(sha1_of(script)), version_attribute(right_version)};
    SigningKey signed_by = SigningKey::signer, certified_by = SigningKey::root;
    std::string content_type = signed_data_oid;
    bool with_attributes = true, with_certificates = true, with_signer = true;
    std::optional<Octets> certificate = {};  ///< In the place of the right one.
    // Elements that come behind what is looked at, or in places that nobody looks at.
    Octets digest_algorithms = {}, inner_content = {}, more_certificates = {}, crls = {}, unsigned_attributes = {},
           more_signers = {}, surplus = {};

    Octets signature() const;
};

#endif

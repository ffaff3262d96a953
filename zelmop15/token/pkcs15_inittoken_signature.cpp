// The proof that a script is genuine: PKCS #7 signed data around a digest of the script and the name of an API version,
// by a signer whose certificate is one step below the built-in key.
#include "token/pkcs15_inittoken_signature.h"

#include <cstring>

#include "asn1/asn1_oid.h"
#include "asn1/asn1_pkcs7.h"
#include "asn1/asn1_x509v1.h"
#include "csp/csp.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_inittoken_root.h"
#include "token/pkcs15_log.h"
#include "zelmop15/pkcs15.h"

namespace {

using token::ScriptFault;

using OwnedContentInfo = Owned<ContentInfo, asn1_ContentInfo_free>;
using OwnedCertificate = Owned<Certificate, asn1_Certificate_free>;
using OwnedIa5String = Owned<asn1_IA5String, asn1_IA5String_free>;

constexpr uint32_t digest_length = 20;
constexpr uint8_t octet_string_header[] = {0x04, digest_length};

enum : uint32_t { error_level = 2, warning_level = 3, debug_level = 6 };

/// What the log says of a fault. Where memory was short it says nothing.
struct Message {
    ScriptFault fault;
    uint32_t level;
    const char *text;
};

constexpr Message messages[] = {
    {ScriptFault::not_pkcs7, debug_level, "ASN.1 decoding of PKCS#7 structure failed."},
    {ScriptFault::no_signer, debug_level, "Could not retrieve signerInfo from PKCS#7 structure."},
    {ScriptFault::no_digest_made, debug_level, "Message digest calculation failed."},
    {ScriptFault::no_digest, debug_level, "Could not retrieve message digest from PKCS#7 structure."},
    {ScriptFault::other_digest, debug_level, "Invalid message digest."},
    {ScriptFault::no_version, debug_level, "Could not retrieve signing description from PKCS#7 structure."},
    {ScriptFault::malformed_version, debug_level, "Invalid signing description."},
    {ScriptFault::other_version, debug_level, "Script file version is incompatible with API version."},
    {ScriptFault::no_certificate, debug_level, "ASN.1 decoding of signer certificate failed."},
    {ScriptFault::not_encoded, debug_level, "ASN.1 encoding of authenticated attributes failed."},
    {ScriptFault::signer_signature, warning_level, "Invalid PKCS#7 signature."},
    {ScriptFault::root_signature, warning_level, "Signature verification failed."},
};

void log_fault(ScriptFault fault) {
    for (const Message &message : messages) {
        if (message.fault == fault)
            pkcs15_LogMessage(message.level, "%s", message.text);
    }
}

/// Decodes what stands at the start of the octets; null on failure.
template <class T>
T *decode(const uint8_t *(*d)(const uint8_t *, const uint8_t *, uint8_t, T **, uint16_t), const uint8_t *octets,
          uint32_t length) {
    T *value = nullptr;
    // There may be no octets to point to.
    if (length != 0)
        d(octets, octets + length, 0, &value, p15asn1LogFlag);
    return value;
}

template <class T>
const T *first_of(const List *list) {
    return list != nullptr && List_len(list) > 0 ? static_cast<const T *>(List_get(list, 0)) : nullptr;
}

const SignedData *signed_data_in(const ContentInfo &info) {
    const bool is_signed = asn1_ObjId_cmp(info.contentType, asn1_Get_signedData()) == 0;
    return is_signed && info.content != nullptr ? static_cast<const SignedData *>(info.content->value) : nullptr;
}

/// The first value of the last attribute of this type; null when there is none.
const asn1_Any *last_value(const List *attributes, const asn1_ObjId *type) {
    const Attribute *found = nullptr;
    for (int32_t i = 0; attributes != nullptr && i < List_len(attributes); ++i) {
        const auto *attribute = static_cast<const Attribute *>(List_get(attributes, i));
        if (asn1_ObjId_cmp(attribute->type, type) == 0)
            found = attribute;
    }
    return found != nullptr ? first_of<asn1_Any>(found->values) : nullptr;
}

bool has_attribute(const List *attributes, const asn1_ObjId *type) {
    return attributes != nullptr && asn1_Attributes_getAttribute(attributes, type) != nullptr;
}

/// The digest must stand there as an encoded OCTET STRING.
ScriptFault check_digest(const List *attributes, const uint8_t *digest) {
    if (!has_attribute(attributes, asn1_Get_messageDigest()))
        return ScriptFault::no_digest;
    const asn1_Any *value = last_value(attributes, asn1_Get_messageDigest());
    const bool holds = value != nullptr && value->len == sizeof octet_string_header + digest_length &&
                       std::memcmp(value->data, octet_string_header, sizeof octet_string_header) == 0 &&
                       std::memcmp(value->data + sizeof octet_string_header, digest, digest_length) == 0;
    return holds ? ScriptFault::none : ScriptFault::other_digest;
}

/// There is no range of versions: the text must be the very same.
ScriptFault check_version(const List *attributes) {
    if (!has_attribute(attributes, asn1_Get_signingDescription()))
        return ScriptFault::no_version;
    const asn1_Any *value = last_value(attributes, asn1_Get_signingDescription());
    const OwnedIa5String text(value != nullptr ? decode(asn1_IA5String_d, value->data, value->len) : nullptr);
    if (text == nullptr)
        return ScriptFault::malformed_version;
    constexpr uint32_t length = sizeof token::script_api_version - 1;
    const bool same = text->len == length && std::memcmp(text->data, token::script_api_version, length) == 0;
    return same ? ScriptFault::none : ScriptFault::other_version;
}

/// Octets of a bit string as they are, its bits divided by 8.
Bytestring whole_octets(const asn1_BitString &bits) {
    return {bits.bits / 8, bits.data};
}

Bytestring octets_of(const asn1_ASN1String &string) {
    return {string.len, string.data};
}

uint32_t encode_attribute(uint8_t **cursor, const void *attribute) {
    return asn1_Attribute_e(cursor, static_cast<const Attribute *>(attribute));
}

/// The attributes as they were signed: as a SET, not under the tag that they carry in the file.
ScriptFault encode_attributes(const List *attributes, OwnedBytestring &encoded) {
    constexpr uint8_t implicit = 0x80;
    const uint32_t length = asn1_List_e(nullptr, implicit, attributes, encode_attribute);
    if (length == 0)
        return ScriptFault::not_encoded;
    encoded.reset(Bytestring_new(length, nullptr));
    if (encoded == nullptr)
        return ScriptFault::no_memory;
    uint8_t *cursor = encoded->data;
    asn1_SetOf_e(&cursor, attributes, encode_attribute);
    return ScriptFault::none;
}

bool verify(const Bytestring &key, const Bytestring &text, const Bytestring &signature) {
    return CSP_verify(nullptr, CSP_SIG_RSA_SHA1, &key, nullptr, &text, &signature) == 0;
}

/// The signer's signature over the attributes, and the built-in key's over the signer's certificate.
ScriptFault check_signatures(const SignedData &message, const SignerInfo &signer) {
    const asn1_Any *const element = first_of<asn1_Any>(message.certificates);
    const OwnedCertificate certificate(element != nullptr ? decode(asn1_Certificate_d, element->data, element->len)
                                                          : nullptr);
    if (certificate == nullptr)
        return ScriptFault::no_certificate;
    OwnedBytestring attributes;
    if (const ScriptFault fault = encode_attributes(signer.authenticatedAttributes, attributes);
        fault != ScriptFault::none)
        return fault;
    if (!verify(whole_octets(*certificate->tbs->subjectPKI->subjectPublicKey), *attributes,
                octets_of(*signer.encryptedDigest)))
        return ScriptFault::signer_signature;
    const bool certified = verify(trustedPuK, octets_of(*certificate->tbsDER), whole_octets(*certificate->signature));
    return certified ? ScriptFault::none : ScriptFault::root_signature;
}

ScriptFault check(const Bytestring &script, const Bytestring &signature) {
    const OwnedContentInfo info(decode(asn1_ContentInfo_d, signature.data, signature.len));
    if (info == nullptr)
        return ScriptFault::not_pkcs7;
    const SignedData *const message = signed_data_in(*info);
    const auto *const signer = message != nullptr ? first_of<SignerInfo>(message->signerInfos) : nullptr;
    if (signer == nullptr)
        return ScriptFault::no_signer;
    uint8_t octets[digest_length];
    Bytestring digest = {sizeof octets, octets};
    if (CSP_hash(nullptr, CSP_ALG_SHA1, &script, &digest) != 0)
        return ScriptFault::no_digest_made;
    ScriptFault fault = check_digest(signer->authenticatedAttributes, octets);
    if (fault == ScriptFault::none)
        fault = check_version(signer->authenticatedAttributes);
    return fault == ScriptFault::none ? check_signatures(*message, *signer) : fault;
}

}  // namespace

uint32_t token::verify_script(const Bytestring &script, const Bytestring &signature, ScriptFault *fault) {
    const ScriptFault found = check(script, signature);
    if (fault != nullptr)
        *fault = found;
    if (found == ScriptFault::none)
        return 0;
    log_fault(found);
    const uint32_t code = found == ScriptFault::no_memory ? PKCS15_E_NO_MEMORY : PKCS15_E_FAILED;
    raise(code);
    pkcs15_LogMessage(error_level, "Script file signature invalid.");
    return raise(code);
}

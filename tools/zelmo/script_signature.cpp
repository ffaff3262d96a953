#include "script_signature.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fmt/format.h>
#include <iterator>

#include "asn1/asn1_pkcs7.h"
#include "certificate.h"
#include "name_text.h"
#include "runtime/fileio.h"
#include "signing_key.h"
#include "text.h"
#include "token/pkcs15_inittoken_signature.h"
#include "zelmop15/list.h"
#include "zelmop15/pkcs15.h"

namespace zelmo {

namespace {

using token::ScriptFault;

/// A test of the library's that has failed, in plain words.
struct Explanation {
    ScriptFault fault;
    const char *words;
    const char *advice;
};

constexpr const char *sign_again = "sign the script with 'zelmo script sign'";
constexpr const char *issue = "have the signer's certificate issued with 'zelmo script issue-signer', and sign again";

constexpr Explanation explanations[] = {
    {ScriptFault::not_pkcs7, "it is no PKCS #7 message in DER", sign_again},
    {ScriptFault::no_signer, "it is not signed data, or nobody has signed it", sign_again},
    {ScriptFault::no_digest_made, "the script's digest cannot be computed", "close other programs and try again"},
    {ScriptFault::no_digest, "it has no signed attribute with the script's digest", sign_again},
    {ScriptFault::other_digest, "it was made for another script, or the script was changed since", sign_again},
    {ScriptFault::no_version, "it has no signed attribute that names the version of the API", sign_again},
    {ScriptFault::malformed_version, "the version of the API that it names is no IA5String", sign_again},
    {ScriptFault::other_version, "it was made for another version of the API", sign_again},
    {ScriptFault::no_certificate, "the certificate of its signer is missing or malformed", sign_again},
    {ScriptFault::not_encoded, "its signed attributes cannot be encoded", sign_again},
    {ScriptFault::signer_signature,
     "it was not made, by RSA with SHA-1, with the key of its first certificate, or was changed since", sign_again},
    {ScriptFault::root_signature, "the certificate of its signer is not signed, by RSA with SHA-1, by the trusted root",
     issue},
};

void require(bool done, const char *what) {
    if (!done)
        throw cryptoFailure(what);
}

}  // namespace

OwnedBytestring readWhole(const std::string &file, const std::string &advice) {
    Bytestring *read = nullptr;
    errno = 0;
    if (file_read_bs(file.c_str(), &read) != 0)
        throw Failure(Exit::notFound, fmt::format("cannot read {}: {}; {}", printable(file),
                                                  errno != 0 ? std::strerror(errno) : "it is no regular file", advice));
    return OwnedBytestring(read);
}

std::vector<uint8_t> signScript(const Bytestring &script, EVP_PKEY &key, X509 &certificate) {
    constexpr unsigned flags = CMS_PARTIAL | CMS_DETACHED | CMS_BINARY | CMS_NOSMIMECAP;
    constexpr const char *failed = "cannot sign the script";
    constexpr const char *signing_description = "1.2.840.113549.1.9.13";
    if (script.len > INT_MAX)
        throw Failure(Exit::malformed, "the script is too long to be signed; make a shorter one");
    const crypto::Message message(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags));
    require(message != nullptr, failed);
    CMS_SignerInfo *const signer = CMS_add1_signer(message.get(), &certificate, &key, EVP_sha1(), flags);
    const crypto::ObjectId type(OBJ_txt2obj(signing_description, 1));
    require(signer != nullptr && type != nullptr, failed);
    constexpr int version_length = sizeof token::script_api_version - 1;
    require(CMS_signed_add1_attr_by_OBJ(signer, type.get(), V_ASN1_IA5STRING, token::script_api_version,
                                        version_length) == 1,
            failed);
    const crypto::Stream content(BIO_new_mem_buf(script.data, static_cast<int>(script.len)));
    require(content != nullptr && CMS_final(message.get(), content.get(), nullptr, flags) == 1, failed);
    uint8_t *octets = nullptr;
    const int length = i2d_CMS_ContentInfo(message.get(), &octets);
    require(length > 0, failed);
    std::vector<uint8_t> encoded(octets, octets + length);
    OPENSSL_free(octets);
    return encoded;
}

void requireGenuine(const Bytestring &script, const Bytestring &signature, const std::string &name) {
    ScriptFault fault = ScriptFault::none;
    if (token::verify_script(script, signature, &fault) == 0)
        return;
    const Explanation *why = std::find_if(std::begin(explanations), std::end(explanations),
                                          [&](const Explanation &one) { return one.fault == fault; });
    if (why == std::end(explanations))
        throw libraryFailure(fmt::format("cannot verify {}", name), PKCS15_E_NO_MEMORY, 0);
    throw Failure(Exit::signatureRefused, fmt::format("{} is refused: {}; {}", name, why->words, why->advice));
}

std::string signerText(const Bytestring &signature) {
    ContentInfo *decoded = nullptr;
    asn1_ContentInfo_d(signature.data, signature.data + signature.len, 0, &decoded, 0);
    const Owned<ContentInfo, asn1_ContentInfo_free> info(decoded);
    if (info == nullptr)
        throw libraryFailure("cannot tell who has signed", PKCS15_E_NO_MEMORY, 0);
    // What is genuine is signed data with a certificate.
    const auto *message = static_cast<const SignedData *>(info->content->value);
    const auto *element = static_cast<const asn1_Any *>(List_get(message->certificates, 0));
    const auto fields = certificateFields({element->data, element->len});
    const std::string name = fields ? nameText(fields->subject) : "";
    return name.empty() ? "a signer without a name" : printable(name);
}

std::string digestText(const Bytestring &script) {
    std::array<uint8_t, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    require(EVP_Digest(script.data, script.len, digest.data(), &length, EVP_sha1(), nullptr) == 1,
            "cannot compute the script's digest");
    return hex({digest.data(), length});
}

}  // namespace zelmo

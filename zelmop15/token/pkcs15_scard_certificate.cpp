// Reading the value of a certificate.
#include <algorithm>

#include "asn1/asn1_x680.h"
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"

using token::raise;

namespace {

bool is_certificate(uint32_t objectType) {
    return objectType == PKCS15_CERTIFICATES || objectType == PKCS15_TRUSTED_CERTIFICATES ||
           objectType == PKCS15_USEFUL_CERTIFICATES;
}

// An object of a directory, in memory until the end of its life here.
class OpenEntry {
  public:
    OpenEntry(CardHandle card, TokenContext *context, ObjectReference *reference, uint32_t *cardError)
        : card_(card), context_(context), reference_(reference), cardError_(cardError) {}
    OpenEntry(const OpenEntry &) = delete;
    OpenEntry &operator=(const OpenEntry &) = delete;
    ~OpenEntry() {
        if (object_ != nullptr)
            pkcs15_ScReleaseDFEntry(card_, context_, reference_, RELEASE_DISCARD, object_, cardError_);
    }
    uint32_t read(uint32_t flags) {
        return pkcs15_ScGetDFEntry(card_, context_, reference_, flags, &object_, cardError_);
    }
    // Null for an alternative that is only carried as octets.
    const PKCS15Object *object() const {
        return token::object_in(reference_->objectType, object_);
    }

  private:
    CardHandle card_;
    TokenContext *context_;
    ObjectReference *reference_;
    uint32_t *cardError_;
    void *object_ = nullptr;
};

const Path *value_path(const PKCS15Object *certificate) {
    const auto *attributes =
        certificate != nullptr ? static_cast<const X509CertificateAttributes *>(certificate->typeAttributes) : nullptr;
    return attributes != nullptr ? pkcs15_GetIndirectValuePath(attributes->value) : nullptr;
}

// Reads the value from the selected file.
uint32_t read_value(CardHandle card, const Path &path, OwnedBlock<uint8_t> &data, uint32_t &length,
                    uint32_t *cardError) {
    constexpr uint32_t whole_certificate = 3;
    if (path.length != nullptr)
        length = asn1_Integer_get(path.length);
    else if (const uint32_t raw = scard_GetDERContentLength(card, 0, &length); raw != 0)
        return token::card_result(raw, cardError);
    data.reset(allocate<uint8_t>(length));
    if (data == nullptr)
        return PKCS15_E_NO_MEMORY;
    const uint32_t offset = path.index != nullptr ? asn1_Integer_get(path.index) : 0;
    const uint32_t capacity = length;
    const uint32_t raw = scard_ReadEFCertificate(card, 0, offset, data.get(), &length, 0, whole_certificate);
    length = std::min(length, capacity);
    return token::card_result(raw, cardError);
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScReadCertificate(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                  uint32_t flags, uint8_t **data, uint32_t *length, uint32_t *cardError) {
    if (reference == nullptr || !is_certificate(reference->objectType))
        return raise(PKCS15_E_INVALID_PARAMETER);
    OpenEntry entry(card, tokenContext, reference, cardError);
    if (const uint32_t code = entry.read(flags); code != 0)
        return raise(code);
    const PKCS15Object *certificate = entry.object();
    const Path *path = value_path(certificate);
    if (path == nullptr)
        return raise(PKCS15_E_UNSUPPORTED);
    if (const uint32_t code = token::select_path(card, tokenContext, *path, nullptr, cardError); code != 0)
        return raise(code);
    // Only now, so that a PIN is presented where the certificate lies.
    uint8_t read_access = 0x80;
    const asn1_BitString access = {3, &read_access};
    if (const uint32_t code = pkcs15_ScAuthenticateObject(card, tokenContext, certificate->commonObjectAttributes,
                                                          &access, P15_VERIFY_NO_PROMPT, nullptr, cardError);
        code != 0)
        return raise(code);
    OwnedBlock<uint8_t> value;
    uint32_t valueLength = 0;
    if (const uint32_t code = read_value(card, *path, value, valueLength, cardError); code != 0)
        return raise(code);
    *data = value.release();
    *length = valueLength;
    return 0;
}
}

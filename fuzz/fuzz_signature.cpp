// Signature files of personalisation scripts: as they are; a genuine one with changes; and ones that everything is
// right with but the root.
#include <algorithm>
#include <vector>

#include "asn1/asn1_x680.h"
#include "codec.h"
#include "csp/csp.h"
#include "token/pkcs15_inittoken_signature.h"
#include "token/pkcs15_log.h"
#include "token/signed_script.h"
#include "zelmop15/pkcs15.h"

namespace {

const SignedScript &genuine_pair() {
    static const SignedScript pair;
    return pair;
}

const Octets &genuine() {
    static const Octets file = genuine_pair().signature();
    return file;
}

uint32_t verify(const Octets &file) {
    const OwnedBytestring script(
        Bytestring_new(static_cast<uint32_t>(genuine_pair().script.size()), genuine_pair().script.data()));
    // Just its own octets, so that a read behind them shows.
    const OwnedBytestring signature(
        Bytestring_new(static_cast<uint32_t>(file.size()), file.empty() ? nullptr : file.data()));
    const uint32_t code = token::verify_script(*script, *signature);
    fuzz::require(code == 0 || code == PKCS15_E_FAILED, "signature", "a script is genuine or not");
    return code;
}

bool holds(const Octets &file, const Octets &part) {
    return std::search(file.begin(), file.end(), part.begin(), part.end()) != file.end();
}

// The signed part of the certificate.
Octets certified() {
    constexpr std::ptrdiff_t header = 4;
    const Octets certificate = make_certificate(public_key(SigningKey::signer), SigningKey::root);
    const auto begin = certificate.begin() + header;
    return {begin, begin + header + (begin[2] << 8 | begin[3])};
}

// What passes has the certificate that the root has signed, and the script's digest and version.
void check(const Octets &file) {
    if (verify(file) != 0)
        return;
    static const Octets signed_part = certified();
    fuzz::require(holds(file, signed_part), "signature", "what passes holds what the root has signed");
    fuzz::require(holds(file, sha1_of(genuine_pair().script)), "signature", "what passes holds the script's digest");
    fuzz::require(holds(file, {std::begin(right_version), std::end(right_version) - 1}), "signature",
                  "what passes holds the version");
}

// The next field: a length of two octets and as much of what it says as there is.
Octets take(fuzz::Octets &rest) {
    if (rest.size() < 2)
        return {};
    const size_t length = std::min<size_t>(size_t{rest[0]} << 8 | rest[1], rest.size() - 2);
    const Octets field(rest.begin() + 2, rest.begin() + 2 + static_cast<std::ptrdiff_t>(length));
    rest = rest.subspan(2 + length);
    return field;
}

// Replaces octets of the genuine file, as often as the input says: where, how many, and by what.
Octets changed(fuzz::Octets rest) {
    Octets file = genuine();
    while (rest.size() >= 3) {
        const size_t at = std::min<size_t>(size_t{rest[0]} << 8 | rest[1], file.size());
        const size_t removed = std::min<size_t>(rest[2], file.size() - at);
        rest = rest.subspan(3);
        const Octets put = take(rest);
        const auto where = file.begin() + static_cast<std::ptrdiff_t>(at);
        file.erase(where, where + static_cast<std::ptrdiff_t>(removed));
        file.insert(file.begin() + static_cast<std::ptrdiff_t>(at), put.begin(), put.end());
    }
    return file;
}

// A signature by a key whose exponent is 1: the block itself.
Octets signed_by_anybody(const Octets &text) {
    const Octets info = hex("3021300906052B0E03021A05000414") + sha1_of(text);
    return hex("0001") + Octets(128 - 3 - info.size(), 0xFF) + Octets{0} + info;
}

// What a forged file holds beside what has to be right, in the order of the input.
enum Field : size_t {
    before_key,
    behind_key,
    certificate_end,
    first_attributes,
    last_attributes,
    before_attributes,
    behind_attributes,
    signer_end,
    message_begin,
    more_certificates,
    crls,
    more_signers,
    field_count
};

// A file with lengths, digest, version and signature as they have to be; only nobody has signed the certificate.
Octets forged(fuzz::Octets rest) {
    Octets fields[field_count];
    for (Octets &field : fields)
        field = take(rest);
    const Octets key = der(0x30, {der(0x02, {Octets{0}, Octets(128, 0xFF)}), hex("020101")});
    const Octets key_info = der(0x30, {hex("300D06092A864886F70D0101010500"), der(0x03, {Octets{0}, key})});
    const Octets certificate =
        der(0x30, {der(0x30, {fields[before_key], key_info, fields[behind_key]}), fields[certificate_end]});
    const Octets attributes = fields[first_attributes] + digest_attribute(sha1_of(genuine_pair().script)) +
                              version_attribute(right_version) + fields[last_attributes];
    const Octets signer = der(0x30, {fields[before_attributes], der(0xA0, {attributes}), fields[behind_attributes],
                                     der(0x04, {signed_by_anybody(der(0x31, {attributes}))}), fields[signer_end]});
    const Octets message = der(0x30, {fields[message_begin], der(0xA0, {certificate, fields[more_certificates]}),
                                      fields[crls], der(0x31, {signer, fields[more_signers]})});
    return der(0x30, {hex(signed_data_oid), der(0xA0, {message})});
}

}  // namespace

// Mode, and whether the trace runs; the rest is the file, changes to the genuine one, or the fields of a forged one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    p15asn1LogFlag = (data[0] & 0x80) != 0;
    const fuzz::Octets rest(data + 1, size - 1);
    switch (data[0] & 0x03) {
        case 0:
            check({rest.begin(), rest.end()});
            break;
        case 1:
            check(changed(rest));
            break;
        default:
            fuzz::require(verify(forged(rest)) == PKCS15_E_FAILED, "signature", "nobody but the root certifies");
    }
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    fuzz::require(verify(genuine()) == 0, "signature", "the genuine file passes");
    return 0;
}

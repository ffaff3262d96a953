// Signature verification with keys, parameters and signatures of any content, and with blocks of any content behind
// keys whose exponent is 1.
#include <algorithm>
#include <vector>

#include "codec.h"
#include "csp/csp.h"
#include "runtime/log.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int32_t schemes[] = {CSP_SIG_RSA_SHA1,      CSP_SIG_RSA_MD5,    CSP_SIG_RSA_MD2,
                               CSP_SIG_RSA_RIPEMD160, CSP_SIG_RSA_RAW,    CSP_SIG_SHA1_TAIL,
                               CSP_SIG_DSS_SHA1,      CSP_SIG_DSS_DIGEST, 0,
                               CSP_SIG_RSA_RAW + 1};
constexpr size_t max_key = 170;  // keeps the exponentiation short
constexpr size_t block_octets = 128;

// The trace's receiver: it reads all that it is handed.
uint32_t read_all(uint32_t /*level*/, uint32_t kind, va_list arguments) {
    static volatile uint8_t sum;
    if (kind != MIREL_LOG_DATA)
        return 0;
    const uint8_t *octets = va_arg(arguments, const uint8_t *);
    const uint32_t count = va_arg(arguments, uint32_t);
    for (uint32_t i = 0; i < count; ++i)
        sum = static_cast<uint8_t>(sum + octets[i]);
    return 0;
}

// An argument in a block of just its size.
class Argument {
  public:
    explicit Argument(fuzz::Octets octets)
        : value_(Bytestring_new(static_cast<uint32_t>(octets.size()), octets.empty() ? nullptr : octets.data())) {}
    const Bytestring *get() const {
        return value_.get();
    }

  private:
    OwnedBytestring value_;
};

// The next field: a length octet and as much of what it says as there is.
fuzz::Octets take(fuzz::Octets &rest, size_t most) {
    if (rest.empty())
        return {};
    const size_t length = std::min({size_t{rest[0]}, rest.size() - 1, most});
    const fuzz::Octets field = rest.subspan(1, length);
    rest = rest.subspan(1 + length);
    return field;
}

bool is_known(uint32_t result) {
    constexpr uint32_t results[] = {
        0, CSP_ERR_PARAM, CSP_ERR_MEMORY, CSP_ERR_ENCODING, CSP_ERR_RSA_DECRYPT, CSP_ERR_BAD_SIGNATURE};
    return std::find(std::begin(results), std::end(results), result) != std::end(results);
}

Bytes digest_of(int32_t scheme, fuzz::Octets text) {
    uint32_t hash = CSP_ALG_SHA1;
    if (scheme == CSP_SIG_RSA_MD5)
        hash = CSP_ALG_MD5;
    if (scheme == CSP_SIG_RSA_MD2)
        hash = CSP_ALG_MD2;
    if (scheme == CSP_SIG_RSA_RIPEMD160)
        hash = CSP_ALG_RIPEMD160;
    Bytes digest(hash == CSP_ALG_MD5 || hash == CSP_ALG_MD2 ? 16 : 20);
    Bytestring value = {static_cast<uint32_t>(digest.size()), digest.data()};
    CSP_hash(nullptr, hash, Argument(text).get(), &value);
    return digest;
}

// Key, parameters and text, each behind its length; the rest is the signature.
void verify_anything(int32_t scheme, bool with_parameters, fuzz::Octets rest) {
    const Argument key(take(rest, max_key));
    const Argument parameters(take(rest, max_key));
    const Argument text(take(rest, 255));
    const Argument signature(rest.first(std::min<size_t>(rest.size(), 400)));
    const uint32_t result = CSP_verify(nullptr, scheme, key.get(), with_parameters ? parameters.get() : nullptr,
                                       text.get(), signature.get());
    fuzz::require(is_known(result), "CSP_verify", "its result is known");
    fuzz::require(CSP_verify(nullptr, scheme, key.get(), with_parameters ? parameters.get() : nullptr, text.get(),
                             signature.get()) == result,
                  "CSP_verify", "its result is always the same");
}

// Judges a block that a key with an exponent of 1 has signed.
void verify_block(int32_t scheme, fuzz::Octets text, const Bytes &content, const Bytes &block) {
    static const Bytes modulus(block_octets, 0xFF);
    constexpr uint8_t exponent[] = {1};
    const uint32_t result = CSP_RSA_verify(nullptr, scheme, Argument(modulus).get(), Argument(exponent).get(),
                                           Argument(text).get(), Argument(block).get());
    fuzz::require(is_known(result), "CSP_RSA_verify", "its result is known");
    const Bytes digest = digest_of(scheme, text);
    const bool ends = content.size() >= digest.size() && std::equal(digest.rbegin(), digest.rend(), content.rbegin());
    const bool holds = std::search(content.begin(), content.end(), digest.begin(), digest.end()) != content.end();
    if (scheme == CSP_SIG_RSA_RAW)
        fuzz::require((result == 0) == std::equal(text.begin(), text.end(), content.begin(), content.end()),
                      "CSP_RSA_verify", "the content is the text");
    else if (scheme == CSP_SIG_SHA1_TAIL)
        fuzz::require((result == 0) == ends, "CSP_RSA_verify", "the content ends with the digest");
    else
        fuzz::require(result != 0 || holds, "CSP_RSA_verify", "what passes holds the digest");
}

Bytes padded(const Bytes &content) {
    Bytes block = {0, 1};
    block.resize(block_octets - 1 - content.size(), 0xFF);
    block.push_back(0);
    block.insert(block.end(), content.begin(), content.end());
    return block;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    mirel_log_init(32, read_all);
    return 0;
}

// Scheme, mode; in the modes for blocks the text behind its length, then the content of the block, into which mode 3
// puts the digest of the text behind a first field.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr size_t most = block_octets - 11;
    if (size < 2)
        return 0;
    const int32_t scheme = schemes[data[0] % std::size(schemes)];
    const unsigned mode = data[1] % 4;
    fuzz::Octets rest(data + 2, size - 2);
    if (mode < 2) {
        verify_anything(scheme, mode == 1, rest);
        return 0;
    }
    const fuzz::Octets text = take(rest, 255);
    Bytes content;
    if (mode == 3) {
        const fuzz::Octets head = take(rest, most);
        const Bytes digest = digest_of(scheme, text);
        content.assign(head.begin(), head.end());
        content.insert(content.end(), digest.begin(), digest.end());
    }
    content.insert(content.end(), rest.begin(), rest.end());
    content.resize(std::min(content.size(), most));
    verify_block(scheme, text, content, padded(content));
    return 0;
}

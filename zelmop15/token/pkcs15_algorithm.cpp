// Which of the card's algorithms a private key operation uses.
#include "asn1/asn1_x680.h"
#include "token/pkcs15_accessors.h"
#include "zelmop15/pkcs15.h"

namespace {

constexpr uint8_t default_algorithm = 0x0C;
constexpr uint32_t compute_signature = 1;
constexpr uint32_t decipher = 5;

struct Need {
    uint32_t algorithm;
    bool signature;
    bool decipher;
    const uint32_t *keyLength;
};

bool takes_key(uint8_t algRef, const uint32_t *keyLength) {
    if (keyLength == nullptr)
        return true;
    const ExtendedAlgorithmInfo *bounds = scard_GetExtendedAlgorithmInfo(algRef);
    return bounds == nullptr || (*keyLength >= bounds->minKeyLength && *keyLength <= bounds->maxKeyLength);
}

// 0 for an entry that does not do; otherwise the higher, the less it can do beyond what is needed.
uint32_t score(const AlgorithmInfo &entry, const Need &need) {
    if (entry.algRef == nullptr || !takes_key(token::first_octet(*entry.algRef), need.keyLength) ||
        token::first_octet(*entry.algorithm) != need.algorithm)
        return 0;
    const bool signs = asn1_BitString_test(entry.supportedOperations, compute_signature) != 0;
    const bool deciphers = asn1_BitString_test(entry.supportedOperations, decipher) != 0;
    if ((need.signature && !signs) || (need.decipher && !deciphers))
        return 0;
    return 1u + !signs + !deciphers;
}

const AlgorithmInfo *choose(const List *algorithms, const Need &need) {
    const AlgorithmInfo *chosen = nullptr;
    uint32_t best = 0;
    const int32_t count = algorithms != nullptr ? List_len(algorithms) : 0;
    for (int32_t i = 0; i < count; ++i) {
        const auto *entry = static_cast<const AlgorithmInfo *>(List_get(algorithms, i));
        if (const uint32_t points = score(*entry, need); points > best) {
            best = points;
            chosen = entry;
        }
    }
    return chosen;
}

}  // namespace

extern "C" {

void pkcs15_ScSelectPrivateKeyAlgorithm(CardHandle /*card*/, const TokenContext *tokenContext, uint32_t algorithm,
                                        uint8_t needSignature, uint8_t needDecipher, const uint32_t *keyLength,
                                        uint8_t *chosenAlgorithm, Reference **chosenReference) {
    constexpr uint32_t debug_level = 6;
    const Need need = {algorithm, needSignature != 0, needDecipher != 0, keyLength};
    const AlgorithmInfo *chosen = choose(tokenContext->tokenInfo->supportedAlgorithms, need);
    *chosenAlgorithm = chosen != nullptr ? token::first_octet(*chosen->algRef) : default_algorithm;
    *chosenReference = chosen != nullptr ? chosen->reference : nullptr;
    pkcs15_LogMessage(debug_level, "ICC cryptographic algorithm: 0x%02X", *chosenAlgorithm);
}

uint8_t pkcs15_GetPrivateKeyAlgorithm(const List *supportedAlgorithms, const KeyInfo *keyInfo,
                                      AlgorithmInfo **algorithmInfo) {
    constexpr uint8_t reference_choice = 2;
    AlgorithmInfo *looked_at = nullptr;
    uint8_t algorithm = default_algorithm;
    const bool searches =
        supportedAlgorithms != nullptr && keyInfo != nullptr && token::selector(*keyInfo) == reference_choice;
    const int32_t count = searches ? List_len(supportedAlgorithms) : 0;
    for (int32_t i = 0; i < count; ++i) {
        looked_at = static_cast<AlgorithmInfo *>(List_get(supportedAlgorithms, i));
        if (looked_at->algRef == nullptr ||
            asn1_Integer_cmp(looked_at->reference, static_cast<const Reference *>(keyInfo->value)) != 0)
            continue;
        algorithm = token::first_octet(*looked_at->algRef);
        break;
    }
    // After a miss this is the last entry of the list, so only the result tells.
    if (algorithmInfo != nullptr)
        *algorithmInfo = looked_at;
    return algorithm;
}
}

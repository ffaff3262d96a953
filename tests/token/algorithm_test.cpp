// Choosing the card's algorithm for a private key.
#include "asn1/asn1_x680.h"
#include "token/sample_token.h"

namespace {

// Operations of an AlgorithmInfo, as its BIT STRING: bit 1 signs, bit 5 deciphers.
constexpr const char *neither = "03020780", *signs = "03020640", *deciphers = "03020204", *both = "03020244";

Octets algorithm(uint8_t reference, uint8_t number, const char *operations, int algRef) {
    const auto integer = [](uint8_t value) { return Octets{0x02, 0x01, value}; };
    return der(0x30, {integer(reference), integer(number), hex("0500"), hex(operations),
                      algRef >= 0 ? integer(static_cast<uint8_t>(algRef)) : Octets{}});
}

Context token_with(TokenCard &card, const std::vector<Octets> &algorithms) {
    Octets list;
    for (const Octets &one : algorithms)
        list = list + one;
    const Octets supported = list.empty() ? list : der(0xA2, {list});
    card.file("5032").content = der(0x30, {hex("020100 0401CA 03020460"), supported});
    return acquire(card);
}

TEST(SelectAlgorithm, TakesWhatCanDoTheLeastBeyondTheNeed) {
    constexpr uint32_t none = 0;  // no length given
    const struct {
        const char *what;
        std::vector<Octets> algorithms;
        bool sign, decipher;
        uint32_t keyLength;
        int chosen, reference;  // reference -1: null
    } cases[] = {
        {"no algorithms", {}, true, false, none, 0x0C, -1},
        {"no algRef", {algorithm(1, 3, signs, -1)}, true, false, none, 0x0C, -1},
        {"other algorithm", {algorithm(1, 4, signs, 0x21)}, true, false, none, 0x0C, -1},
        {"specialist last", {algorithm(1, 3, both, 0x21), algorithm(2, 3, signs, 0x22)}, true, false, none, 0x22, 2},
        {"specialist first", {algorithm(1, 3, signs, 0x21), algorithm(2, 3, both, 0x22)}, true, false, none, 0x21, 1},
        {"equals", {algorithm(1, 3, signs, 0x21), algorithm(2, 3, signs, 0x22)}, true, false, none, 0x21, 1},
        {"no need", {algorithm(1, 3, signs, 0x21), algorithm(2, 3, neither, 0x22)}, false, false, none, 0x22, 2},
        {"cannot decipher", {algorithm(1, 3, signs, 0x21)}, false, true, none, 0x0C, -1},
        {"deciphers", {algorithm(1, 3, signs, 0x21), algorithm(2, 3, deciphers, 0x22)}, false, true, none, 0x22, 2},
        {"smallest key", {algorithm(1, 3, signs, 0x30)}, true, false, 512, 0x30, 1},
        {"greatest key", {algorithm(1, 3, signs, 0x30)}, true, false, 2048, 0x30, 1},
        {"key too small", {algorithm(1, 3, signs, 0x30)}, true, false, 511, 0x0C, -1},
        {"key too great", {algorithm(1, 3, signs, 0x30)}, true, false, 2049, 0x0C, -1},
        {"no bounds known", {algorithm(1, 3, signs, 0x31)}, true, false, 9999, 0x31, 1},
        {"reference 0", {algorithm(1, 3, signs, 0)}, true, false, none, 0, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        TokenCard card(false);
        card.bounds[0x30] = {0x30, 512, 2048};
        const Context context = token_with(card, c.algorithms);
        LogCapture log;
        uint8_t chosen = 0xEE;
        Reference *reference = reinterpret_cast<Reference *>(&chosen);
        pkcs15_ScSelectPrivateKeyAlgorithm(test_card, context.get(), 3, c.sign, c.decipher,
                                           c.keyLength != none ? &c.keyLength : nullptr, &chosen, &reference);
        EXPECT_EQ(chosen, c.chosen);
        EXPECT_EQ(reference != nullptr ? static_cast<int>(asn1_Integer_get(reference)) : -1, c.reference);
        char line[64];
        std::snprintf(line, sizeof line, "Debug ICC cryptographic algorithm: 0x%02X", static_cast<unsigned>(c.chosen));
        EXPECT_THAT(log.take(), ElementsAre(line));
        EXPECT_EQ(card.take_calls().size(), c.keyLength != none ? 1u : 0u);
    }
}

TEST(KeyAlgorithm, IsThatOfTheReferredEntry) {
    TokenCard card(false);
    const Context context = token_with(card, {algorithm(1, 3, signs, 0x21), algorithm(2, 3, signs, -1),
                                              algorithm(2, 3, signs, 0x22), algorithm(3, 3, signs, 0x23)});
    const List *algorithms = context->tokenInfo->supportedAlgorithms;
    const auto entry = [&](int32_t index) { return static_cast<AlgorithmInfo *>(List_get(algorithms, index)); };
    const struct {
        const List *list;
        uint32_t selector;  // of the KeyInfo; 0 for none at all
        uint8_t reference;
        uint8_t algorithm;
        const AlgorithmInfo *info;
    } cases[] = {{algorithms, 2, 1, 0x21, entry(0)}, {algorithms, 2, 2, 0x22, entry(2)},
                 {algorithms, 2, 9, 0x0C, entry(3)},  // a miss leaves the last entry looked at
                 {algorithms, 16, 1, 0x0C, nullptr}, {algorithms, 0, 1, 0x0C, nullptr},
                 {nullptr, 2, 1, 0x0C, nullptr}};
    for (const auto &c : cases) {
        uint8_t octet = c.reference;
        Reference reference = {1, &octet, 0};
        const KeyInfo keyInfo = {c.selector, &reference};
        const KeyInfo *given = c.selector != 0 ? &keyInfo : nullptr;
        auto *info = reinterpret_cast<AlgorithmInfo *>(&octet);
        EXPECT_EQ(pkcs15_GetPrivateKeyAlgorithm(c.list, given, &info), c.algorithm);
        EXPECT_EQ(info, c.info);
        EXPECT_EQ(pkcs15_GetPrivateKeyAlgorithm(c.list, given, nullptr), c.algorithm);
    }
    List *empty = List_new(0);
    const KeyInfo keyInfo = {2, entry(0)->reference};
    AlgorithmInfo *info = entry(0);
    EXPECT_EQ(pkcs15_GetPrivateKeyAlgorithm(empty, &keyInfo, &info), 0x0C);
    EXPECT_EQ(info, nullptr);
    List_free(empty, nullptr);
}

}  // namespace

// The cipher sessions beside implementations that are not ours, on random texts under random keys; and on the sets of
// known answers that Debian's python3-cryptography-vectors installs: NIST's for AES and triple DES (with equal keys,
// which is DES), NESSIE's for IDEA, RFC 6229's for arcfour.
#include <botan/block_cipher.h>
#include <filesystem>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include "support/installed_vectors.h"
#include "support/seeded.h"
#include "sym_case.h"

namespace {

using namespace zelmo_test;

/// One enciphering by openssl, without padding.
Octets by_openssl(const SymCase &cipher, const Octets &key, const Octets &iv, const Octets &text) {
    static OSSL_PROVIDER *const providers[] = {OSSL_PROVIDER_load(nullptr, "legacy"),
                                               OSSL_PROVIDER_load(nullptr, "default")};
    EXPECT_TRUE(providers[0] != nullptr && providers[1] != nullptr);
    const std::string name =
        cipher.alg == CSP_SYM_AES_CBC ? "AES-" + std::to_string(8 * key.size()) + "-CBC" : std::string(cipher.openssl);
    const std::unique_ptr<EVP_CIPHER, void (*)(EVP_CIPHER *)> method(EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr),
                                                                     EVP_CIPHER_free);
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX *)> context(EVP_CIPHER_CTX_new(),
                                                                              EVP_CIPHER_CTX_free);
    size_t length = key.size();
    size_t bits = 8 * length;
    const OSSL_PARAM lengths[] = {OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_KEYLEN, &length),
                                  cipher.alg == CSP_SYM_RC2_CBC
                                      ? OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_RC2_KEYBITS, &bits)
                                      : OSSL_PARAM_construct_end(),
                                  OSSL_PARAM_construct_end()};
    EXPECT_EQ(EVP_EncryptInit_ex2(context.get(), method.get(), nullptr, nullptr, lengths), 1) << name;
    EXPECT_EQ(EVP_EncryptInit_ex2(context.get(), nullptr, key.data(), iv.data(), nullptr), 1) << name;
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    Octets result(text.size() + 32);
    int written = 0;
    int rest = 0;
    EXPECT_EQ(EVP_EncryptUpdate(context.get(), result.data(), &written, text.data(), static_cast<int>(text.size())), 1);
    EXPECT_EQ(EVP_EncryptFinal_ex(context.get(), result.data() + written, &rest), 1);
    result.resize(text.size());
    return result;
}

/// By Botan, which turns single blocks.
Octets idea_by_botan(const Octets &key, Octets chain, const Octets &text) {
    const auto idea = Botan::BlockCipher::create_or_throw("IDEA");
    idea->set_key(key.data(), key.size());
    Octets result;
    for (size_t at = 0; at < text.size(); at += chain.size()) {
        for (size_t i = 0; i < chain.size(); ++i)
            chain[i] ^= text[at + i];
        idea->encrypt(chain.data());
        result = result + chain;
    }
    return result;
}

uint32_t random_key_length(Seeded &random, const SymCase &cipher) {
    switch (cipher.alg) {
        case CSP_SYM_RC2_CBC:
            return 1 + random.below(128);
        case CSP_SYM_ARCFOUR:
            return 1 + random.below(255);
        case CSP_SYM_AES_CBC:
            return 16 + 8 * random.below(3);
        default:
            return cipher.key_length;
    }
}

TEST(Ciphers, AgreeWithOpenSslAndBotan) {
    Seeded random;
    for (const SymCase &cipher : sym_cases)
        for (int run = 0; run < 4000 && !HasFailure(); ++run) {
            const uint32_t key_length = random_key_length(random, cipher);
            const Octets key = run % 4 == 0 ? random.runs(key_length) : random.octets(key_length);
            const Octets iv = random.octets(cipher.iv_length);
            const size_t length = size_t{cipher.unit()} * random.below(24);
            const Octets text = run % 3 == 0 ? random.runs(length) : random.octets(length);
            const Octets enciphered = Session(cipher.alg, key, iv).encipher(text);
            EXPECT_EQ(enciphered,
                      cipher.openssl != nullptr ? by_openssl(cipher, key, iv, text) : idea_by_botan(key, iv, text))
                << cipher.name << " run " << run;
            EXPECT_EQ(Session(cipher.alg, key, iv).decipher(enciphered), text) << cipher.name << " run " << run;
        }
}

const std::filesystem::path folder = "/usr/lib/python3/dist-packages/cryptography_vectors/ciphers";

struct Set {
    const char *folder;
    const char *prefix;  ///< Of the file names.
    uint32_t alg;
    bool chained;  ///< Otherwise each answer is one of blocks on their own.
    int least;     ///< Answers that there are at least.
};

constexpr Set sets[] = {
    {"AES/CBC", "CBC", CSP_SYM_AES_CBC, true, 2000},    {"AES/ECB", "ECB", CSP_SYM_AES_CBC, false, 2000},
    {"3DES/CBC", "TCBC", CSP_SYM_DES3_CBC, true, 400},  {"3DES/ECB", "TECB", CSP_SYM_DES3_ECB, true, 400},
    {"IDEA", "idea-ecb", CSP_SYM_IDEA_CBC, false, 900}, {"IDEA", "idea-cbc", CSP_SYM_IDEA_CBC, true, 20},
    {"ARC4", "", CSP_SYM_ARCFOUR, false, 250},
};

Octets key_of(const Values &answer) {
    if (answer.count("KEYs") != 0)
        return answer.octets("KEYs") + answer.octets("KEYs") + answer.octets("KEYs");
    if (answer.count("KEY1") != 0)
        return answer.octets("KEY1") + answer.octets("KEY2") + answer.octets("KEY3");
    return answer.octets("KEY");
}

void check_answer(const Set &set, const Values &answer) {
    const Octets key = key_of(answer), plain = answer.octets("PLAINTEXT"), cipher = answer.octets("CIPHERTEXT");
    const Octets iv = !set.chained              ? Octets(set.alg == CSP_SYM_AES_CBC ? 16 : 8)
                      : answer.count("IV") != 0 ? answer.octets("IV")
                                                : Octets();
    const size_t step = set.chained ? plain.size() : iv.size();
    for (size_t at = 0; at < plain.size(); at += step) {
        EXPECT_EQ(Session(set.alg, key, iv).encipher(part(plain, at, step)), part(cipher, at, step));
        EXPECT_EQ(Session(set.alg, key, iv).decipher(part(cipher, at, step)), part(plain, at, step));
    }
}

void check_stream(const Set &set, const Values &answer) {
    const Session session(set.alg, answer.octets("KEY"), {});
    const size_t offset = answer.count("OFFSET") != 0 ? std::stoul(answer.at("OFFSET")) : 0;
    EXPECT_EQ(session.encipher(Octets(offset)).size(), offset);
    EXPECT_EQ(session.encipher(answer.octets("PLAINTEXT")), answer.octets("CIPHERTEXT"));
}

TEST(KnownAnswers, AllThatAreInstalled) {
    if (!std::filesystem::exists(folder))
        GTEST_SKIP() << "python3-cryptography-vectors is not installed";
    for (const Set &set : sets) {
        int count = 0;
        // The interleaved mode of the files TCBCI is another one.
        for (const auto &entry : std::filesystem::directory_iterator(folder / set.folder))
            if (const std::string name = entry.path().filename();
                name.rfind(set.prefix, 0) == 0 && name.rfind("TCBCI", 0) != 0)
                for_each_installed(std::string("ciphers/") + set.folder + "/" + name, "", [&](const Values &answer) {
                    if (answer.count("PLAINTEXT") == 0)
                        return;
                    ++count;
                    set.alg == CSP_SYM_ARCFOUR ? check_stream(set, answer) : check_answer(set, answer);
                });
        EXPECT_GE(count, set.least);
    }
}

}  // namespace

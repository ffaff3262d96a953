// The whole sets of known answers that Debian's python3-cryptography-vectors installs, read where they lie: NIST's for
// AES and triple DES (with equal keys, which is DES), NESSIE's for IDEA, RFC 6229's for arcfour.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>

#include "sym_case.h"

namespace {

using namespace zelmo_test;

const std::filesystem::path folder = "/usr/lib/python3/dist-packages/cryptography_vectors/ciphers";

using Answer = std::map<std::string, std::string>;

/// Blocks of "NAME = value" lines.
template <class Check>
int for_each_answer(const std::filesystem::path &file, Check check) {
    std::ifstream in(file);
    Answer answer;
    int count = 0;
    const auto finish = [&] {
        if (answer.count("PLAINTEXT") != 0) {
            const testing::ScopedTrace where(__FILE__, __LINE__, file.string() + " count " + answer["COUNT"]);
            check(answer);
            ++count;
        }
        answer.clear();
    };
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.rfind("COUNT", 0) == 0)
            finish();
        if (const size_t equals = line.find(" = "); equals != std::string::npos && line[0] != '#')
            answer[line.substr(0, equals)] = line.substr(equals + 3);
    }
    finish();
    return count;
}

struct Set {
    const char *name;
    const char *folder;
    const char *prefix;  ///< Of the file names.
    uint32_t alg;
    bool chained;  ///< Otherwise each answer is one of blocks on their own.
    int least;     ///< Answers that there are at least.
};

constexpr Set sets[] = {
    {"AesCbc", "AES/CBC", "CBC", CSP_SYM_AES_CBC, true, 2000},
    {"AesEcb", "AES/ECB", "ECB", CSP_SYM_AES_CBC, false, 2000},
    {"Des3Cbc", "3DES/CBC", "TCBC", CSP_SYM_DES3_CBC, true, 400},
    {"Des3Ecb", "3DES/ECB", "TECB", CSP_SYM_DES3_ECB, true, 400},
    {"Idea", "IDEA", "idea-ecb", CSP_SYM_IDEA_CBC, false, 900},
    {"IdeaCbc", "IDEA", "idea-cbc", CSP_SYM_IDEA_CBC, true, 20},
};

Octets key_of(Answer &answer) {
    if (answer.count("KEYs") != 0)
        return hex(answer["KEYs"]) + hex(answer["KEYs"]) + hex(answer["KEYs"]);
    if (answer.count("KEY1") != 0)
        return hex(answer["KEY1"]) + hex(answer["KEY2"]) + hex(answer["KEY3"]);
    return hex(answer["KEY"]);
}

void check_answer(const Set &set, Answer &answer) {
    const Octets key = key_of(answer);
    const Octets plain = hex(answer["PLAINTEXT"]);
    const Octets cipher = hex(answer["CIPHERTEXT"]);
    const Octets iv = set.chained ? hex(answer["IV"]) : Octets(set.alg == CSP_SYM_AES_CBC ? 16 : 8);
    const size_t step = set.chained ? plain.size() : iv.size();
    for (size_t at = 0; at < plain.size(); at += step) {
        const Octets in(plain.begin() + static_cast<long>(at), plain.begin() + static_cast<long>(at + step));
        const Octets out(cipher.begin() + static_cast<long>(at), cipher.begin() + static_cast<long>(at + step));
        EXPECT_EQ(Session(set.alg, key, iv).encipher(in), out);
        EXPECT_EQ(Session(set.alg, key, iv).decipher(out), in);
    }
}

class KnownAnswers : public testing::TestWithParam<Set> {};

TEST_P(KnownAnswers, All) {
    if (!std::filesystem::exists(folder))
        GTEST_SKIP() << "python3-cryptography-vectors is not installed";
    int count = 0;
    // The interleaved mode of the files TCBCI is another one.
    for (const auto &entry : std::filesystem::directory_iterator(folder / GetParam().folder))
        if (const std::string name = entry.path().filename();
            name.rfind(GetParam().prefix, 0) == 0 && name.rfind("TCBCI", 0) != 0)
            count += for_each_answer(entry.path(), [](Answer &answer) { check_answer(GetParam(), answer); });
    std::cout << count << " answers\n";
    EXPECT_GE(count, GetParam().least);
}

INSTANTIATE_TEST_SUITE_P(All, KnownAnswers, testing::ValuesIn(sets),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(ArcfourAnswers, All) {
    if (!std::filesystem::exists(folder))
        GTEST_SKIP() << "python3-cryptography-vectors is not installed";
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder / "ARC4"))
        count += for_each_answer(entry.path(), [](Answer &answer) {
            const Session session(CSP_SYM_ARCFOUR, hex(answer["KEY"]), {});
            const size_t offset = answer.count("OFFSET") != 0 ? std::stoul(answer["OFFSET"]) : 0;
            EXPECT_EQ(session.encipher(Octets(offset)).size(), offset);
            EXPECT_EQ(session.encipher(hex(answer["PLAINTEXT"])), hex(answer["CIPHERTEXT"]));
        });
    std::cout << count << " answers\n";
    EXPECT_GE(count, 250);
}

}  // namespace

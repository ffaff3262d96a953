// The hash functions beside libtomcrypt and OpenSSL, and on NIST's own sets.
#include <fstream>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <tomcrypt.h>

#include "hash_functions.h"
#include "support/seeded.h"
#include "support/vector_file.h"

using namespace zelmo_test;

namespace {

struct Peer {
    const HashFunction &function;
    const ltc_hash_descriptor &tomcrypt;
    const EVP_MD *openssl;  ///< Null where it has none.
};

std::vector<Peer> peers() {
    return {{hash_function("MD2"), md2_desc, nullptr},
            {hash_function("MD5"), md5_desc, EVP_md5()},
            {hash_function("SHA1"), sha1_desc, EVP_sha1()},
            {hash_function("RIPEMD160"), rmd160_desc, EVP_ripemd160()}};
}

Octets tomcrypt_digest(const Peer &peer, const Octets &text) {
    Octets result(peer.function.size);
    hash_state state;
    EXPECT_EQ(peer.tomcrypt.init(&state), CRYPT_OK);
    EXPECT_EQ(peer.tomcrypt.process(&state, text.data(), text.size()), CRYPT_OK);
    EXPECT_EQ(peer.tomcrypt.done(&state, result.data()), CRYPT_OK);
    return result;
}

Octets tomcrypt_hmac(const Peer &peer, const Octets &key, const Octets &text) {
    Octets result(peer.function.size);
    unsigned long size = result.size();
    EXPECT_EQ(hmac_memory(register_hash(&peer.tomcrypt), key.data(), key.size(), text.data(), text.size(),
                          result.data(), &size),
              CRYPT_OK);
    return result;
}

Octets digest_in_pieces(const HashFunction &function, const Octets &text, Seeded &seeded) {
    HashSession *session = nullptr;
    EXPECT_EQ(CSP_hash_init(nullptr, function.alg, &session), 0u);
    for (size_t done = 0; done < text.size();) {
        const size_t count = std::min<size_t>(text.size() - done, seeded.below(150));
        const Octets piece(text.begin() + static_cast<long>(done), text.begin() + static_cast<long>(done + count));
        const Bytestring in = view(piece);
        EXPECT_EQ(CSP_hash_update(nullptr, session, &in), 0u);
        done += count;
    }
    Octets result(function.size);
    Bytestring out = view(result);
    EXPECT_EQ(CSP_hash_final(nullptr, session, &out), 0u);
    return result;
}

TEST(HashPeers, SameDigestsAndMacs) {
    Seeded seeded;
    for (const Peer &peer : peers())
        for (int round = 0; round < 2000 && !HasFailure(); ++round) {
            SCOPED_TRACE(peer.function.name);
            // One octet at least: libtomcrypt takes no empty key.
            const Octets text = seeded.runs(1 + seeded.below(round % 8 == 0 ? 3000 : 300));
            const Octets key = seeded.octets(1 + seeded.below(140));
            const Octets mac = hmac(peer.function, key, text);
            ASSERT_EQ(digest_in_pieces(peer.function, text, seeded), tomcrypt_digest(peer, text)) << text.size();
            if (peer.openssl == nullptr) {
                // Its blocks are as long as the others', not its own 16 octets.
                const auto digest_of = [&](const Octets &octets) { return tomcrypt_digest(peer, octets); };
                ASSERT_EQ(mac, hmac_by_hand(digest_of, key, text)) << key.size();
                ASSERT_NE(mac, tomcrypt_hmac(peer, key, text));
                continue;
            }
            ASSERT_EQ(mac, tomcrypt_hmac(peer, key, text)) << key.size();
            Octets theirs(peer.function.size);
            EVP_Digest(text.data(), text.size(), theirs.data(), nullptr, peer.openssl, nullptr);
            ASSERT_EQ(digest(peer.function, text), theirs) << text.size();
            HMAC(peer.openssl, key.data(), static_cast<int>(key.size()), text.data(), text.size(), theirs.data(),
                 nullptr);
            ASSERT_EQ(mac, theirs) << key.size();
        }
}

const std::string nist = "/usr/lib/python3/dist-packages/cryptography_vectors/hashes/SHA1/";

class NistSha1 : public testing::Test {
  protected:
    void SetUp() override {
        if (!std::ifstream(nist + "SHA1Monte.rsp"))
            GTEST_SKIP() << "not run: NIST's sets are not there; install python3-cryptography-vectors";
    }

    template <class Run>
    static void for_each(const std::string &file, Run run) {
        std::ifstream in(nist + file);
        ASSERT_TRUE(in) << file;
        size_t count = 0;
        Vector vector;
        for (std::string line; std::getline(in, line);) {
            line.resize(std::min(line.size(), line.find('\r')));
            const size_t equals = line.find(" = ");
            if (equals != line.npos && line[0] != '[') {
                vector.set(line.substr(0, equals), line.substr(equals + 3));
            } else if (!vector.empty()) {
                run(vector);
                vector = Vector();
                ++count;
            }
        }
        std::cout << file << ": " << count << " vectors\n";
    }
};

TEST_F(NistSha1, Messages) {
    for (const char *file : {"SHA1ShortMsg.rsp", "SHA1LongMsg.rsp"})
        for_each(file, [](Vector &v) {
            Octets text = v.octets("Msg");
            text.resize(v.number("Len") / 8);
            EXPECT_EQ(digest(hash_function("SHA1"), text), v.octets("MD")) << text.size();
        });
}

TEST_F(NistSha1, MonteCarlo) {
    Octets seed;
    for_each("SHA1Monte.rsp", [&seed](Vector &v) {
        if (v.has("Seed")) {
            seed = v.octets("Seed");
            return;
        }
        Octets last[3] = {seed, seed, seed};
        for (int i = 0; i < 1000; ++i) {
            Octets next = digest(hash_function("SHA1"), last[0] + last[1] + last[2]);
            last[0].swap(last[1]);
            last[1].swap(last[2]);
            last[2].swap(next);
        }
        seed = last[2];
        EXPECT_EQ(seed, v.octets("MD")) << v.text("COUNT");
    });
}

}  // namespace

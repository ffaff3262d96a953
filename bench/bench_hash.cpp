// The hash functions beside libtomcrypt and OpenSSL, which is kept from using what the processor has beyond plain
// x86-64. Each digests the same 16 KB; the digests are compared, so that no failure is timed.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <openssl/evp.h>
#include <stdexcept>
#include <string>
#include <tomcrypt.h>
#include <unistd.h>
#include <vector>

#include "csp/csp.h"
#include "medians.h"

namespace {

using Octets = std::vector<uint8_t>;

struct Subject {
    const char *name;
    CspHash alg;
    const ltc_hash_descriptor &tomcrypt;
    const EVP_MD *openssl;  ///< Null where it has none.
};

void digest_here(const Subject &subject, Octets &text, uint8_t *digest) {
    const Bytestring in = {static_cast<uint32_t>(text.size()), text.data()};
    Bytestring out = {static_cast<uint32_t>(subject.tomcrypt.hashsize), digest};
    if (CSP_hash(nullptr, subject.alg, &in, &out) != 0)
        throw std::runtime_error("the library does not digest");
}

void digest_tomcrypt(const Subject &subject, Octets &text, uint8_t *digest) {
    hash_state state;
    subject.tomcrypt.init(&state);
    subject.tomcrypt.process(&state, text.data(), text.size());
    subject.tomcrypt.done(&state, digest);
}

void digest_openssl(const Subject &subject, Octets &text, uint8_t *digest) {
    EVP_Digest(text.data(), text.size(), digest, nullptr, subject.openssl, nullptr);
}

template <auto Digest>
void time_digest(benchmark::State &state, const Subject &subject) {
    Octets text(16384);
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<uint8_t>(i * i >> 5);
    Octets expected(subject.tomcrypt.hashsize), found(expected.size());
    digest_tomcrypt(subject, text, expected.data());
    Digest(subject, text, found.data());
    if (found != expected)
        throw std::runtime_error("digests differ");
    for (auto _ : state) {
        Digest(subject, text, found.data());
        benchmark::DoNotOptimize(found.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void print_ratio(const bench::Medians &medians, const std::string &task, const char *peer) {
    const double ours = medians.of(task + "/zelmop15");
    const double theirs = medians.of(task + "/" + peer);
    if (ours != 0 && theirs != 0)
        std::printf("%s: %.2f times as fast as %s\n", task.c_str(), theirs / ours, peer);
}

}  // namespace

int main(int argc, char **argv) {
    // OpenSSL looks at this when it is loaded.
    if (setenv("OPENSSL_ia32cap", "0", 0) == 0 && std::getenv("ZELMO_BENCH_AGAIN") == nullptr &&
        setenv("ZELMO_BENCH_AGAIN", "1", 1) == 0)
        execv("/proc/self/exe", argv);
    const Subject subjects[] = {
        {"md2", CSP_ALG_MD2, md2_desc, nullptr},
        {"md5", CSP_ALG_MD5, md5_desc, EVP_md5()},
        {"sha1", CSP_ALG_SHA1, sha1_desc, EVP_sha1()},
        {"ripemd160", CSP_ALG_RIPEMD160, rmd160_desc, EVP_ripemd160()},
    };
    for (const Subject &subject : subjects) {
        const auto enter = [&subject](const char *who, auto &timed) {
            benchmark::RegisterBenchmark((std::string(subject.name) + "/" + who).c_str(), timed, subject);
        };
        enter("zelmop15", time_digest<digest_here>);
        enter("libtomcrypt", time_digest<digest_tomcrypt>);
        if (subject.openssl != nullptr)
            enter("openssl", time_digest<digest_openssl>);
    }
    bench::Medians medians;
    medians.run(argc, argv);
    for (const Subject &subject : subjects)
        for (const char *peer : {"libtomcrypt", "openssl"})
            print_ratio(medians, subject.name, peer);
}

// The symmetric ciphers through their sessions, beside the same work in other libraries, in one run.
#include <benchmark/benchmark.h>
#include <botan/cipher_mode.h>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <tomcrypt.h>
#include <vector>

#include "csp/csp.h"
#include "medians.h"

namespace {

using Octets = std::vector<uint8_t>;

constexpr size_t text_size = 16384;

void expect(bool holds, const char *what) {
    if (!holds)
        throw std::runtime_error(what);
}

/// A running cipher, which turns the text from one buffer to another.
struct Cipher {
    virtual ~Cipher() = default;
    virtual void turn(const Octets &in, Octets &out) = 0;
};

using Maker = std::unique_ptr<Cipher> (*)(uint32_t alg, const Octets &key, const Octets &iv, bool decipher);

Bytestring view(const Octets &octets) {
    return {static_cast<uint32_t>(octets.size()), const_cast<uint8_t *>(octets.data())};
}

class Ours : public Cipher {
  public:
    Ours(uint32_t alg, const Octets &key, const Octets &iv, bool decipher)
        : turn_(decipher ? CSP_sym_dec : CSP_sym_enc) {
        const Bytestring given = view(key);
        const Bytestring initial = view(iv);
        expect(CSP_sym_init(&context_, alg, &given, &initial, &session_) == 0, "no session");
    }
    Ours(const Ours &) = delete;
    Ours &operator=(const Ours &) = delete;
    ~Ours() override {
        CSP_sym_final(&context_, session_);
    }
    void turn(const Octets &in, Octets &out) override {
        const Bytestring from = view(in);
        Bytestring to = view(out);
        expect(turn_(&context_, session_, &from, &to) == 0, "the session fails");
    }

  private:
    CspContext context_ = {nullptr, PTHREAD_MUTEX_INITIALIZER};
    SymCipherSession *session_ = nullptr;
    decltype(CSP_sym_enc) *turn_;
};

template <const ltc_cipher_descriptor &Descriptor>
class TomcryptCbc : public Cipher {
  public:
    TomcryptCbc(uint32_t /*alg*/, const Octets &key, const Octets &iv, bool decipher) : decipher_(decipher) {
        const int cipher = register_cipher(&Descriptor);
        expect(cbc_start(cipher, iv.data(), key.data(), static_cast<int>(key.size()), 0, &cbc_) == CRYPT_OK, "cbc");
    }
    void turn(const Octets &in, Octets &out) override {
        const int result = decipher_ ? cbc_decrypt(in.data(), out.data(), in.size(), &cbc_)
                                     : cbc_encrypt(in.data(), out.data(), in.size(), &cbc_);
        expect(result == CRYPT_OK, "libtomcrypt fails");
    }

  private:
    symmetric_CBC cbc_;
    bool decipher_;
};

class TomcryptArcfour : public Cipher {
  public:
    TomcryptArcfour(uint32_t /*alg*/, const Octets &key, const Octets & /*iv*/, bool /*decipher*/) {
        expect(rc4_stream_setup(&state_, key.data(), key.size()) == CRYPT_OK, "arcfour");
    }
    void turn(const Octets &in, Octets &out) override {
        rc4_stream_crypt(&state_, in.data(), in.size(), out.data());
    }

  private:
    rc4_state state_;
};

class BotanIdea : public Cipher {
  public:
    BotanIdea(uint32_t /*alg*/, const Octets &key, const Octets &iv, bool decipher)
        : mode_(Botan::Cipher_Mode::create_or_throw("IDEA/CBC/NoPadding",
                                                    decipher ? Botan::DECRYPTION : Botan::ENCRYPTION)) {
        mode_->set_key(key);
        mode_->start(iv);
    }
    /// Its mode works in place.
    void turn(const Octets &in, Octets &out) override {
        out = in;
        mode_->process(out.data(), out.size());
    }

  private:
    std::unique_ptr<Botan::Cipher_Mode> mode_;
};

template <class C>
std::unique_ptr<Cipher> make(uint32_t alg, const Octets &key, const Octets &iv, bool decipher) {
    return std::make_unique<C>(alg, key, iv, decipher);
}

struct Row {
    const char *name;
    uint32_t alg;
    size_t key_length, iv_length;
    const char *peer_name;
    Maker peer;
    double target;
};

const Row rows[] = {
    {"rc2_cbc", CSP_SYM_RC2_CBC, 16, 8, "libtomcrypt", make<TomcryptCbc<rc2_desc>>, 0.8},
    {"arcfour", CSP_SYM_ARCFOUR, 16, 0, "libtomcrypt", make<TomcryptArcfour>, 0.8},
    {"des_cbc", CSP_SYM_DES_CBC, 8, 8, "libtomcrypt", make<TomcryptCbc<des_desc>>, 0.8},
    {"des3_cbc", CSP_SYM_DES3_CBC, 24, 8, "libtomcrypt", make<TomcryptCbc<des3_desc>>, 0.8},
    {"aes128_cbc", CSP_SYM_AES_CBC, 16, 16, "libtomcrypt", make<TomcryptCbc<aes_desc>>, 0.8},
    {"aes256_cbc", CSP_SYM_AES_CBC, 32, 16, "libtomcrypt", make<TomcryptCbc<aes_desc>>, 0.8},
    {"idea_cbc", CSP_SYM_IDEA_CBC, 16, 8, "Botan", make<BotanIdea>, 0.25},
};

Octets counted(size_t length) {
    Octets octets(length);
    for (size_t i = 0; i < length; ++i)
        octets[i] = static_cast<uint8_t>(37 * i + 11);
    return octets;
}

void run(benchmark::State &state, const Row &row, Maker maker, bool decipher) {
    const Octets text = counted(text_size);
    const Octets key = counted(row.key_length);
    const Octets iv = counted(row.iv_length);
    Octets out(text_size);
    Octets expected(text_size);
    make<Ours>(row.alg, key, iv, decipher)->turn(text, expected);
    maker(row.alg, key, iv, decipher)->turn(text, out);
    expect(out == expected, "the two libraries differ");
    const auto cipher = maker(row.alg, key, iv, decipher);
    for (auto _ : state) {
        cipher->turn(text, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text_size));
}

void print_ratio(const bench::Medians &medians, const std::string &task, const Row &row) {
    const double ours = medians.of(task + "/zelmop15");
    const double theirs = medians.of(task + "/" + row.peer_name);
    if (ours != 0 && theirs != 0)
        std::printf("%-20s %6.0f MB/s, %.2f times as fast as %s at %.0f MB/s (target %.2f)\n", task.c_str(),
                    1e3 * text_size / ours, theirs / ours, row.peer_name, 1e3 * text_size / theirs, row.target);
}

}  // namespace

int main(int argc, char **argv) {
    constexpr const char *directions[] = {"/encipher", "/decipher"};
    for (const Row &row : rows)
        for (const bool decipher : {false, true}) {
            const std::string task = std::string(row.name) + directions[decipher ? 1 : 0];
            benchmark::RegisterBenchmark((task + "/zelmop15").c_str(), run, row, make<Ours>, decipher);
            benchmark::RegisterBenchmark((task + "/" + row.peer_name).c_str(), run, row, row.peer, decipher);
        }
    bench::Medians medians;
    medians.run(argc, argv);
    for (const Row &row : rows)
        for (const char *direction : directions)
            print_ratio(medians, std::string(row.name) + direction, row);
}

#include "signing_key.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <unistd.h>

#include "text.h"
#include "token/pkcs15_inittoken_root.h"
#include "virtualcard/descriptor.h"

namespace zelmo {

namespace {

constexpr int key_bits = 2048;

/// Gives libcrypto the passphrase of one key.
class Passphrase {
  public:
    Passphrase(const std::string &file, SecretLines &lines) : file_(printable(file)), lines_(lines) {}
    Passphrase(const Passphrase &) = delete;
    Passphrase &operator=(const Passphrase &) = delete;

    static int give(char *buffer, int size, int, void *self) {
        return static_cast<Passphrase *>(self)->put(buffer, size);
    }
    /// Whether libcrypto has asked, that is, the key is encrypted.
    bool wanted() const {
        return wanted_;
    }
    void rethrow() const {
        if (failure_)
            std::rethrow_exception(failure_);
    }

  private:
    /// libcrypto is C, so no exception may pass through it.
    int put(char *buffer, int size) {
        const bool again = wanted_;
        wanted_ = true;
        try {
            if (!lines_.given())
                return ask(buffer, size);
            if (!again)
                lines_.require(line_, "the passphrase of " + file_);
            if (line_.length() > static_cast<uint32_t>(size))
                return -1;
            std::memcpy(buffer, line_.data(), line_.length());
            return static_cast<int>(line_.length());
        } catch (...) {
            failure_ = std::current_exception();
            return -1;
        }
    }
    int ask(char *buffer, int size) const {
        // Without one, libcrypto would read from standard input, where nobody expects it.
        const virtualcard::Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
        if (terminal < 0)
            throw Failure(Exit::failure, fmt::format("cannot ask for the passphrase of {}: there is no terminal; give "
                                                     "it with --passphrase-fd",
                                                     file_));
        const std::string prompt = fmt::format("Passphrase of {}: ", file_);
        if (EVP_read_pw_string(buffer, size, prompt.c_str(), 0) != 0)
            throw Failure(Exit::failure, fmt::format("no passphrase was entered for {}; nothing was signed", file_));
        return static_cast<int>(strnlen(buffer, static_cast<size_t>(size)));
    }

    std::string file_;
    SecretLines &lines_;
    Secret line_;
    bool wanted_ = false;
    std::exception_ptr failure_;
};

crypto::Stream openStream(const std::string &file, const char *what) {
    errno = 0;
    crypto::Stream stream(BIO_new_file(file.c_str(), "r"));
    if (!stream) {
        const int error = errno;
        ERR_clear_error();
        throw Failure(Exit::notFound, fmt::format("cannot read {} {}: {}; name a file that can be read", what,
                                                  printable(file), std::strerror(error)));
    }
    return stream;
}

Failure writeFailure(const std::string &file) {
    return {Exit::failure, fmt::format("cannot write the key {}: {}; name a file that can be written", printable(file),
                                       std::strerror(errno))};
}

bool writeKey(int fd, EVP_PKEY &key) {
    const crypto::Stream stream(BIO_new_fd(fd, BIO_NOCLOSE));
    return stream != nullptr &&
           PEM_write_bio_PKCS8PrivateKey(stream.get(), &key, nullptr, nullptr, 0, nullptr, nullptr) == 1 &&
           fsync(fd) == 0;
}

}  // namespace

Failure cryptoFailure(const std::string &what) {
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    const std::string text = reason != nullptr ? reason : "libcrypto gives no reason";
    ERR_clear_error();
    return {Exit::failure, fmt::format("{}: {}; see that the system's OpenSSL works", what, text)};
}

crypto::Key readRsaKey(const std::string &file, SecretLines &passphrases) {
    const crypto::Stream stream = openStream(file, "the key");
    Passphrase passphrase(file, passphrases);
    crypto::Key key(PEM_read_bio_PrivateKey(stream.get(), nullptr, Passphrase::give, &passphrase));
    ERR_clear_error();
    passphrase.rethrow();
    if (!key && passphrase.wanted())
        throw Failure(Exit::failure, fmt::format("cannot open the key {}: the passphrase is wrong; nothing was signed",
                                                 printable(file)));
    if (!key)
        throw Failure(
            Exit::malformed,
            fmt::format("{} holds no private key in PEM form; name a key such as 'zelmo script issue-signer' makes",
                        printable(file)));
    if (EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA)
        throw Failure(Exit::malformed,
                      fmt::format("the key {} is no RSA key; name a key such as 'zelmo script issue-signer' makes",
                                  printable(file)));
    return key;
}

crypto::Key makeRsaKey(const std::string &file) {
    crypto::Key key(EVP_RSA_gen(key_bits));
    if (!key)
        throw cryptoFailure("cannot make a key");
    const virtualcard::Descriptor fd(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0600));
    if (fd < 0)
        throw writeFailure(file);
    errno = 0;
    if (!writeKey(fd, *key)) {
        const Failure failure = writeFailure(file);
        ERR_clear_error();
        unlink(file.c_str());
        throw failure;
    }
    return key;
}

crypto::Certificate readCertificate(const std::string &file) {
    const crypto::Stream stream = openStream(file, "the certificate");
    crypto::Certificate certificate(PEM_read_bio_X509(stream.get(), nullptr, nullptr, nullptr));
    ERR_clear_error();
    if (!certificate)
        throw Failure(Exit::malformed, fmt::format("{} holds no certificate in PEM form; have one issued with "
                                                   "'zelmo script issue-signer'",
                                                   printable(file)));
    return certificate;
}

crypto::Key trustedKey() {
    const uint8_t *octets = trustedPuK.data;
    crypto::Key key(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &octets, static_cast<long>(trustedPuK.len)));
    if (!key)
        throw cryptoFailure("cannot use the built-in key");
    return key;
}

}  // namespace zelmo

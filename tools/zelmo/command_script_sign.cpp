#include <cstdio>
#include <filesystem>
#include <initializer_list>

#include "commands.h"
#include "output.h"
#include "script_check.h"
#include "script_signature.h"
#include "signer_certificate.h"
#include "signing_key.h"
#include "text.h"
#include "token/pkcs15_inittoken_signature.h"

namespace zelmo {

namespace {

/// The library takes signers' keys of any size from here on; the certificate's own signature has 2048 bits.
constexpr int least_key_bits = 2048;

OwnedBytestring readScript(const std::string &file) {
    return readWhole(file, "make a script with 'zelmo script build'");
}

/// What is written must not take the place of what is read.
void requireOther(const std::string &output, std::initializer_list<std::string> inputs) {
    std::error_code ignored;
    for (const std::string &input : inputs) {
        if (input == output || std::filesystem::equivalent(input, output, ignored))
            throw Failure(Exit::usage,
                          fmt::format("{} would be overwritten; give another file with -o", printable(input)));
    }
}

/// "signer.key.pem" for "signer.pem".
std::string keyFileFor(const std::string &certificate) {
    std::filesystem::path file(certificate);
    return file.replace_extension(".key.pem").string();
}

void requireTrusted(const EVP_PKEY &rootKey, const std::string &file) {
    if (EVP_PKEY_eq(&rootKey, trustedKey().get()) != 1)
        throw Failure(Exit::signatureRefused,
                      fmt::format("the key {} is not the trusted root of this zelmo, which would refuse what it "
                                  "certifies; give the root's own key, or configure zelmo for this one with "
                                  "-DZELMOP15_TRUSTED_KEY=FILE",
                                  printable(file)));
}

/// The signer's key, made if there is none.
crypto::Key signerKey(const std::string &file, SecretLines &passphrases) {
    std::error_code ignored;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file, ignored))) {
        crypto::Key made = makeRsaKey(file);
        fmt::print(stderr, "Made {}: the signer's key, not encrypted, for its owner alone to read.\n", printable(file));
        return made;
    }
    crypto::Key key = readRsaKey(file, passphrases);
    if (EVP_PKEY_get_bits(key.get()) < least_key_bits)
        throw Failure(Exit::malformed,
                      fmt::format("the key {} has {} bits, and must have {} or more; name another file",
                                  printable(file), EVP_PKEY_get_bits(key.get()), least_key_bits));
    return key;
}

}  // namespace

Exit runScriptSign(const Options &options) {
    requireOther(options.output, {options.file, options.key, options.certificate});
    const OwnedBytestring script = readScript(options.file);
    requireRunnable(*script, printable(options.file));
    const crypto::Certificate certificate = readCertificate(options.certificate);
    SecretLines passphrases(options.passphraseFd, "", passphrase_lines);
    const crypto::Key key = readRsaKey(options.key, passphrases);
    if (EVP_PKEY_eq(X509_get0_pubkey(certificate.get()), key.get()) != 1) {
        ERR_clear_error();
        throw Failure(Exit::failure, fmt::format("the key {} does not belong to the certificate {}; name two that do",
                                                 printable(options.key), printable(options.certificate)));
    }
    std::vector<uint8_t> signature = signScript(*script, *key, *certificate);
    // No signature leaves that the library would refuse.
    requireGenuine(*script, {static_cast<uint32_t>(signature.size()), signature.data()},
                   fmt::format("a signature with {}", printable(options.certificate)));
    writeFile(options.output, {reinterpret_cast<const char *>(signature.data()), signature.size()});
    fmt::print(stderr, "Made {}: signature of {} for {}.\n", printable(options.output), printable(options.file),
               token::script_api_version);
    return Exit::ok;
}

Exit runScriptVerify(const Options &options) {
    const OwnedBytestring script = readScript(options.file);
    const OwnedBytestring signature = readWhole(options.signature, "sign the script with 'zelmo script sign'");
    requireGenuine(*script, *signature, "the signature " + printable(options.signature));
    Output output;
    output.print("{} is genuine: signed by {}, SHA-1 {}\n", printable(options.file), signerText(*signature),
                 digestText(*script));
    output.flush();
    return Exit::ok;
}

Exit runScriptIssueSigner(const Options &options) {
    const std::string keyFile = options.key.empty() ? keyFileFor(options.output) : options.key;
    requireOther(options.output, {options.rootKey, keyFile});
    requireName(options.name);
    SecretLines passphrases(options.passphraseFd, "", passphrase_lines);
    const crypto::Key rootKey = readRsaKey(options.rootKey, passphrases);
    requireTrusted(*rootKey, options.rootKey);
    const crypto::Key key = signerKey(keyFile, passphrases);
    const crypto::Certificate certificate = issueSigner(*rootKey, *key, options.name, options.days);
    writeFile(options.output, pemOf(*certificate));
    fmt::print(stderr, "Made {}: certificate of the signer {}, valid for {} days.\n", printable(options.output),
               printable(options.name), options.days);
    return Exit::ok;
}

}  // namespace zelmo

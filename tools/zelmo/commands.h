// The subcommands.
#ifndef ZELMO_COMMANDS_H
#define ZELMO_COMMANDS_H

#include <string>

#include "failure.h"

namespace zelmo {

/// What the command line asks for.
struct Options {
    std::string reader;    ///< Name of the reader; empty for the only one.
    std::string log;       ///< LEVEL or LEVEL:FILE; empty for no log.
    bool trace = false;    ///< Card commands and ASN.1 to stderr.
    bool json = false;     ///< JSON in the place of text.
    std::string aid;       ///< Hexadecimal AID of the application to open; empty for the PKCS#15 one.
    std::string file;      ///< Image, profile or script file.
    std::string id;        ///< Id or label of the PIN or certificate that is meant.
    std::string pinId;     ///< Id or label of the PIN to present for a certificate; empty for the one that guards it.
    std::string pukId;     ///< Id or label of the PUK; empty for the one that the PIN names.
    int pinFd = -1;        ///< Descriptor to read PINs from; -1 for none.
    std::string pinFile;   ///< File to read PINs from; empty for none.
    std::string language;  ///< Code of the prompts' language; empty for the one of LANG.
    std::string output;    ///< File to write to; empty for stdout.
    bool pem = false;      ///< PEM in the place of DER.
    std::string profile = "eid";                         ///< Kind of new card.
    bool force = false;                                  ///< Overwrite an image.
    std::string signature;                               ///< Signature of a script.
    std::string key;                                     ///< The signer's key; empty for one beside the certificate.
    std::string certificate;                             ///< The signer's certificate.
    std::string rootKey;                                 ///< The key of the trusted root.
    std::string name = "Personalisation script signer";  ///< Common name of a signer.
    int days = 3650;                                     ///< How long a signer's certificate is valid.
    int passphraseFd = -1;                               ///< Descriptor to read passphrases from; -1 for the terminal.
    std::string prefix;        ///< What stands before the names of a script and its signature.
    std::string label;         ///< Label of a new token; empty for the script's.
    std::string serial;        ///< Serial number of a new token; empty for the script's.
    bool noPuk = false;        ///< Have the PUK of a new token blocked.
    int adminKeyFd = -1;       ///< Descriptor to read the administration key from; -1 for none.
    std::string adminKeyFile;  ///< File to read the administration key from; empty for none.
    int timeout = -1;          ///< Seconds to wait for a card; -1 for no end.
    bool yes = false;          ///< Erase what the card holds without asking.
};

/// Each runs one subcommand and returns its exit code. They throw Failure.
Exit runReaders(const Options &options);
Exit runWait(const Options &options);
Exit runList(const Options &options);
Exit runApps(const Options &options);
Exit runCardNew(const Options &options);
Exit runCardShow(const Options &options);
Exit runScriptBuild(const Options &options);
Exit runScriptShow(const Options &options);
Exit runScriptSign(const Options &options);
Exit runScriptVerify(const Options &options);
Exit runScriptIssueSigner(const Options &options);
Exit runInit(const Options &options);
Exit runPinList(const Options &options);
Exit runPinStatus(const Options &options);
Exit runPinVerify(const Options &options);
Exit runPinChange(const Options &options);
Exit runPinSet(const Options &options);
Exit runPinUnblock(const Options &options);
Exit runCertList(const Options &options);
Exit runCertRead(const Options &options);

}  // namespace zelmo

#endif

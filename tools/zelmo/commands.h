// The subcommands.
#ifndef ZELMO_COMMANDS_H
#define ZELMO_COMMANDS_H

#include <string>

#include "failure.h"

namespace zelmo {

/// What the command line asks for.
struct Options {
    std::string reader;           ///< Name of the reader; empty for the only one.
    std::string log;              ///< LEVEL or LEVEL:FILE; empty for no log.
    bool trace = false;           ///< Card commands and ASN.1 to stderr.
    bool json = false;            ///< JSON in the place of text.
    std::string aid;              ///< Hexadecimal AID of the application to open; empty for the PKCS#15 one.
    std::string file;             ///< Image file.
    std::string profile = "eid";  ///< Kind of new card.
    bool force = false;           ///< Overwrite an image.
};

/// Each runs one subcommand and returns its exit code. They throw Failure.
Exit runReaders(const Options &options);
Exit runList(const Options &options);
Exit runApps(const Options &options);
Exit runCardNew(const Options &options);
Exit runCardShow(const Options &options);

}  // namespace zelmo

#endif

// The applications that EF.DIR names.
#ifndef ZELMO_DIRECTORY_H
#define ZELMO_DIRECTORY_H

#include <memory>
#include <string>
#include <vector>

#include "card.h"
#include "zelmop15/pkcs15.h"

namespace zelmo {

struct FreeApplication {
    void operator()(DIRRecord *record) const {
        asn1_DIRRecord_free(record);
    }
};
using Application = std::unique_ptr<DIRRecord, FreeApplication>;

/// What EF.DIR holds.
struct Directory {
    bool present = false;                   ///< Whether the card has an EF.DIR.
    std::vector<Application> applications;  ///< In file order.
    std::vector<std::string> unreadable;    ///< One line for each entry, or rest of the file, that cannot be read.
};

/// Reads the whole of EF.DIR. The token library returns only the applications that it is asked for by AID, so the file
/// is read through the card service, and its entries are decoded with the library's coder. Throws Failure.
Directory readDirectory(const Card &card);

/// The application to open, and where it was found.
struct Choice {
    Application application;
    bool builtIn = false;  ///< The built-in record, since EF.DIR names no PKCS#15 application.
};

/// Chooses the application with this AID; for an empty one, the first PKCS#15 application, or else the built-in record.
/// Throws Failure, also when an AID was given and is not there.
Choice chooseApplication(const Card &card, std::vector<uint8_t> aid);

}  // namespace zelmo

#endif

// The listing of a token as a person wants to read it, made from its JSON form.
#ifndef ZELMO_LIST_TEXT_H
#define ZELMO_LIST_TEXT_H

#include "output.h"
#include "view.h"

namespace zelmo {

/// Prints what a listing begins with: tokenInfo, application.
void printToken(Output &output, const Json &listing);

/// Prints the section of one type of objects; nothing when there is nothing of it. `found` has objects, unreadable;
/// `authObjects` tell the names of the guards.
void printObjects(Output &output, uint32_t type, const Json &found, const Json &authObjects);

/// Prints the PINs that 'zelmo pin list' shows.
void printPins(Output &output, const Json &pins);

/// Prints what 'zelmo cert list' shows: objects, unreadable.
void printCertificates(Output &output, const Json &listing);

/// Prints one application of EF.DIR under its number.
void printApplication(Output &output, size_t number, const Json &application);

}  // namespace zelmo

#endif

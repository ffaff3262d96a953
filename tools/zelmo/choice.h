// What a word of the command line means among the objects of a token.
#ifndef ZELMO_CHOICE_H
#define ZELMO_CHOICE_H

#include <string>
#include <string_view>
#include <vector>

namespace zelmo {

/// What an object can be called by.
struct Name {
    std::string id;     ///< Its id in upper-case hexadecimal digits; empty for none.
    std::string label;  ///< Its label, made valid UTF-8; empty for none.
};

/// "'PIN' (01)", fit for a terminal.
std::string nameOf(const Name &name);

/// The place of the one object with this id, in hexadecimal digits of either case, or else with this label. Throws
/// Failure with Exit::notFound, naming what there is, when there is none or more than one. `kind` is what the objects
/// are called: "PIN".
size_t choose(const std::vector<Name> &names, const std::string &word, std::string_view kind);

}  // namespace zelmo

#endif

#include "choice.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>
#include <stdexcept>

#include "failure.h"
#include "text.h"

namespace zelmo {

namespace {

/// The digits of an id as Name has them; empty for a word that is no id.
std::string asId(const std::string &word) {
    try {
        return hex(unhex(word));
    } catch (const std::invalid_argument &) {
        return {};
    }
}

std::vector<size_t> matches(const std::vector<Name> &names, std::string Name::*part, const std::string &word) {
    std::vector<size_t> found;
    for (size_t i = 0; i < names.size() && !word.empty(); ++i) {
        if (names[i].*part == word)
            found.push_back(i);
    }
    return found;
}

std::string listed(const std::vector<Name> &names, const std::vector<size_t> &chosen) {
    std::vector<std::string> parts(chosen.size());
    std::transform(chosen.begin(), chosen.end(), parts.begin(), [&](size_t i) { return nameOf(names[i]); });
    return fmt::format("{}", fmt::join(parts, ", "));
}

std::vector<size_t> all(const std::vector<Name> &names) {
    std::vector<size_t> places(names.size());
    std::iota(places.begin(), places.end(), size_t{0});
    return places;
}

}  // namespace

std::string nameOf(const Name &name) {
    const std::string id = name.id.empty() ? "no id" : name.id;
    return name.label.empty() ? fmt::format("({})", id) : fmt::format("'{}' ({})", printable(name.label), id);
}

size_t choose(const std::vector<Name> &names, const std::string &word, std::string_view kind) {
    std::vector<size_t> found = matches(names, &Name::id, asId(word));
    const bool byId = !found.empty();
    if (!byId)
        found = matches(names, &Name::label, validUtf8(word));
    if (found.size() == 1)
        return found[0];
    if (found.size() > 1)
        throw Failure(Exit::notFound, fmt::format("'{}' is the {} of more than one {}: {}; give the {}",
                                                  printable(word), byId ? "id" : "label", kind, listed(names, found),
                                                  byId ? "label" : "id in the brackets"));
    if (names.empty())
        throw Failure(Exit::notFound, fmt::format("the token has no {}; see 'zelmo list' for what it has", kind));
    throw Failure(Exit::notFound,
                  fmt::format("there is no {} '{}'; there is {}", kind, printable(word), listed(names, all(names))));
}

}  // namespace zelmo

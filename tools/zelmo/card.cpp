#include "card.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>

#include "failure.h"
#include "text.h"

namespace zelmo {

namespace {

constexpr uint32_t unknown_card = 0x8010000D;

void addName(const char *name, void *names) {
    static_cast<std::vector<std::string> *>(names)->emplace_back(name);
}

void writeTrace(const uint8_t *command, uint32_t commandLength, const uint8_t *answer, uint32_t answerLength,
                double milliseconds, void *trace) {
    const std::string text =
        static_cast<CommandTrace *>(trace)->format({command, commandLength}, {answer, answerLength}, milliseconds);
    std::fputs(text.c_str(), stderr);
}

void writeTotals(CardHandle card) {
    zelmocrd_Counters counters{};
    if (zelmocrd_GetCounters(card, &counters, 0) == 0)
        fmt::print(stderr, "card: {} commands, {} more were not needed; {} octets sent, {} received\n",
                   counters.commands, counters.commandsSpared, counters.octetsSent, counters.octetsReceived);
}

std::string onlyCard() {
    std::vector<std::string> names = readerNames();
    if (names.empty())
        throw Failure(Exit::noCard, "no reader found; connect one, or use a virtual card: --reader virtual:FILE");
    names.erase(std::remove_if(names.begin(), names.end(), [](const std::string &name) { return !hasCard(name); }),
                names.end());
    if (names.empty())
        throw Failure(Exit::noCard, "no card in any reader; insert the card and try again");
    if (names.size() > 1) {
        std::string list;
        for (const std::string &name : names)
            list += fmt::format("{}'{}'", list.empty() ? "" : ", ", printable(name));
        throw Failure(Exit::usage, fmt::format("there are cards in {} readers; choose one with --reader NAME: {}",
                                               names.size(), list));
    }
    return names.front();
}

Failure openFailure(const std::string &reader, uint32_t raw) {
    const std::string more = printable(zelmocrd_OpenErrorText());
    const std::string what = fmt::format("cannot open {}{}{}", printable(reader), more.empty() ? "" : ": ", more);
    if (raw == unknown_card)
        return {Exit::malformed,
                fmt::format("{}: {}; see docs/image-format.md for the form of images, or make one with "
                            "'zelmo card new'",
                            what, rawText(raw))};
    return cardFailure(what, raw);
}

}  // namespace

std::vector<std::string> readerNames() {
    std::vector<std::string> names;
    if (const uint32_t raw = zelmocrd_ListReaders(addName, &names); raw != 0)
        throw cardFailure("cannot list the readers", raw);
    return names;
}

bool hasCard(const std::string &reader) {
    uint32_t present = 0;
    return zelmocrd_HasCard(reader.c_str(), &present) == 0 && present != 0;
}

Card::Card(const std::string &reader, bool trace) : reader_(reader.empty() ? onlyCard() : reader) {
    if (const uint32_t raw = zelmocrd_OpenCard(reader_.c_str(), 0, &handle_); raw != 0)
        throw openFailure(reader_, raw);
    traced_ = trace;
    if (trace)
        zelmocrd_SetTrace(handle_, writeTrace, &trace_);
}

Card::~Card() {
    if (traced_)
        writeTotals(handle_);
    zelmocrd_CloseCard(handle_);
}

}  // namespace zelmo

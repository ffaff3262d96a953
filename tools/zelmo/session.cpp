#include "session.h"

#include <fmt/format.h>
#include <stdexcept>

#include "directory.h"
#include "text.h"

namespace zelmo {

std::vector<uint8_t> wantedAid(const Options &options) {
    try {
        return unhex(options.aid);
    } catch (const std::invalid_argument &error) {
        throw Failure(Exit::usage, fmt::format("--aid: {}", error.what()));
    }
}

Transaction::Transaction(CardHandle card) : card_(card) {
    if (const uint32_t raw = scard_BeginTransaction(card); raw != 0)
        throw cardFailure("cannot have the card to ourselves", raw);
}

Transaction::~Transaction() {
    scard_EndTransaction(card_, 0);
}

Session::Session(const Options &options, std::vector<uint8_t> aid) : card_(options.reader, options.trace) {
    take();
    token_ = openToken(card_, *chooseApplication(card_, std::move(aid)).application);
}

}  // namespace zelmo

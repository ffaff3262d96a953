// The token layer over a card that answers as the input says: a genuine token, whose answers are changed, cut, made
// longer, repeated or replaced, by any number of faults.
//
// The input: which token; the length of the answer to reset, and the answer; then faults. A fault: how many commands
// are answered genuinely before it, its kind, and what the kind takes (see Fault). Behind the last one all is genuine.
#include <algorithm>
#include <memory>
#include <utility>

#include "card_in_memory.h"
#include "reader.h"
#include "token_host.h"
#include "zelmocrd/error.h"
#include "zelmop15/pkcs15.h"

namespace {

using fuzz::Octets;
using fuzz::Reader;
using zelmocrd::Bytes;

/// What one answer becomes.
struct Fault {
    enum Kind : uint8_t { change, cut, lengthen, status, replace, repeat, gone, kinds };

    uint8_t kind;
    bool lasting;  ///< All later answers are spoiled alike.
    uint8_t place, value;
    Octets octets;

    static Fault read(Reader &input) {
        const uint8_t how = input.octet();
        Fault fault = {static_cast<uint8_t>(how % kinds), (how & 0x80) != 0, input.octet(), input.octet(), {}};
        if (fault.kind == replace || fault.kind == lengthen)
            fault.octets = input.take(fault.place);
        return fault;
    }

    Bytes spoil(Bytes answer, const Bytes &last) const {
        const size_t end = answer.size() - 2, at = std::min<size_t>(place, end);
        switch (kind) {
            case change:
                answer[std::min<size_t>(place, answer.size() - 1)] ^= value;
                break;
            case cut:
                answer.erase(answer.begin() + static_cast<ptrdiff_t>(at), answer.end() - 2);
                break;
            case lengthen:
                answer.insert(answer.end() - 2, octets.begin(), octets.end());
                break;
            case status:
                answer[end] = place;
                answer[end + 1] = value;
                break;
            case replace:
                return {octets.begin(), octets.end()};
            case repeat:
                return last;
            default:
                throw zelmocrd::ServiceError(zelmocrd::code::removedCard);
        }
        return answer;
    }
};

class Answers : public fuzz::CardInMemory {
  public:
    Answers(const virtualcard::CardImage &image, Reader input)
        : CardInMemory(card_), card_(image), input_(input), atr_(read_octets(input_)) {
        next();
    }

    Bytes transmit(std::span<const uint8_t> command) override {
        // Each file is read at most so often as the host has reasons to.
        constexpr size_t most = 2'000'000;
        fuzz::require(++commands_ < most, "commands", "there is an end to them");
        Bytes answer = CardInMemory::transmit(command);
        if (fault_ && wait_ == 0) {
            answer = fault_->spoil(std::move(answer), last_);
            if (!fault_->lasting)
                next();
        } else {
            wait_ -= wait_ != 0 ? 1 : 0;
        }
        last_ = answer;
        return answer;
    }
    Bytes atr() override {
        return atr_;
    }

  private:
    static Bytes read_octets(Reader &input) {
        const Octets octets = input.take(input.octet());
        return {octets.begin(), octets.end()};
    }
    void next() {
        fault_.reset();
        if (input_.empty())
            return;
        wait_ = input_.octet();
        fault_ = Fault::read(input_);
    }

    virtualcard::VirtualCard card_;
    Reader input_;
    const Bytes atr_;
    std::optional<Fault> fault_;
    size_t wait_ = 0, commands_ = 0;
    Bytes last_ = {0x90, 0x00};
};

const std::vector<virtualcard::CardImage> &tokens() {
    static const std::vector<virtualcard::CardImage> images = [] {
        std::vector<virtualcard::CardImage> all;
        for (const char *name : {"transparent", "records", "mixed", "guarded", "efdir-records", "long-certificates"})
            all.push_back(virtualcard::readImage(ZELMO_SOURCE_DIR "/tests/data/tokens/" + std::string(name) + ".card"));
        return all;
    }();
    return images;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    pkcs15_LogInit(std::fopen("/dev/null", "w"), 6);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Reader input({data, size});
    const virtualcard::CardImage &image = tokens()[input.octet() % tokens().size()];
    const CardHandle card =
        zelmocrd::addCard(std::make_shared<zelmocrd::Card>(std::make_unique<Answers>(image, input)));
    // What is known of the card's files is at work as well.
    if (size % 2 != 0)
        scard_BeginTransaction(card);
    fuzz::use_card(card);
    zelmocrd::removeCard(card);
    return 0;
}

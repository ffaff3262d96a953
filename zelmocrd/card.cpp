#include "zelmocrd/card.h"

#include <chrono>
#include <string.h>
#include <utility>

#include "zelmocrd/error.h"
#include "zelmocrd/wiped.h"

namespace zelmocrd {

namespace {

constexpr uint8_t moreData = 0x61;
constexpr uint8_t exactLength = 0x6C;
constexpr uint8_t insGetResponse = 0xC0;

// The length in the second status octet, where 0 stands for 256.
uint32_t announcedLength(const Answer &answer) {
    return answer.sw2() != 0 ? answer.sw2() : shortAnswerMax;
}

Answer takeApart(Bytes octets) {
    if (octets.size() < 2)
        throw ServiceError(code::removedCard);
    Answer answer;
    answer.sw = static_cast<uint16_t>(octets[octets.size() - 2] << 8 | octets.back());
    octets.resize(octets.size() - 2);
    answer.data = std::move(octets);
    return answer;
}

}  // namespace

Card::Card(std::unique_ptr<Transport> transport)
    : transport_(std::move(transport)), atr_(transport_->atr()), abilities_(abilitiesFromAtr(atr_)) {}

void Card::reset() {
    knownFile_.forget();
    transport_->reset();
    atr_ = transport_->atr();
    abilities_ = abilitiesFromAtr(atr_);
}

void Card::beginTransaction() {
    // What was known before counts on if the card was ours alone already.
    knownFile();
    transport_->beginTransaction();
}

void Card::endTransaction() {
    transport_->endTransaction();
}

void Card::resetAtClosing() {
    transport_->resetAtClosing();
}

KnownFile &Card::knownFile() {
    if (!transport_->isAlone())
        knownFile_.forget();
    return knownFile_;
}

void Card::spare(uint64_t commands) {
    counters_.commandsSpared += commands;
}

void Card::setTrace(zelmocrd_TraceCallback callback, void *context) {
    trace_ = callback;
    traceContext_ = context;
}

zelmocrd_Counters Card::counters(bool reset) {
    const zelmocrd_Counters now = counters_;
    if (reset)
        counters_ = {};
    return now;
}

void Card::report(std::span<const uint8_t> command, std::span<const uint8_t> answer, double milliseconds) {
    counters_.commands++;
    counters_.octetsSent += command.size();
    counters_.octetsReceived += answer.size();
    if (trace_ != nullptr)
        trace_(command.data(), static_cast<uint32_t>(command.size()), answer.data(),
               static_cast<uint32_t>(answer.size()), milliseconds, traceContext_);
}

void Card::reportStop(uint32_t offset) {
    const uint8_t octets[] = {static_cast<uint8_t>(offset >> 24u), static_cast<uint8_t>(offset >> 16u & 0xFFu),
                              static_cast<uint8_t>(offset >> 8u & 0xFFu), static_cast<uint8_t>(offset & 0xFFu)};
    if (trace_ != nullptr)
        trace_(nullptr, 0, octets, sizeof octets, 0, traceContext_);
}

// One command and its answer. Data that nobody asked for is let through as far as a short answer goes: some cards tell
// of a file although P2 of SELECT says not to.
Answer Card::exchangeOne(const Command &command) {
    using Clock = std::chrono::steady_clock;
    const Wiped octets(encode(command, {extendedLength(), transport_->byCharacters()}));
    const Clock::time_point start = Clock::now();
    const auto elapsed = [start] { return std::chrono::duration<double, std::milli>(Clock::now() - start).count(); };
    Bytes received;
    try {
        received = transport_->transmit(octets.span());
    } catch (...) {
        report(octets.span(), {}, elapsed());
        throw;
    }
    report(octets.span(), received, elapsed());
    Answer answer = takeApart(std::move(received));
    if (answer.data.size() > (command.ne != 0 ? command.ne : shortAnswerMax))
        throw ServiceError(code::communication);
    return answer;
}

// Data that is too long for one command goes in pieces, to a card that takes such chains.
Answer Card::exchange(Command command) {
    constexpr uint8_t moreFollows = 0x10;
    constexpr uint16_t complete = 0x9000;
    const bool chains = abilities_.chaining && !extendedLength();
    while (chains && command.data.size() > shortDataMax) {
        Command piece = command;
        piece.cla |= moreFollows;
        piece.data = command.data.first(shortDataMax);
        piece.ne = 0;
        Answer answer = exchangeOne(piece);
        if (answer.sw != complete)
            return answer;
        command.data = command.data.subspan(shortDataMax);
    }
    return exchangeOne(command);
}

Answer Card::exchangeExact(Command command) {
    Answer answer = exchange(command);
    if (answer.sw1() != exactLength || command.ne == 0)
        return answer;
    command.ne = announcedLength(answer);
    answer = exchange(command);
    answer.corrected = command.ne;
    return answer;
}

// ISO/IEC 7816-4 numbers records from 1 to 254. Whoever reads on to the end of a file would never come to that of a
// card that always has one more.
void Card::countRecords(const Command &command) {
    constexpr uint8_t select = 0xA4, readRecord = 0xB2, next = 2;
    constexpr unsigned most = 254;
    if (command.ins == select)
        nextRecords_ = 0;
    else if (command.ins == readRecord && command.p2 == next && nextRecords_++ > most)
        throw ServiceError(code::communication);
}

Answer Card::run(const Command &command) {
    countRecords(command);
    try {
        Answer answer = runToEnd(command);
        knownFile().note(command, answer.sw);
        return answer;
    } catch (...) {
        knownFile_.forget();
        throw;
    }
}

Answer Card::runToEnd(const Command &command) {
    // Enough for 64 KB in pieces of 256; a card that gives less at a time does not get further.
    constexpr int piecesMax = 300;
    Answer answer = exchangeExact(command);
    for (int pieces = 0; answer.sw1() == moreData; pieces++) {
        Answer piece = exchangeExact({.ins = insGetResponse, .ne = announcedLength(answer)});
        answer.sw = piece.sw;
        const bool stuck = piece.sw1() == moreData && (piece.data.empty() || pieces == piecesMax);
        if (stuck || answer.data.size() + piece.data.size() > extendedAnswerMax)
            throw ServiceError(code::communication);
        answer.data.insert(answer.data.end(), piece.data.begin(), piece.data.end());
    }
    return answer;
}

}  // namespace zelmocrd

#include "faulty_card.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "virtualcard/command.h"

namespace zelmo {

namespace {

using std::chrono::milliseconds;

// A fault's text: NAME, then "@NUMBER" and ":NUMBER" where it has them.
struct FaultText {
    std::string_view name;
    std::optional<uint64_t> command, value;
};

std::optional<uint64_t> number(std::string_view digits, int base) {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    return error == std::errc() && end == digits.data() + digits.size() ? std::optional(value) : std::nullopt;
}

// The part of `text` behind `mark`, which is cut off.
std::optional<std::string_view> cut(std::string_view &text, char mark) {
    const size_t at = text.find(mark);
    if (at == std::string_view::npos)
        return std::nullopt;
    const std::string_view behind = text.substr(at + 1);
    text = text.substr(0, at);
    return behind;
}

constexpr const char *known_faults = "remove@N[:MS], reset@N, status@N:SW, pieces:N or t0";

FaultText parse(const std::string &text) {
    FaultText fault{text, {}, {}};
    const auto value = cut(fault.name, ':');
    const auto command = cut(fault.name, '@');
    if (value)
        fault.value = number(*value, fault.name == "status" ? 16 : 10);
    if (command)
        fault.command = number(*command, 10);
    constexpr uint64_t value_max = 1'000'000;
    if (value.has_value() != fault.value.has_value() || command.has_value() != fault.command.has_value() ||
        fault.value.value_or(0) > value_max || fault.command.value_or(1) == 0)
        throw std::invalid_argument("'" + text + "' has a bad number");
    return fault;
}

// An answer to reset that offers T=0 alone, with the same abilities but for extended length.
const Bytes character_atr = {0x3B, 0x05, 0x80, 0x73, 0xF7, 0x21, 0x00};

constexpr size_t header_size = 4;

}  // namespace

void Faults::add(const std::string &text) {
    constexpr auto for_ever = milliseconds(-1);
    constexpr uint64_t status_max = 0xFFFF;
    const FaultText fault = parse(text);
    const bool at = fault.command.has_value();
    const bool with = fault.value.has_value();
    if (fault.name == "remove" && at)
        removals[*fault.command] = with ? milliseconds(*fault.value) : for_ever;
    else if (fault.name == "reset" && at && !with)
        resets[*fault.command] = true;
    else if (fault.name == "status" && at && with && *fault.value <= status_max)
        statuses[*fault.command] = static_cast<uint16_t>(*fault.value);
    else if (fault.name == "pieces" && !at && with && *fault.value > 0)
        pieces = static_cast<uint32_t>(*fault.value);
    else if (fault.name == "t0" && !at && !with)
        characterProtocol = true;
    else
        throw std::invalid_argument("'" + text + "' is no fault: " + known_faults);
}

FaultyCard::FaultyCard(std::unique_ptr<virtualcard::VirtualCard> card, Faults faults)
    : card_(std::move(card)), faults_(std::move(faults)) {}

void FaultyCard::reset() {
    held_.clear();
    card_->reset();
}

Bytes FaultyCard::atr() const {
    return faults_.characterProtocol ? character_atr : card_->atr();
}

std::optional<milliseconds> FaultyCard::removal() {
    const auto removal = faults_.removals.find(commands_ + 1);
    if (removal == faults_.removals.end())
        return std::nullopt;
    commands_++;
    return removal->second;
}

Bytes FaultyCard::transmit(std::span<const uint8_t> octets) {
    commands_++;
    if (faults_.resets.contains(commands_))
        reset();
    if (const auto status = faults_.statuses.find(commands_); status != faults_.statuses.end())
        return {static_cast<uint8_t>(status->second >> 8u), static_cast<uint8_t>(status->second & 0xFFu)};
    Bytes command(octets.begin(), octets.end());
    constexpr uint8_t read_binary = 0xB0;
    constexpr size_t short_read = 5;
    if (faults_.pieces != 0 && command.size() == short_read && command[1] == read_binary) {
        const uint32_t wanted = command[header_size] != 0 ? command[header_size] : 256;
        command[header_size] = static_cast<uint8_t>(std::min(wanted, faults_.pieces));
    }
    return faults_.characterProtocol ? byCharacters(std::move(command)) : card_->transmit(command);
}

// With T=0 a command has data or an answer, not both: a card keeps the answer for GET RESPONSE, as ours does when no
// answer is asked for. What is shorter than asked for must be asked for again, by its exact length.
Bytes FaultyCard::byCharacters(Bytes command) {
    if (command.size() < header_size)
        return card_->transmit(command);
    const Bytes header(command.begin(), command.begin() + header_size);
    Bytes held = std::exchange(held_, {});
    constexpr size_t status_size = 2;
    if (!held.empty() && header == heldFor_ && command.size() == header_size + 1 &&
        command[header_size] == static_cast<uint8_t>(held.size() - status_size))
        return held;
    const auto parsed = virtualcard::parseCommand(command);
    if (!parsed || parsed->extended)
        return {0x67, 0x00};
    if (!parsed->data.empty() && parsed->ne != 0)
        command.pop_back();
    Bytes answer = card_->transmit(command);
    const size_t size = answer.size() - status_size;
    const bool complete = answer[size] == 0x90 && answer[size + 1] == 0x00;
    if (!parsed->data.empty() || parsed->ne == 0 || size == 0 || size == parsed->ne || !complete)
        return answer;
    held_ = std::move(answer);
    heldFor_ = header;
    return {0x6C, static_cast<uint8_t>(size)};
}

}  // namespace zelmo

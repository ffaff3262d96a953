#include "virtualcard/card.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

#include "virtualcard/image_hold.h"

namespace virtualcard {

const VirtualCard::Instruction VirtualCard::instructions[] = {
    {0x20, &VirtualCard::verify},
    {0x24, &VirtualCard::changeReferenceData},
    {0x2C, &VirtualCard::resetRetryCounter},
    {0x44, &VirtualCard::activateFile},
    {0x82, &VirtualCard::externalAuthenticate},
    {0x84, &VirtualCard::getChallenge},
    {0xA4, &VirtualCard::select},
    {0xB0, &VirtualCard::readBinary},
    {0xB1, &VirtualCard::readBinaryOdd},
    {0xB2, &VirtualCard::readRecord},
    {0xC0, &VirtualCard::getResponse},
    {0xCA, &VirtualCard::getData},
    {0xD6, &VirtualCard::updateBinary},
    {0xD7, &VirtualCard::updateBinaryOdd},
    {0xD8, &VirtualCard::putKey, true},
    {0xDC, &VirtualCard::updateRecord},
    {0xE0, &VirtualCard::createFile},
    {0xE2, &VirtualCard::appendRecord},
    {0x10, &VirtualCard::enterPhase, true},
    {0xE0, &VirtualCard::createSecret, true},
    {0xE4, &VirtualCard::eraseFiles, true},
};

namespace {

constexpr uint8_t insGetResponse = 0xC0;
constexpr uint8_t proprietaryClass = 0x80;

// First interindustry class: no channel but 0, no secure messaging, no chaining. And one class of our own.
uint16_t classStatus(uint8_t cla) {
    if (cla == proprietaryClass)
        return sw::ok;
    if ((cla & 0xE0u) != 0)
        return sw::unknownClass;
    if ((cla & 0x10u) != 0)
        return sw::noChaining;
    if ((cla & 0x0Cu) != 0)
        return sw::noSecureMessaging;
    return (cla & 0x03u) != 0 ? sw::noChannels : sw::ok;
}

}  // namespace

VirtualCard::VirtualCard(CardImage image)
    : image_(std::move(image)), atr_(image_.atr.empty() ? defaultAtr(image_.extendedLength) : image_.atr) {
    reset();
}

std::unique_ptr<VirtualCard> VirtualCard::load(const std::string &file) {
    FileIdentity identity;
    auto card = std::make_unique<VirtualCard>(readImage(file, identity));
    card->file_ = file;
    card->identity_ = identity;
    return card;
}

void VirtualCard::save() {
    if (!file_.empty())
        writeImage(file_, image_, identity_, hold_.get());
    changed_ = false;
}

VirtualCard::~VirtualCard() = default;

void VirtualCard::hold() {
    if (file_.empty() || hold_ != nullptr)
        return;
    auto hold = std::make_unique<ImageHold>(file_);
    if (!isUnchanged(file_, identity_))
        reset();
    hold_ = std::move(hold);
}

void VirtualCard::letGo() {
    hold_.reset();
}

bool VirtualCard::heldByAnother() const {
    return !file_.empty() && hold_ == nullptr && isHeld(file_);
}

// Who resets the card sees it as it is then, whoever has changed it.
void VirtualCard::refresh() {
    if (file_.empty() || isUnchanged(file_, identity_))
        return;
    FileIdentity identity;
    CardImage image = readImage(file_, identity);
    identity_ = identity;
    image_ = std::move(image);
    atr_ = image_.atr.empty() ? defaultAtr(image_.extendedLength) : image_.atr;
    changed_ = false;
}

void VirtualCard::reset() {
    refresh();
    makeCurrent({&image_.root});
    proven_ = {};
    challenge_.clear();
    held_.clear();
}

Bytes VirtualCard::transmit(std::span<const uint8_t> command) {
    Answer answer = keep(execute(command));
    answer.data.push_back(static_cast<uint8_t>(answer.status >> 8u));
    answer.data.push_back(static_cast<uint8_t>(answer.status & 0xFFu));
    return std::move(answer.data);
}

VirtualCard::Answer VirtualCard::keep(Answer answer) {
    return !changed_ || persist() ? std::move(answer) : Answer(sw::memoryFailure);
}

bool VirtualCard::persist() {
    try {
        save();
        return true;
    } catch (const ImageError &) {
        return false;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

VirtualCard::Answer VirtualCard::execute(std::span<const uint8_t> octets) {
    const std::optional<Command> command = parseCommand(octets);
    if (!command || (command->extended && !image_.extendedLength))
        return sw::wrongLength;
    if (command->ins != insGetResponse)
        held_.clear();
    if (const uint16_t status = classStatus(command->cla); status != sw::ok)
        return status;
    return fit(dispatch(*command), *command);
}

VirtualCard::Answer VirtualCard::dispatch(const Command &command) {
    const bool proprietary = command.cla == proprietaryClass;
    const auto *found = std::find_if(std::begin(instructions), std::end(instructions), [&](const Instruction &entry) {
        return entry.ins == command.ins && entry.proprietary == proprietary;
    });
    if (found == std::end(instructions))
        return proprietary ? sw::unknownClass : sw::unknownInstruction;
    return (this->*found->handler)(command);
}

// What exceeds the wanted length waits for GET RESPONSE.
VirtualCard::Answer VirtualCard::fit(Answer answer, const Command &command) {
    if (answer.data.size() <= command.ne)
        return answer;
    const auto cut = answer.data.begin() + static_cast<std::ptrdiff_t>(command.ne);
    held_.assign(cut, answer.data.end());
    heldStatus_ = answer.status;
    answer.data.erase(cut, answer.data.end());
    answer.status = static_cast<uint16_t>(sw::moreData | (held_.size() < 256 ? held_.size() : 0));
    return answer;
}

uint16_t VirtualCard::usable(const File &file, Operation operation) const {
    if (file.state == FileState::created)
        return sw::ok;
    if (file.state != FileState::activated)
        return sw::conditionsOfUse;
    auto rule = file.access.find(operation);
    if (rule == file.access.end() && operation == Operation::append)
        rule = file.access.find(Operation::update);
    return rule == file.access.end() || satisfied(rule->second, proven_) ? sw::ok : sw::securityStatus;
}

}  // namespace virtualcard

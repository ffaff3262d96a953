// What makes a token of a blank card: CREATE FILE and ACTIVATE FILE of ISO/IEC 7816-9, and commands of our own (class
// 80) that create PINs and keys, erase the card and take it from one phase of its life to the next.
#include <algorithm>
#include <iterator>
#include <string.h>
#include <utility>

#include "virtualcard/card.h"
#include "virtualcard/templates.h"

namespace virtualcard {

namespace {

struct Step {
    uint8_t from, to;
};

// There is no way back but by erasing, and none from the last phase.
constexpr Step steps[] = {
    {phase::delivered, phase::initialised},
    {phase::initialised, phase::personalised},
    {phase::initialised, phase::operational},
    {phase::personalised, phase::operational},
};

bool isStep(uint8_t from, uint8_t to) {
    return std::any_of(std::begin(steps), std::end(steps),
                       [=](const Step &step) { return step.from == from && step.to == to; });
}

void wipe(std::vector<Secret> &secrets) {
    for (Secret &secret : secrets)
        explicit_bzero(secret.value.data(), secret.value.size());
    secrets.clear();
}

bool contains(const std::vector<Secret> &secrets, uint8_t reference) {
    return std::any_of(secrets.begin(), secrets.end(),
                       [reference](const Secret &secret) { return secret.reference == reference; });
}

}  // namespace

uint16_t VirtualCard::mayCreateIn(const File &df) const {
    if (image_.lifeCycle == phase::delivered)
        return sw::conditionsOfUse;
    return image_.lifeCycle == phase::initialised ? uint16_t{sw::ok} : usable(df, Operation::create);
}

// Identifiers must tell the files of a DF apart.
uint16_t VirtualCard::placeFor(const File &file) const {
    const File &df = *dfs_.back();
    if (file.fid == rootFileId || file.fid == 0x3FFF || file.fid == 0xFFFF)
        return sw::wrongData;
    if (file.kind == FileKind::df && dfs_.size() >= limits::depth)
        return sw::noSpace;
    const bool taken = file.fid == df.fid || std::any_of(df.files.begin(), df.files.end(), [&file](const File &other) {
                           return other.fid == file.fid || (file.sfi && other.sfi == file.sfi);
                       });
    return taken ? sw::existsAlready : sw::ok;
}

// The new file is the current one, and its conditions do not count until it is activated.
VirtualCard::Answer VirtualCard::createFile(const Command &command) {
    if (command.p1 != 0 || command.p2 != 0)
        return sw::wrongParameters;
    if (const uint16_t status = mayCreateIn(*dfs_.back()); status != sw::ok)
        return status;
    File file;
    file.state = FileState::created;
    if (const uint16_t status = decodeFile(command.data, file); status != sw::ok)
        return status;
    if (const uint16_t status = placeFor(file); status != sw::ok)
        return status;
    File &made = dfs_.back()->files.emplace_back(std::move(file));
    std::vector<File *> chain = dfs_;
    chain.push_back(&made);
    makeCurrent(std::move(chain));
    changed_ = true;
    return sw::ok;
}

VirtualCard::Answer VirtualCard::activateFile(const Command &command) {
    if (command.p1 != 0 || command.p2 != 0)
        return sw::wrongParameters;
    if (!command.data.empty())
        return sw::wrongLength;
    File &file = ef_ != nullptr ? *ef_ : *dfs_.back();
    if (file.state != FileState::created && file.state != FileState::activated)
        return sw::conditionsOfUse;
    changed_ = file.state == FileState::created;
    file.state = FileState::activated;
    return sw::ok;
}

// 80 E0, P1 0 for a PIN, 1 for a key, P2 its reference.
VirtualCard::Answer VirtualCard::createSecret(const Command &command) {
    if (command.p1 > 1)
        return sw::wrongParameters;
    if (const uint16_t status = mayCreateIn(image_.root); status != sw::ok)
        return status;
    const SecretKind kind = command.p1 == 0 ? SecretKind::pin : SecretKind::key;
    std::vector<Secret> &secrets = kind == SecretKind::pin ? image_.pins : image_.keys;
    if (contains(secrets, command.p2))
        return sw::existsAlready;
    Secret secret;
    secret.reference = command.p2;
    if (const uint16_t status = decodeSecret(command.data, kind, secret); status != sw::ok)
        return status;
    if (secret.unblockedBy && !contains(secrets, *secret.unblockedBy))
        return sw::referenceNotFound;
    secrets.push_back(std::move(secret));
    changed_ = true;
    return sw::ok;
}

// 80 E4: files, PINs, keys and the root's conditions go; the card is as it was when its initialisation began.
VirtualCard::Answer VirtualCard::eraseFiles(const Command &command) {
    if (command.p1 != 0 || command.p2 != 0)
        return sw::wrongParameters;
    if (!command.data.empty())
        return sw::wrongLength;
    if (image_.lifeCycle != phase::initialised && image_.lifeCycle != phase::personalised)
        return sw::conditionsOfUse;
    makeCurrent({&image_.root});
    proven_ = {};
    challenge_.clear();
    image_.root.files.clear();
    image_.root.access.clear();
    wipe(image_.pins);
    wipe(image_.keys);
    image_.lifeCycle = phase::initialised;
    changed_ = true;
    return sw::ok;
}

// 80 10 00 and the phase. From the initialised one the data may bring the root's conditions; later the root's condition
// of creating holds for this, too.
VirtualCard::Answer VirtualCard::enterPhase(const Command &command) {
    if (command.p1 != 0)
        return sw::wrongParameters;
    const bool open = image_.lifeCycle == phase::initialised;
    if (!isStep(image_.lifeCycle, command.p2) || (!open && !command.data.empty()))
        return sw::conditionsOfUse;
    if (image_.lifeCycle == phase::personalised) {
        if (const uint16_t status = usable(image_.root, Operation::create); status != sw::ok)
            return status;
    }
    AccessRules access;
    if (const uint16_t status = decodeRootRules(command.data, access); status != sw::ok)
        return status;
    if (open)
        image_.root.access = std::move(access);
    image_.lifeCycle = command.p2;
    changed_ = true;
    return sw::ok;
}

}  // namespace virtualcard

// PINs and keys: VERIFY, CHANGE REFERENCE DATA, RESET RETRY COUNTER, EXTERNAL AUTHENTICATE, and PUT KEY of our own.
#include <algorithm>
#include <string.h>
#include <utility>

#include "virtualcard/card.h"
#include "virtualcard/cipher.h"

namespace virtualcard {

namespace {

using Octets = std::span<const uint8_t>;

const AccessCondition never = {AccessCondition::Kind::never, 0, {}};
const AccessCondition always = {AccessCondition::Kind::always, 0, {}};

Secret *find(std::vector<Secret> &secrets, uint8_t reference) {
    const auto found = std::find_if(secrets.begin(), secrets.end(),
                                    [reference](const Secret &secret) { return secret.reference == reference; });
    return found != secrets.end() ? &*found : nullptr;
}

bool isSet(const Secret &secret) {
    return !secret.value.empty();
}

bool isCounted(const Secret &secret) {
    return secret.maxTries != 0;
}

bool isBlocked(const Secret &secret) {
    return isCounted(secret) && secret.triesLeft == 0;
}

uint16_t triesStatus(const Secret &secret) {
    return isCounted(secret) ? static_cast<uint16_t>(sw::triesLeft | secret.triesLeft) : sw::verificationFailed;
}

// What stands in the way of any use of a secret's value.
uint16_t usability(const Secret *secret) {
    if (secret == nullptr)
        return sw::referenceNotFound;
    if (!isSet(*secret))
        return sw::notUsable;
    return isBlocked(*secret) ? sw::blocked : sw::ok;
}

// As many octets as the card has of the value that is presented first; a new value follows them.
Octets takeFirst(Octets &data, const Bytes &value) {
    const Octets first = data.first(std::min(data.size(), value.size()));
    data = data.subspan(first.size());
    return first;
}

AccessCondition itself(AccessCondition::Kind kind, const Secret &secret) {
    return {kind, secret.reference, {}};
}

// Whether one of two DFs is the other or lies in it.
bool holds(const File &df, const File *wanted) {
    return &df == wanted ||
           std::any_of(df.files.begin(), df.files.end(), [wanted](const File &file) { return holds(file, wanted); });
}

}  // namespace

Secret *VirtualCard::findPin(uint8_t reference) {
    return find(image_.pins, reference);
}

Secret *VirtualCard::findKey(uint8_t reference) {
    return find(image_.keys, reference);
}

bool VirtualCard::allowed(const Secret &secret, Operation operation, const AccessCondition &otherwise) const {
    const auto rule = secret.access.find(operation);
    return satisfied(rule != secret.access.end() ? rule->second : otherwise, proven_);
}

// Keeps another number of tries at once; what cannot be kept is taken back.
bool VirtualCard::keepTries(Secret &secret, uint8_t tries) {
    const uint8_t before = std::exchange(secret.triesLeft, tries);
    const bool kept = persist();
    if (!kept)
        secret.triesLeft = before;
    return kept;
}

// A try is spent, and that is kept, before anything is compared: whoever ends the process or takes the power away in
// between has lost it. A right value gives the tries back.
uint16_t VirtualCard::compare(Secret &secret, Octets expected, Octets presented) {
    if (!isCounted(secret))
        return equalValues(expected, presented) ? sw::ok : sw::verificationFailed;
    if (!keepTries(secret, static_cast<uint8_t>(secret.triesLeft - 1)))
        return sw::memoryFailure;
    if (!equalValues(expected, presented))
        return triesStatus(secret);
    return keepTries(secret, secret.maxTries) ? sw::ok : sw::memoryFailure;
}

uint16_t VirtualCard::prove(SecretKind kind, Secret &secret, Octets expected, Octets presented) {
    const uint16_t status = compare(secret, expected, presented);
    if (status == sw::ok)
        proven_.add(kind, secret.reference, application());
    else
        proven_.drop(kind, secret.reference);
    return status;
}

// A new value comes with all of its tries. One that cannot be kept leaves the old one.
uint16_t VirtualCard::setValue(Secret &secret, Octets value) {
    if (value.empty())
        return sw::wrongLength;
    if (value.size() < secret.minLength || value.size() > secret.maxLength)
        return sw::wrongData;
    Bytes other(value.begin(), value.end());
    std::swap(secret.value, other);
    const bool kept = keepTries(secret, secret.maxTries);
    if (!kept)
        std::swap(secret.value, other);
    if (!other.empty())
        explicit_bzero(other.data(), other.size());
    return kept ? sw::ok : sw::memoryFailure;
}

// Without data it asks for the tries left.
VirtualCard::Answer VirtualCard::verify(const Command &command) {
    constexpr uint8_t notVerified = 0xFF;
    if (command.p1 == notVerified)
        return command.data.empty() ? forget(command.p2) : sw::wrongLength;
    if (command.p1 != 0)
        return sw::wrongParameters;
    Secret *pin = findPin(command.p2);
    if (const uint16_t status = usability(pin); status != sw::ok)
        return status;
    if (command.data.empty())
        return proven_.holds(SecretKind::pin, pin->reference) ? sw::ok : triesStatus(*pin);
    return prove(SecretKind::pin, *pin, pin->value, command.data);
}

// Either everything, or what was proven in the current application, those that it lies in, and those inside of it; what
// was proven beside it stands.
VirtualCard::Answer VirtualCard::forget(uint8_t reference) {
    constexpr uint8_t everything = 0x00;
    constexpr uint8_t currentApplication = 0x80;
    if (reference != everything && reference != currentApplication)
        return sw::wrongParameters;
    const File *current = application();
    proven_.dropProvenIn(
        [=](const File *where) { return reference == everything || holds(*where, current) || holds(*current, where); });
    return sw::ok;
}

// P1 = 0: the old value, as long as the card has it, and the new one; whoever has the old one has proven the PIN.
// P1 = 1: the new value alone.
VirtualCard::Answer VirtualCard::changeReferenceData(const Command &command) {
    if (command.p1 > 1)
        return sw::wrongParameters;
    if (command.data.empty())
        return sw::wrongLength;
    const bool newOnly = command.p1 == 1;
    Secret *pin = findPin(command.p2);
    const uint16_t status = usability(pin);
    const bool first = newOnly && status == sw::notUsable;
    if (status != sw::ok && !first)
        return status;
    if (newOnly)
        return allowed(*pin, Operation::change, first ? always : itself(AccessCondition::Kind::pin, *pin))
                   ? setValue(*pin, command.data)
                   : sw::securityStatus;
    // What nobody may change cannot be changed with the old value either.
    const auto rule = pin->access.find(Operation::change);
    if (rule != pin->access.end() && rule->second.kind == AccessCondition::Kind::never)
        return sw::securityStatus;
    Octets data = command.data;
    const Octets old = takeFirst(data, pin->value);
    const uint16_t proof = prove(SecretKind::pin, *pin, pin->value, old);
    return proof == sw::ok ? setValue(*pin, data) : proof;
}

// Takes the resetting code off the data and compares it; that alone is no proof of the unblocking PIN.
uint16_t VirtualCard::unblockWithCode(const Secret &pin, Octets &data, bool newValueFollows) {
    Secret *unblocker = pin.unblockedBy ? findPin(*pin.unblockedBy) : nullptr;
    if (const uint16_t status = usability(unblocker); status != sw::ok)
        return status;
    const Octets resettingCode = newValueFollows ? takeFirst(data, unblocker->value) : std::exchange(data, {});
    const uint16_t status = compare(*unblocker, unblocker->value, resettingCode);
    if (status != sw::ok)
        proven_.drop(SecretKind::pin, unblocker->reference);
    return status;
}

// P1 tells what the data is: 0 resetting code and new value, 1 the code, 2 the new value, 3 nothing.
VirtualCard::Answer VirtualCard::resetRetryCounter(const Command &command) {
    constexpr uint8_t nothing = 3;
    if (command.p1 > nothing)
        return sw::wrongParameters;
    if (command.data.empty() != (command.p1 == nothing))
        return sw::wrongLength;
    const bool withCode = command.p1 <= 1;
    const bool withValue = command.p1 == 0 || command.p1 == 2;
    Secret *pin = findPin(command.p2);
    if (const uint16_t status = usability(pin); status != sw::ok && status != sw::blocked)
        return status;
    Octets data = command.data;
    uint16_t status = sw::ok;
    if (withCode)
        status = unblockWithCode(*pin, data, withValue);
    else if (!allowed(*pin, Operation::unblock, never))
        status = sw::securityStatus;
    if (status == sw::ok && withValue)
        status = setValue(*pin, data);
    else if (status == sw::ok && !keepTries(*pin, pin->maxTries))
        status = sw::memoryFailure;
    if (status == sw::ok)
        proven_.drop(SecretKind::pin, pin->reference);
    return status;
}

// Without data it asks for the tries left. A challenge serves one attempt, whatever that comes to.
VirtualCard::Answer VirtualCard::externalAuthenticate(const Command &command) {
    if (command.p1 != 0)
        return sw::wrongParameters;
    Secret *key = findKey(command.p2);
    if (const uint16_t status = usability(key); status != sw::ok)
        return status;
    if (!key->algorithm)
        return sw::notUsable;
    if (command.data.empty())
        return proven_.holds(SecretKind::key, key->reference) ? sw::ok : triesStatus(*key);
    const Bytes challenge = std::exchange(challenge_, {});
    if (challenge.size() != blockSize(*key->algorithm))
        return sw::conditionsOfUse;
    if (command.data.size() != challenge.size())
        return sw::wrongLength;
    const Bytes expected = encipher(*key->algorithm, key->value, challenge);
    return expected.empty() ? sw::noDiagnosis : prove(SecretKind::key, *key, expected, command.data);
}

// 80 D8 00 and the key's reference, the new value as data. It also sets a blocked key free.
VirtualCard::Answer VirtualCard::putKey(const Command &command) {
    if (command.p1 != 0)
        return sw::wrongParameters;
    Secret *key = findKey(command.p2);
    if (key == nullptr)
        return sw::referenceNotFound;
    if (!allowed(*key, Operation::change, itself(AccessCondition::Kind::key, *key)))
        return sw::securityStatus;
    if (!command.data.empty() && key->algorithm && !keyLengthFits(*key->algorithm, command.data.size()))
        return sw::wrongData;
    return setValue(*key, command.data);
}

}  // namespace virtualcard

#include "virtualcard/templates.h"

#include <algorithm>
#include <initializer_list>
#include <optional>

#include "virtualcard/fcp.h"
#include "virtualcard/status_words.h"

namespace virtualcard {

namespace {

using Octets = std::span<const uint8_t>;
using Kind = AccessCondition::Kind;

// Tags of ISO/IEC 7816-4; the access rules have a coding of our own.
constexpr uint8_t tagTemplate = 0x62;
constexpr uint8_t tagSize = 0x80;
constexpr uint8_t tagDescriptor = 0x82;
constexpr uint8_t tagFileId = 0x83;
constexpr uint8_t tagName = 0x84;
constexpr uint8_t tagAccess = 0x86;
constexpr uint8_t tagShortId = 0x88;

// Tags of a secret.
constexpr uint8_t tagValue = 0x80;
constexpr uint8_t tagTries = 0x81;
constexpr uint8_t tagLengths = 0x82;
constexpr uint8_t tagUnblocker = 0x83;
constexpr uint8_t tagAlgorithm = 0x84;

constexpr uint8_t octetUnits = 0x21;

Bytes twoOctets(size_t value) {
    return {static_cast<uint8_t>(value >> 8u & 0xFFu), static_cast<uint8_t>(value & 0xFFu)};
}

size_t number(Octets octets) {
    size_t value = 0;
    for (const uint8_t octet : octets)
        value = value << 8u | octet;
    return value;
}

void encodeCondition(Bytes &out, const AccessCondition &condition) {
    out.push_back(static_cast<uint8_t>(condition.kind));
    if (condition.kind == Kind::pin || condition.kind == Kind::key)
        out.push_back(condition.reference);
    if (condition.kind != Kind::all && condition.kind != Kind::any)
        return;
    out.push_back(static_cast<uint8_t>(condition.operands.size()));
    for (const AccessCondition &operand : condition.operands)
        encodeCondition(out, operand);
}

std::optional<uint8_t> takeOctet(Octets &octets) {
    if (octets.empty())
        return std::nullopt;
    const uint8_t octet = octets[0];
    octets = octets.subspan(1);
    return octet;
}

bool takeCondition(Octets &octets, AccessCondition &condition, size_t depth) {
    const std::optional<uint8_t> kind = takeOctet(octets);
    if (!kind || *kind > static_cast<uint8_t>(Kind::any) || depth > limits::conditionDepth)
        return false;
    condition.kind = static_cast<Kind>(*kind);
    if (condition.kind == Kind::always || condition.kind == Kind::never)
        return true;
    const std::optional<uint8_t> argument = takeOctet(octets);
    if (!argument)
        return false;
    if (condition.kind == Kind::pin || condition.kind == Kind::key) {
        condition.reference = *argument;
        return true;
    }
    // Each operand takes an octet at least, so that no count can be larger than what is there.
    for (int left = *argument; left > 0; left--)
        if (!takeCondition(octets, condition.operands.emplace_back(), depth + 1))
            return false;
    return true;
}

bool decodeAccess(Octets octets, std::initializer_list<Operation> allowed, AccessRules &access) {
    while (const std::optional<uint8_t> operation = takeOctet(octets)) {
        const auto named = static_cast<Operation>(*operation - 1);
        AccessCondition condition;
        if (*operation == 0 || std::find(allowed.begin(), allowed.end(), named) == allowed.end() ||
            !takeCondition(octets, condition, 1) || !access.emplace(named, std::move(condition)).second)
            return false;
    }
    return true;
}

bool decodeFileAccess(Octets octets, FileKind kind, AccessRules &access) {
    return kind == FileKind::df ? decodeAccess(octets, {Operation::create, Operation::remove}, access)
                                : decodeAccess(octets, {Operation::read, Operation::update, Operation::append}, access);
}

// The descriptor of a record file: octet, coding, greatest record, number of records.
bool decodeDescriptor(Octets value, File &file) {
    constexpr FileKind kinds[] = {FileKind::df, FileKind::transparent, FileKind::linearVariable, FileKind::tlvRecords};
    const auto *kind = std::find_if(std::begin(kinds), std::end(kinds), [value](FileKind one) {
        return !value.empty() && descriptorOctet(one) == value[0];
    });
    if (kind == std::end(kinds))
        return false;
    file.kind = *kind;
    if (file.kind == FileKind::df || file.kind == FileKind::transparent)
        return value.size() == 1;
    if (value.size() != 5 || value[1] != octetUnits)
        return false;
    file.maxRecord = number(value.subspan(2, 2));
    file.maxRecords = value[4];
    return file.maxRecord != 0 && file.maxRecords != 0 && file.maxRecords <= limits::records;
}

bool decodeShortId(Octets value, File &file) {
    if (value.empty())
        return true;
    file.sfi = static_cast<uint8_t>(value[0] >> 3u);
    return value.size() == 1 && (value[0] & 0x07u) == 0 && *file.sfi >= 1 && *file.sfi <= 30;
}

// The descriptor comes first: it says what the other objects may be.
bool decodeObject(const Object &object, File &file) {
    const bool df = file.kind == FileKind::df;
    switch (object.tag) {
        case tagFileId:
            file.fid = static_cast<uint16_t>(number(object.value));
            return object.value.size() == 2;
        case tagSize:
            file.data.assign(number(object.value.first(std::min<size_t>(object.value.size(), 2))), 0);
            return file.kind == FileKind::transparent && object.value.size() == 2;
        case tagName:
            file.name.assign(object.value.begin(), object.value.end());
            return df && !file.name.empty() && file.name.size() <= 16;
        case tagShortId:
            return !df && decodeShortId(object.value, file);
        case tagAccess:
            return decodeFileAccess(object.value, file.kind, file.access);
        default:
            return false;
    }
}

bool decodeTries(Octets value, Secret &secret) {
    if (value.size() != 1 || value[0] > 15)
        return false;
    secret.maxTries = value[0];
    secret.triesLeft = value[0];
    return true;
}

bool decodePinObject(const Object &object, Secret &pin) {
    switch (object.tag) {
        case tagLengths:
            if (object.value.size() != 2 || object.value[0] == 0 || object.value[0] > object.value[1])
                return false;
            pin.minLength = object.value[0];
            pin.maxLength = object.value[1];
            return true;
        case tagUnblocker:
            pin.unblockedBy = static_cast<uint8_t>(number(object.value));
            return object.value.size() == 1;
        case tagAccess:
            return decodeAccess(object.value, {Operation::change, Operation::unblock}, pin.access);
        default:
            return false;
    }
}

bool decodeKeyObject(const Object &object, Secret &key) {
    if (object.tag == tagAccess)
        return decodeAccess(object.value, {Operation::change}, key.access);
    if (object.tag != tagAlgorithm || object.value.size() != 1 || object.value[0] > 1)
        return false;
    key.algorithm = static_cast<KeyAlgorithm>(object.value[0]);
    return true;
}

bool decodeSecretObject(const Object &object, SecretKind kind, Secret &secret) {
    if (object.tag == tagTries)
        return decodeTries(object.value, secret);
    if (object.tag != tagValue)
        return kind == SecretKind::pin ? decodePinObject(object, secret) : decodeKeyObject(object, secret);
    secret.value.assign(object.value.begin(), object.value.end());
    return !object.value.empty() && object.value.size() <= limits::secret;
}

void addAccess(Bytes &out, const AccessRules &access) {
    if (!access.empty())
        appendObject(out, tagAccess, encodeAccess(access));
}

}  // namespace

Bytes encodeAccess(const AccessRules &access) {
    Bytes out;
    for (const auto &[operation, condition] : access) {
        out.push_back(static_cast<uint8_t>(static_cast<uint8_t>(operation) + 1));
        encodeCondition(out, condition);
    }
    return out;
}

Bytes encodeFile(const File &file) {
    Bytes objects;
    Bytes descriptor = {descriptorOctet(file.kind)};
    if (file.kind == FileKind::linearVariable || file.kind == FileKind::tlvRecords) {
        const Bytes size = twoOctets(file.maxRecord);
        descriptor.insert(descriptor.end(), {octetUnits, size[0], size[1], static_cast<uint8_t>(file.maxRecords)});
    }
    appendObject(objects, tagDescriptor, descriptor);
    appendObject(objects, tagFileId, twoOctets(file.fid));
    if (file.kind == FileKind::transparent)
        appendObject(objects, tagSize, twoOctets(file.data.size()));
    if (!file.name.empty())
        appendObject(objects, tagName, file.name);
    if (file.sfi)
        appendObject(objects, tagShortId, {static_cast<uint8_t>(*file.sfi << 3u)});
    addAccess(objects, file.access);
    Bytes out;
    appendObject(out, tagTemplate, objects);
    return out;
}

uint16_t decodeFile(Octets octets, File &file) {
    const std::optional<Object> whole = takeObject(octets);
    if (!whole || whole->tag != tagTemplate || !octets.empty())
        return sw::wrongData;
    Octets rest = whole->value;
    const std::optional<Object> descriptor = takeObject(rest);
    if (!descriptor || descriptor->tag != tagDescriptor || !decodeDescriptor(descriptor->value, file))
        return sw::wrongData;
    while (!rest.empty()) {
        const std::optional<Object> object = takeObject(rest);
        if (!object || !decodeObject(*object, file))
            return sw::wrongData;
    }
    return sw::ok;
}

Bytes encodeSecret(const Secret &secret) {
    const Secret defaults;
    Bytes out;
    if (!secret.value.empty())
        appendObject(out, tagValue, secret.value);
    appendObject(out, tagTries, {secret.maxTries});
    if (secret.minLength != defaults.minLength || secret.maxLength != defaults.maxLength)
        appendObject(out, tagLengths, {static_cast<uint8_t>(secret.minLength), static_cast<uint8_t>(secret.maxLength)});
    if (secret.unblockedBy)
        appendObject(out, tagUnblocker, {*secret.unblockedBy});
    if (secret.algorithm)
        appendObject(out, tagAlgorithm, {static_cast<uint8_t>(*secret.algorithm)});
    addAccess(out, secret.access);
    return out;
}

uint16_t decodeSecret(Octets octets, SecretKind kind, Secret &secret) {
    while (!octets.empty()) {
        const std::optional<Object> object = takeObject(octets);
        if (!object || !decodeSecretObject(*object, kind, secret))
            return sw::wrongData;
    }
    if (kind == SecretKind::pin)
        return sw::ok;
    const bool fits = !secret.algorithm || keyLengthFits(*secret.algorithm, secret.value.size());
    return !secret.value.empty() && fits ? sw::ok : sw::wrongData;
}

Bytes encodeRootRules(const AccessRules &access) {
    Bytes out;
    addAccess(out, access);
    return out;
}

uint16_t decodeRootRules(Octets octets, AccessRules &access) {
    if (octets.empty())
        return sw::ok;
    const std::optional<Object> object = takeObject(octets);
    const bool good = object && object->tag == tagAccess && octets.empty() &&
                      decodeAccess(object->value, {Operation::create, Operation::remove}, access);
    return good ? sw::ok : sw::wrongData;
}

}  // namespace virtualcard

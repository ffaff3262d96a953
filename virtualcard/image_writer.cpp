#include <algorithm>
#include <nlohmann/json.hpp>

#include "virtualcard/image.h"
#include "virtualcard/image_names.h"

namespace virtualcard {

namespace {

using Json = nlohmann::ordered_json;

template <class Table, class Value>
std::string nameIn(const Table &table, Value value) {
    const auto found =
        std::find_if(table.begin(), table.end(), [value](const auto &entry) { return entry.first == value; });
    return std::string(found->second);
}

std::string hex(const Bytes &octets) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(2 * octets.size());
    for (const uint8_t octet : octets) {
        text.push_back(digits[octet >> 4u]);
        text.push_back(digits[octet & 0x0Fu]);
    }
    return text;
}

std::string hex16(uint16_t value) {
    return hex({static_cast<uint8_t>(value >> 8u), static_cast<uint8_t>(value & 0xFFu)});
}

Json toJson(const AccessCondition &condition) {
    const std::string name = nameIn(names::conditions, condition.kind);
    switch (condition.kind) {
        case AccessCondition::Kind::always:
        case AccessCondition::Kind::never:
            return name;
        case AccessCondition::Kind::pin:
        case AccessCondition::Kind::key:
            return {{name, condition.reference}};
        case AccessCondition::Kind::all:
        case AccessCondition::Kind::any:
            break;
    }
    Json operands = Json::array();
    for (const AccessCondition &operand : condition.operands)
        operands.push_back(toJson(operand));
    Json joined = Json::object();
    joined[name] = std::move(operands);
    return joined;
}

// The zeros at a file's end are told by its size alone.
void addContent(Json &json, const Bytes &data) {
    const auto end = std::find_if(data.rbegin(), data.rend(), [](uint8_t octet) { return octet != 0; }).base();
    const Bytes used(data.begin(), end);
    if (used.size() != data.size())
        json["size"] = data.size();
    json["data"] = hex(used);
}

void addRecords(Json &json, const File &file) {
    json["maxRecord"] = file.maxRecord;
    json["maxRecords"] = file.maxRecords;
    json["records"] = Json::array();
    for (const Bytes &record : file.records)
        json["records"].push_back(hex(record));
}

void addAccess(Json &json, const std::map<Operation, AccessCondition> &access) {
    for (const auto &[operation, condition] : access)
        json["access"][nameIn(names::operations, operation)] = toJson(condition);
}

Json toJson(const File &file);

void addBody(Json &json, const File &file) {
    switch (file.kind) {
        case FileKind::transparent:
            addContent(json, file.data);
            break;
        case FileKind::linearVariable:
        case FileKind::tlvRecords:
            addRecords(json, file);
            break;
        case FileKind::df:
            json["files"] = Json::array();
            for (const File &child : file.files)
                json["files"].push_back(toJson(child));
            break;
    }
}

Json toJson(const File &file) {
    Json json = {{"fid", hex16(file.fid)}, {"kind", nameIn(names::kinds, file.kind)}};
    if (!file.name.empty())
        json["name"] = hex(file.name);
    if (file.sfi)
        json["sfi"] = *file.sfi;
    if (file.state != FileState::activated)
        json["state"] = nameIn(names::states, file.state);
    addAccess(json, file.access);
    addBody(json, file);
    return json;
}

// Of what only PINs or only keys have, the rest has the defaults, which are left out.
Json toJson(const Secret &secret) {
    const Secret defaults;
    Json json = {{"reference", secret.reference}};
    if (secret.algorithm)
        json["algorithm"] = nameIn(names::algorithms, *secret.algorithm);
    if (!secret.value.empty())
        json["value"] = hex(secret.value);
    if (secret.minLength != defaults.minLength)
        json["minLength"] = secret.minLength;
    if (secret.maxLength != defaults.maxLength)
        json["maxLength"] = secret.maxLength;
    json["maxTries"] = secret.maxTries;
    json["triesLeft"] = secret.triesLeft;
    if (secret.unblockedBy)
        json["unblockedBy"] = *secret.unblockedBy;
    addAccess(json, secret.access);
    return json;
}

Json toJson(const std::vector<Secret> &secrets) {
    Json json = Json::array();
    for (const Secret &secret : secrets)
        json.push_back(toJson(secret));
    return json;
}

Json cardToJson(const CardImage &image) {
    Json json = Json::object();
    if (!image.atr.empty())
        json["atr"] = hex(image.atr);
    json["serial"] = hex(image.serial);
    json["model"] = hex16(image.model);
    json["lifeCycle"] = image.lifeCycle;
    json["extendedLength"] = image.extendedLength;
    return json;
}

}  // namespace

std::string formatImage(const CardImage &image) {
    Json json = Json::object();
    json["format"] = names::format;
    json["card"] = cardToJson(image);
    json["root"] = toJson(image.root);
    json["pins"] = toJson(image.pins);
    json["keys"] = toJson(image.keys);
    return json.dump(2) + "\n";
}

}  // namespace virtualcard

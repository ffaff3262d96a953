#include "image_text.h"

#include <map>
#include <numeric>

#include "text.h"

namespace zelmo {

namespace {

using virtualcard::AccessCondition;
using virtualcard::File;
using virtualcard::FileKind;
using virtualcard::FileState;
using virtualcard::Operation;
using virtualcard::Secret;

std::string conditionText(const AccessCondition &condition, bool inner) {
    std::vector<std::string> parts;
    for (const AccessCondition &operand : condition.operands)
        parts.push_back(conditionText(operand, true));
    const bool all = condition.kind == AccessCondition::Kind::all;
    switch (condition.kind) {
        case AccessCondition::Kind::always:
            return "always";
        case AccessCondition::Kind::never:
            return "never";
        case AccessCondition::Kind::pin:
            return fmt::format("PIN 0x{:02X}", condition.reference);
        case AccessCondition::Kind::key:
            return fmt::format("key 0x{:02X}", condition.reference);
        case AccessCondition::Kind::all:
        case AccessCondition::Kind::any:
            break;
    }
    if (parts.empty())
        return all ? "always" : "never";
    const std::string text = fmt::format("{}", fmt::join(parts, all ? " and " : " or "));
    return inner && parts.size() > 1 ? "(" + text + ")" : text;
}

std::string_view operationName(Operation operation) {
    switch (operation) {
        case Operation::read:
            return "read";
        case Operation::update:
            return "update";
        case Operation::append:
            return "append";
        case Operation::create:
            return "create";
        case Operation::remove:
            return "delete";
        case Operation::change:
            return "change";
        case Operation::unblock:
            return "unblock";
    }
    return "";
}

std::string accessText(const std::map<Operation, AccessCondition> &access) {
    std::vector<std::string> parts;
    parts.reserve(access.size());
    for (const auto &[operation, condition] : access)
        parts.push_back(fmt::format("{}: {}", operationName(operation), conditionText(condition, false)));
    return fmt::format("{}", fmt::join(parts, ", "));
}

std::string counted(size_t count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string kindText(const File &file) {
    const size_t octets = std::accumulate(file.records.begin(), file.records.end(), size_t{0},
                                          [](size_t sum, const virtualcard::Bytes &r) { return sum + r.size(); });
    switch (file.kind) {
        case FileKind::df:
            return file.name.empty() ? "directory" : "directory " + hex(file.name);
        case FileKind::transparent:
            return fmt::format("{} octets", file.data.size());
        case FileKind::linearVariable:
            return fmt::format("{}, {} octets", counted(file.records.size(), "record"), octets);
        case FileKind::tlvRecords:
            return fmt::format("{}, {} octets", counted(file.records.size(), "TLV record"), octets);
    }
    return "";
}

std::string stateText(const File &file) {
    std::string text;
    if (file.sfi)
        text += fmt::format(", short id {}", *file.sfi);
    if (file.state == FileState::deactivated)
        text += ", deactivated";
    if (file.state == FileState::terminated)
        text += ", terminated";
    return text;
}

void printFile(Output &output, const File &file, size_t depth) {
    const std::string indent(2 + 2 * depth, ' ');
    const std::string access = accessText(file.access);
    const std::string what = kindText(file) + stateText(file);
    output.print("{}{}  {}{}\n", indent, output.styled(Style::name, fmt::format("{:04X}", file.fid)),
                 access.empty() ? what : fmt::format("{:<{}}", what, 48 - 2 * depth),
                 access.empty() ? "" : output.styled(Style::faint, "  " + access));
    for (const File &child : file.files)
        printFile(output, child, depth + 1);
}

std::string lengthText(const Secret &secret) {
    const Secret defaults;
    if (secret.minLength == defaults.minLength && secret.maxLength == defaults.maxLength)
        return "";
    return secret.minLength == secret.maxLength
               ? fmt::format(", new ones {}", secret.minLength)
               : fmt::format(", new ones {} to {}", secret.minLength, secret.maxLength);
}

// Everything but the value.
std::string secretText(const Secret &secret) {
    std::string text = secret.value.empty() ? "not set" : counted(secret.value.size(), "octet");
    text += lengthText(secret);
    text += secret.maxTries == 0 ? std::string(", no retry counter")
                                 : fmt::format(", {} of {} tries left", secret.triesLeft, secret.maxTries);
    if (secret.algorithm)
        text += *secret.algorithm == virtualcard::KeyAlgorithm::aes ? ", AES" : ", triple DES";
    if (secret.unblockedBy)
        text += fmt::format(", unblocked by PIN 0x{:02X}", *secret.unblockedBy);
    return text;
}

void printSecrets(Output &output, const char *title, const std::vector<Secret> &secrets) {
    if (secrets.empty())
        return;
    output.heading(title);
    for (const Secret &secret : secrets) {
        const std::string access = accessText(secret.access);
        output.print("  0x{:02X}  {}{}\n", secret.reference, secretText(secret),
                     access.empty() ? "" : output.styled(Style::faint, "  " + access));
    }
}

}  // namespace

void printImage(Output &output, const virtualcard::CardImage &image) {
    output.heading("Card");
    const virtualcard::Bytes atr = image.atr.empty() ? virtualcard::defaultAtr(image.extendedLength) : image.atr;
    output.print("  ATR              {}\n", hex(atr, " "));
    output.print("  Serial number    {}\n", hex(image.serial));
    output.print("  Model            {:04X}\n", image.model);
    output.print("  Life cycle       {}\n", image.lifeCycle);
    output.print("  Extended length  {}\n", image.extendedLength ? "yes" : "no");
    output.heading("Files");
    printFile(output, image.root, 0);
    printSecrets(output, "PINs", image.pins);
    printSecrets(output, "Keys", image.keys);
}

}  // namespace zelmo

#include "list_text.h"

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "name_text.h"
#include "text.h"

namespace zelmo {

namespace {

/// Labels of the authentication objects by their id.
using Guards = std::map<std::string, std::string>;

/// What a formatter may look at besides the value.
struct Context {
    const Guards &guards;
};

using Formatter = std::string (*)(const Json &value, const Context &context);

/// One line of a block: the member it shows, its title, its form.
struct Row {
    const char *member;
    const char *title;
    Formatter format;
};

// ---- forms of single values -----------------------------------------------------------------------------------------

std::string plain(const Json &value, const Context &) {
    return printable(value.is_string() ? value.get<std::string>() : value.dump());
}

/// For what is only worth a line when it is so.
std::string onlyYes(const Json &value, const Context &) {
    return value.get<bool>() ? "yes" : "";
}

std::string yesNo(const Json &value, const Context &) {
    return value.get<bool>() ? "yes" : "no";
}

std::string spelled(const Json &value, const Context &) {
    return value.is_string() ? words(value.get<std::string>()) : value.dump();
}

std::string list(const Json &value, const Context &context) {
    std::vector<std::string> parts;
    for (const Json &part : value)
        parts.push_back(spelled(part, context));
    return parts.empty() ? "none" : fmt::format("{}", fmt::join(parts, ", "));
}

std::string bitLength(const Json &value, const Context &context) {
    return plain(value, context) + " bits";
}

std::string hexNumber(const Json &value, const Context &context) {
    return value.is_number_unsigned() ? fmt::format("0x{:02X}", value.get<uint64_t>()) : plain(value, context);
}

/// 20260901120000Z as 2026-09-01 12:00:00 UTC; other forms as they are.
std::string timeText(const Json &value, const Context &context) {
    std::string text = plain(value, context);
    const bool known = text.size() == 15 && text.back() == 'Z' &&
                       std::all_of(text.begin(), text.end() - 1, [](char c) { return c >= '0' && c <= '9'; });
    if (!known)
        return text;
    const auto part = [&text](size_t from, size_t count) { return std::string_view(text).substr(from, count); };
    return fmt::format("{}-{}-{} {}:{}:{} UTC", part(0, 4), part(4, 2), part(6, 2), part(8, 2), part(10, 2),
                       part(12, 2));
}

/// File identifiers apart: 3F00/5015/4401.
std::string fileIds(const std::string &digits) {
    std::string result;
    for (size_t i = 0; i < digits.size(); i += 4)
        result += (i != 0 ? "/" : "") + digits.substr(i, 4);
    return result.empty() ? "(empty)" : result;
}

std::string pathText(const Json &value, const Context &) {
    std::string text = fileIds(value.value("path", ""));
    if (value.contains("index"))
        text += fmt::format(", from octet {}", value["index"].dump());
    if (value.contains("length"))
        text += fmt::format(", {} octets", value["length"].dump());
    return text;
}

std::string lastUpdateText(const Json &value, const Context &context) {
    return value.is_object() ? "in file " + pathText(value, context) : timeText(value, context);
}

std::string filePath(const Json &value, const Context &) {
    return fileIds(value.get<std::string>());
}

std::string nameOrHex(const Json &value, const Context &) {
    const std::string digits = value.get<std::string>();
    const std::string text = nameText(unhex(digits));
    return text.empty() ? digits : text;
}

std::string guard(const std::string &id, const Guards &guards) {
    const auto known = guards.find(id);
    return known != guards.end() ? fmt::format("{} ({})", id, known->second) : id;
}

std::string guardText(const Json &value, const Context &context) {
    return guard(value.get<std::string>(), context.guards);
}

/// A condition as words: 01 (PIN) and (02 or not 03). `inner` asks for brackets where they are needed.
std::string conditionText(const Json &condition, const Context &context, bool inner) {
    const std::string kind = condition.begin().key();
    const Json &operand = condition.begin().value();
    if (kind == "authId")
        return guardText(operand, context);
    if (kind == "not")
        return "not " + conditionText(operand, context, true);
    if (kind != "and" && kind != "or")
        return "(nested too deep)";
    std::vector<std::string> parts;
    for (const Json &part : operand)
        parts.push_back(conditionText(part, context, true));
    if (parts.empty())
        return kind == "and" ? "always" : "never";
    const std::string text = fmt::format("{}", fmt::join(parts, " " + kind + " "));
    return inner && parts.size() > 1 ? "(" + text + ")" : text;
}

std::string rulesText(const Json &rules, const Context &context) {
    std::vector<std::string> lines;
    for (const Json &rule : rules) {
        const std::string modes = rule.contains("accessMode") ? list(rule["accessMode"], context) : "none";
        lines.push_back(fmt::format(
            "{}: {}", modes, rule.contains("condition") ? conditionText(rule["condition"], context, false) : "?"));
    }
    return lines.empty() ? "none" : fmt::format("{}", fmt::join(lines, "\n"));
}

std::string keyInfoText(const Json &info, const Context &) {
    return info.contains("reference") ? "algorithm " + info["reference"].dump() : "own parameters";
}

std::string biometricText(const Json &type, const Context &) {
    std::vector<std::string> parts;
    for (const auto &value : type.begin().value())
        parts.push_back(value.is_string() ? words(value.get<std::string>()) : value.dump());
    return fmt::format("{}: {}", words(type.begin().key()), fmt::join(parts, " "));
}

std::string consentText(const Json &value, const Context &context) {
    return fmt::format("again after {} use{}", plain(value, context), value == 1 ? "" : "s");
}

std::string errorText(const Json &error, const Context &) {
    std::string reason = error["name"];
    if (error.contains("cardErrorText"))
        reason += fmt::format(" ({})", error["cardErrorText"].get<std::string>());
    return reason;
}

std::string readingText(const Json &reading, const Context &) {
    if (reading == "guarded")
        return "takes a PIN or key";
    return reading == "free" ? "" : words(reading.get<std::string>());
}

// ---- what blocks show -----------------------------------------------------------------------------------------------

constexpr std::array<Row, 44> object_rows = {{
    {"id", "Id", plain},
    {"state", "State", spelled},
    {"triesLeft", "Tries left", plain},
    {"error", "Not told", errorText},
    {"reading", "Reading", readingText},
    {"flags", "Flags", list},
    {"authId", "Guarded by", guardText},
    {"userConsent", "Consent", consentText},
    {"accessControlRules", "Access", rulesText},
    {"usage", "Usage", list},
    {"native", "Used by card", yesNo},
    {"accessFlags", "Key access", list},
    {"keyReference", "Key reference", hexNumber},
    {"modulusLength", "Modulus", bitLength},
    {"keyLen", "Key length", bitLength},
    {"startDate", "Valid from", timeText},
    {"endDate", "Valid to", timeText},
    {"keyInfo", "Parameters", keyInfoText},
    {"subjectName", "Subject", nameOrHex},
    {"subject", "Subject", nameOrHex},
    {"issuer", "Issuer", nameOrHex},
    {"serialNumber", "Serial number", plain},
    {"notBefore", "Valid from", timeText},
    {"notAfter", "Valid to", timeText},
    {"authority", "CA", onlyYes},
    {"implicitTrust", "Trusted", onlyYes},
    {"applicationName", "Application", plain},
    {"applicationOID", "Application id", plain},
    {"pinFlags", "PIN flags", list},
    {"bioFlags", "Flags of use", list},
    {"pinType", "PIN type", spelled},
    {"minLength", "Minimum length", plain},
    {"maxLength", "Maximum length", plain},
    {"storedLength", "Stored length", plain},
    {"pinReference", "PIN reference", hexNumber},
    {"padChar", "Padding", plain},
    {"lastPinChange", "Last changed", timeText},
    {"bioType", "Template", biometricText},
    {"templateId", "Template id", plain},
    {"bioReference", "Reference", hexNumber},
    {"lastChange", "Last changed", timeText},
    {"authKeyId", "Secret key", plain},
    {"value", "Value", plain},
    {"path", "Path", pathText},
}};

constexpr std::array<Row, 9> token_rows = {{
    {"label", "Label", plain},
    {"serialNumber", "Serial number", plain},
    {"manufacturerID", "Manufacturer", plain},
    {"version", "Version", plain},
    {"tokenflags", "Flags", list},
    {"issuerId", "Issuer", plain},
    {"holderId", "Holder", plain},
    {"lastUpdate", "Last update", lastUpdateText},
    {"preferredLanguage", "Language", plain},
}};

constexpr std::array<Row, 3> application_rows = {{
    {"label", "Label", plain},
    {"aid", "AID", plain},
    {"path", "Path", filePath},
}};

constexpr std::array<Row, 4> ddo_rows = {{
    {"oid", "Provider", plain},
    {"odfPath", "Object directory", pathText},
    {"tokenInfoPath", "Token info", pathText},
    {"unusedPath", "Unused space", pathText},
}};

constexpr size_t title_width = 17;

void printLine(Output &output, std::string_view title, std::string_view value) {
    const std::string padded = fmt::format("{:<{}}", title, title_width);
    output.print("    {}{}\n", output.styled(Style::faint, padded), value);
}

/// A value of several lines keeps its column.
void printRow(Output &output, const char *title, const std::string &value) {
    for (size_t from = 0; from != std::string::npos;) {
        const size_t end = value.find('\n', from);
        printLine(output, from == 0 ? title : "", value.substr(from, end == std::string::npos ? end : end - from));
        from = end == std::string::npos ? end : end + 1;
    }
}

template <size_t N>
void printRows(Output &output, const std::array<Row, N> &rows, const Json &block, const Context &context) {
    for (const Row &row : rows) {
        const auto value = block.find(row.member);
        const std::string text = value != block.end() ? row.format(*value, context) : std::string();
        if (!text.empty())
            printRow(output, row.title, text);
    }
}

// ---- algorithms -----------------------------------------------------------------------------------------------------

/// Mechanism numbers of PKCS #11.
std::string mechanismName(const Json &algorithm) {
    static const std::map<uint64_t, std::string_view> names = {
        {0x0000, "RSA key pair"}, {0x0001, "RSA PKCS #1"},    {0x0003, "RSA raw"},     {0x0005, "RSA MD5"},
        {0x0006, "RSA SHA-1"},    {0x0008, "RSA RIPEMD-160"}, {0x000D, "RSA PSS"},     {0x0011, "DSA"},
        {0x0012, "DSA SHA-1"},    {0x0040, "RSA SHA-256"},    {0x0041, "RSA SHA-384"}, {0x0042, "RSA SHA-512"},
        {0x0122, "DES CBC"},      {0x0132, "3DES ECB"},       {0x0133, "3DES CBC"},    {0x0210, "MD5"},
        {0x0220, "SHA-1"},        {0x0240, "RIPEMD-160"},     {0x0250, "SHA-256"},     {0x1041, "ECDSA"},
        {0x1042, "ECDSA SHA-1"},  {0x1050, "ECDH"},           {0x1082, "AES CBC"}};
    if (!algorithm.is_number_unsigned())
        return printable(algorithm.dump());
    const auto known = names.find(algorithm.get<uint64_t>());
    return known != names.end() ? std::string(known->second) : fmt::format("0x{:X}", algorithm.get<uint64_t>());
}

void printAlgorithms(Output &output, const Json &algorithms, const Context &context) {
    output.heading(fmt::format("Algorithms ({})", algorithms.size()));
    for (const Json &algorithm : algorithms) {
        const auto text = [&](const char *name, Formatter format) {
            return algorithm.contains(name) ? format(algorithm[name], context) : std::string();
        };
        const std::string card = text("algRef", hexNumber);
        output.print("    {:>2}  {:<15}{:<38}{:<24}{}\n", text("reference", plain),
                     algorithm.contains("algorithm") ? mechanismName(algorithm["algorithm"]) : "",
                     text("supportedOperations", list), text("algId", plain), card.empty() ? "" : "card's " + card);
    }
}

// ---- sections -------------------------------------------------------------------------------------------------------

// By the number of their type.
struct Section {
    const char *type;
    const char *title;
};

constexpr std::array<Section, 9> sections = {{
    {"privateKeys", "Private keys"},
    {"publicKeys", "Public keys"},
    {"trustedPublicKeys", "Trusted public keys"},
    {"secretKeys", "Secret keys"},
    {"certificates", "Certificates"},
    {"trustedCertificates", "Trusted certificates"},
    {"usefulCertificates", "Useful certificates"},
    {"dataObjects", "Data objects"},
    {"authObjects", "PINs and authentication objects"},
}};

Guards guardsOf(const Json &objects) {
    Guards guards;
    for (const Json &object : objects) {
        if (object["type"] == "authObjects" && object.contains("id") && object.contains("label"))
            guards.emplace(object["id"], printable(object["label"].get<std::string>()));
    }
    return guards;
}

void printObject(Output &output, const Json &object, const Context &context) {
    const std::string label = object.contains("label") ? plain(object["label"], context) : "(no label)";
    const std::string kind = words(object["alternative"].get<std::string>());
    const char *carried = object["carried"] == true ? ", not decoded" : "";
    output.print("  {}  {}\n", output.styled(Style::name, label),
                 output.styled(Style::faint, fmt::format("{}{}", kind, carried)));
    printRows(output, object_rows, object, context);
}

void printUnreadable(Output &output, const Json &item, const Context &context) {
    const std::string what =
        item.contains("objectId") ? fmt::format("object {}", item["objectId"].dump()) : std::string("the directory");
    const std::string reason = errorText(item["error"], context);
    output.print("  {}\n", output.styled(Style::error, fmt::format("cannot read {}: {}", what, reason)));
}

std::vector<const Json *> ofType(const Json &items, std::string_view type) {
    std::vector<const Json *> result;
    for (const Json &item : items) {
        if (item["type"] == type)
            result.push_back(&item);
    }
    return result;
}

void printSection(Output &output, const Section &section, const Json &listing, const Context &context) {
    const auto objects = ofType(listing["objects"], section.type);
    const auto unreadable = ofType(listing["unreadable"], section.type);
    if (objects.empty() && unreadable.empty())
        return;
    output.heading(fmt::format("{} ({})", section.title, objects.size()));
    for (const Json *object : objects)
        printObject(output, *object, context);
    for (const Json *item : unreadable)
        printUnreadable(output, *item, context);
}

}  // namespace

void printToken(Output &output, const Json &listing) {
    const Guards guards;
    const Context context = {guards};
    const Json &application = listing["application"];
    const Json &token = listing["tokenInfo"];
    output.heading("Token");
    printRows(output, token_rows, token, context);
    printRow(output, "Application", application.contains("aid") ? plain(application["aid"], context) : "(no AID)");
    if (application.contains("path"))
        printRow(output, "Path", filePath(application["path"], context));
    if (token.contains("supportedAlgorithms") && !token["supportedAlgorithms"].empty())
        printAlgorithms(output, token["supportedAlgorithms"], context);
}

void printObjects(Output &output, uint32_t type, const Json &found, const Json &authObjects) {
    const Guards guards = guardsOf(authObjects);
    printSection(output, sections.at(type), found, {guards});
}

void printPins(Output &output, const Json &pins) {
    const Guards guards = guardsOf(pins);
    output.heading(fmt::format("PINs ({})", pins.size()));
    for (const Json &pin : pins)
        printObject(output, pin, {guards});
}

void printCertificates(Output &output, const Json &listing) {
    const Guards guards;
    for (const Section &section : sections)
        printSection(output, section, listing, {guards});
    if (listing["objects"].empty() && listing["unreadable"].empty())
        output.print("The token holds no certificates.\n");
}

void printApplication(Output &output, size_t number, const Json &application) {
    const Guards guards;
    const Context context = {guards};
    output.heading(fmt::format("Application {}", number));
    printRows(output, application_rows, application, context);
    if (application.contains("ddo"))
        printRows(output, ddo_rows, application["ddo"], context);
}

}  // namespace zelmo

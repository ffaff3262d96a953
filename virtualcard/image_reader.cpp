#include <algorithm>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>

#include "virtualcard/image.h"
#include "virtualcard/image_names.h"

namespace virtualcard {

namespace {

using Json = nlohmann::json;

int digitValue(char digit) {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

// Names and words come from the file: nothing in them may break the message's line.
ImageError refusal(std::string message) {
    std::replace_if(
        message.begin(), message.end(), [](char c) { return (c >= 0 && c < ' ') || c == 0x7F; }, '?');
    return ImageError(message);
}

template <class Table>
std::string choices(const Table &table) {
    std::string text;
    for (const auto &entry : table)
        text += (text.empty() ? "\"" : ", \"") + std::string(entry.second) + "\"";
    return text;
}

// One value of the text form and the way to it, for messages.
class Node {
  public:
    Node(const Json &json, const std::string &file, std::string path)
        : json_(json), file_(file), path_(std::move(path)) {}

    [[noreturn]] void fail(const std::string &reason) const {
        throw refusal(file_ + ": " + path_ + ": " + reason);
    }

    // An object with no other members than these.
    void expectMembers(std::initializer_list<std::string_view> allowed) const {
        if (!json_.is_object())
            fail("must be an object");
        for (const auto &item : json_.items())
            if (std::find(allowed.begin(), allowed.end(), item.key()) == allowed.end())
                fail("unknown member \"" + item.key() + "\"");
    }

    bool has(const char *member) const {
        return json_.contains(member);
    }

    Node at(const char *member) const {
        if (!has(member))
            fail(std::string("member \"") + member + "\" is missing");
        return {json_[member], file_, path_ + "." + member};
    }

    template <class Visit>
    void eachElement(Visit visit) const {
        if (!json_.is_array())
            fail("must be an array");
        for (size_t i = 0; i < json_.size(); i++)
            visit(Node(json_[i], file_, path_ + "[" + std::to_string(i) + "]"));
    }

    std::string onlyMember() const {
        if (!json_.is_object() || json_.size() != 1)
            fail("must be \"always\", \"never\" or an object with one member");
        return json_.begin().key();
    }

    bool isText() const {
        return json_.is_string();
    }

    const std::string &text() const {
        if (!json_.is_string())
            fail("must be a string");
        return json_.get_ref<const std::string &>();
    }

    bool flag() const {
        if (!json_.is_boolean())
            fail("must be true or false");
        return json_.get<bool>();
    }

    size_t number(size_t least, size_t most) const {
        if (!json_.is_number_unsigned() || json_.get<uint64_t>() < least || json_.get<uint64_t>() > most)
            fail("must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
        return json_.get<size_t>();
    }

    Bytes hex(size_t least, size_t most) const {
        const std::string &digits = text();
        const auto bad = std::find_if(digits.begin(), digits.end(), [](char digit) { return digitValue(digit) < 0; });
        if (bad != digits.end())
            fail("character " + std::to_string(bad - digits.begin() + 1) + " is no hexadecimal digit");
        if (digits.size() % 2 != 0)
            fail("has an odd number of hexadecimal digits");
        if (digits.size() / 2 < least || digits.size() / 2 > most)
            fail("has " + std::to_string(digits.size() / 2) + " octets, must have " +
                 (least == most ? "" : std::to_string(least) + " to ") + std::to_string(most));
        Bytes octets(digits.size() / 2);
        for (size_t i = 0; i < octets.size(); i++)
            octets[i] = static_cast<uint8_t>(digitValue(digits[2 * i]) << 4 | digitValue(digits[2 * i + 1]));
        return octets;
    }

    uint16_t hex16() const {
        const Bytes octets = hex(2, 2);
        return static_cast<uint16_t>(octets[0] << 8 | octets[1]);
    }

    template <class Table>
    auto oneOf(const Table &table) const {
        return lookUp(table, text());
    }

    template <class Table>
    auto lookUp(const Table &table, const std::string &word) const {
        const auto found =
            std::find_if(table.begin(), table.end(), [&word](const auto &entry) { return entry.second == word; });
        if (found == table.end())
            fail("\"" + word + "\" is none of " + choices(table));
        return found->first;
    }

    template <class Visit>
    void eachMember(Visit visit) const {
        if (!json_.is_object())
            fail("must be an object");
        for (const auto &item : json_.items())
            visit(item.key(), Node(item.value(), file_, path_ + "." + item.key()));
    }

  private:
    const Json &json_;
    const std::string &file_;
    std::string path_;
};

AccessCondition readCondition(const Node &node, size_t depth) {
    using Kind = AccessCondition::Kind;
    if (depth > limits::conditionDepth)
        node.fail("conditions are nested deeper than " + std::to_string(limits::conditionDepth));
    const bool word = node.isText();
    const std::string name = word ? node.text() : node.onlyMember();
    AccessCondition condition;
    condition.kind = node.lookUp(names::conditions, name);
    if (word != (condition.kind == Kind::always || condition.kind == Kind::never))
        node.fail(word ? "\"" + name + "\" needs an argument" : "\"" + name + "\" is a plain word");
    if (word)
        return condition;
    const Node argument = node.at(name.c_str());
    if (condition.kind == Kind::pin || condition.kind == Kind::key)
        condition.reference = static_cast<uint8_t>(argument.number(0, 255));
    else
        argument.eachElement(
            [&](const Node &operand) { condition.operands.push_back(readCondition(operand, depth + 1)); });
    return condition;
}

using Access = std::map<Operation, AccessCondition>;

// `what` is what has no operations but these, for messages.
Access readAccess(const Node &node, std::initializer_list<Operation> allowed, const std::string &what) {
    Access access;
    node.eachMember([&](const std::string &name, const Node &condition) {
        const Operation operation = condition.lookUp(names::operations, name);
        if (std::find(allowed.begin(), allowed.end(), operation) == allowed.end())
            condition.fail("is no operation of " + what);
        access[operation] = readCondition(condition, 1);
    });
    return access;
}

Access readFileAccess(const Node &node, FileKind kind) {
    return kind == FileKind::df ? readAccess(node, {Operation::create, Operation::remove}, "a DF")
                                : readAccess(node, {Operation::read, Operation::update, Operation::append}, "an EF");
}

void readContent(const Node &node, File &file) {
    if (node.has("data"))
        file.data = node.at("data").hex(0, limits::fileSize);
    if (!node.has("size"))
        return;
    const Node size = node.at("size");
    const size_t octets = size.number(0, limits::fileSize);
    if (octets < file.data.size())
        size.fail("is " + std::to_string(octets) + ", less than the " + std::to_string(file.data.size()) +
                  " octets of data");
    file.data.resize(octets);
}

void readRecords(const Node &node, File &file) {
    if (node.has("maxRecord"))
        file.maxRecord = node.at("maxRecord").number(1, limits::recordSize);
    if (node.has("maxRecords"))
        file.maxRecords = node.at("maxRecords").number(1, limits::records);
    if (!node.has("records"))
        return;
    const Node records = node.at("records");
    records.eachElement([&](const Node &record) { file.records.push_back(record.hex(0, file.maxRecord)); });
    if (file.records.size() > file.maxRecords)
        records.fail("has " + std::to_string(file.records.size()) + " records, more than maxRecords " +
                     std::to_string(file.maxRecords));
}

void expectMembersOf(FileKind kind, const Node &node) {
    switch (kind) {
        case FileKind::df:
            return node.expectMembers({"fid", "kind", "state", "access", "name", "files"});
        case FileKind::transparent:
            return node.expectMembers({"fid", "kind", "state", "access", "sfi", "size", "data"});
        case FileKind::linearVariable:
        case FileKind::tlvRecords:
            return node.expectMembers({"fid", "kind", "state", "access", "sfi", "maxRecord", "maxRecords", "records"});
    }
}

File readFile(const Node &node, size_t depth);

// Identifiers must tell the files of a DF apart.
void readFiles(const Node &node, File &df, size_t depth) {
    std::set<uint16_t> fids = {rootFileId, df.fid, 0x3FFF, 0xFFFF};
    std::set<uint8_t> sfis;
    node.eachElement([&](const Node &child) {
        df.files.push_back(readFile(child, depth + 1));
        const File &file = df.files.back();
        if (!fids.insert(file.fid).second)
            child.at("fid").fail("is reserved, its DF's own, or another file's");
        if (file.sfi && !sfis.insert(*file.sfi).second)
            child.at("sfi").fail("is another file's");
    });
}

void readBody(const Node &node, File &file, size_t depth) {
    switch (file.kind) {
        case FileKind::df:
            if (depth > limits::depth)
                node.fail("DFs are nested deeper than " + std::to_string(limits::depth));
            if (node.has("name"))
                file.name = node.at("name").hex(1, 16);
            if (node.has("files"))
                readFiles(node.at("files"), file, depth);
            break;
        case FileKind::transparent:
            readContent(node, file);
            break;
        case FileKind::linearVariable:
        case FileKind::tlvRecords:
            readRecords(node, file);
            break;
    }
}

File readFile(const Node &node, size_t depth) {
    File file;
    file.kind = node.at("kind").oneOf(names::kinds);
    expectMembersOf(file.kind, node);
    file.fid = node.at("fid").hex16();
    if (node.has("state"))
        file.state = node.at("state").oneOf(names::states);
    if (node.has("sfi"))
        file.sfi = static_cast<uint8_t>(node.at("sfi").number(1, 30));
    if (node.has("access"))
        file.access = readFileAccess(node.at("access"), file.kind);
    readBody(node, file, depth);
    return file;
}

Secret readPin(const Node &node) {
    node.expectMembers(
        {"reference", "value", "maxTries", "triesLeft", "access", "minLength", "maxLength", "unblockedBy"});
    Secret pin;
    if (node.has("value"))
        pin.value = node.at("value").hex(1, limits::secret);
    if (node.has("access"))
        pin.access = readAccess(node.at("access"), {Operation::change, Operation::unblock}, "a PIN");
    if (node.has("minLength"))
        pin.minLength = node.at("minLength").number(1, limits::secret);
    if (node.has("maxLength"))
        pin.maxLength = node.at("maxLength").number(pin.minLength, limits::secret);
    if (node.has("unblockedBy"))
        pin.unblockedBy = static_cast<uint8_t>(node.at("unblockedBy").number(0, 255));
    return pin;
}

Secret readKey(const Node &node) {
    node.expectMembers({"reference", "value", "maxTries", "triesLeft", "access", "algorithm"});
    Secret key;
    const Node value = node.at("value");
    key.value = value.hex(1, limits::secret);
    if (node.has("access"))
        key.access = readAccess(node.at("access"), {Operation::change}, "a key");
    if (!node.has("algorithm"))
        return key;
    const Node algorithm = node.at("algorithm");
    key.algorithm = algorithm.oneOf(names::algorithms);
    if (!keyLengthFits(*key.algorithm, key.value.size()))
        value.fail("has " + std::to_string(key.value.size()) + " octets, which no key of \"" + algorithm.text() +
                   "\" has");
    return key;
}

std::vector<Secret> readSecrets(const Node &node, Secret (*read)(const Node &element)) {
    std::vector<Secret> secrets;
    std::set<uint8_t> references;
    node.eachElement([&](const Node &element) {
        Secret secret = read(element);
        secret.reference = static_cast<uint8_t>(element.at("reference").number(0, 255));
        if (element.has("maxTries"))
            secret.maxTries = static_cast<uint8_t>(element.at("maxTries").number(0, 15));
        secret.triesLeft = secret.maxTries;
        if (element.has("triesLeft"))
            secret.triesLeft = static_cast<uint8_t>(element.at("triesLeft").number(0, secret.maxTries));
        if (!references.insert(secret.reference).second)
            element.at("reference").fail("stands twice");
        secrets.push_back(std::move(secret));
    });
    return secrets;
}

// A PIN may stand before the one that unblocks it, so that all must have been read.
std::vector<Secret> readPins(const Node &node) {
    std::vector<Secret> pins = readSecrets(node, readPin);
    node.eachElement([&pins](const Node &element) {
        if (!element.has("unblockedBy"))
            return;
        const Node unblocker = element.at("unblockedBy");
        const size_t reference = unblocker.number(0, 255);
        const bool known = std::any_of(pins.begin(), pins.end(),
                                       [reference](const Secret &pin) { return pin.reference == reference; });
        if (!known || element.at("reference").number(0, 255) == reference)
            unblocker.fail("must be the reference of another PIN");
    });
    return pins;
}

void readCard(const Node &node, CardImage &image) {
    node.expectMembers({"atr", "serial", "model", "lifeCycle", "extendedLength"});
    if (node.has("atr"))
        image.atr = node.at("atr").hex(2, 33);
    if (node.has("serial"))
        image.serial = node.at("serial").hex(0, 32);
    if (node.has("model"))
        image.model = node.at("model").hex16();
    if (node.has("lifeCycle"))
        image.lifeCycle = static_cast<uint8_t>(node.at("lifeCycle").number(0, 255));
    if (node.has("extendedLength"))
        image.extendedLength = node.at("extendedLength").flag();
}

// Finds members that stand twice, of which a JSON reader keeps but one.
class UniqueMembers {
  public:
    explicit UniqueMembers(const std::string &file) : file_(file) {}

    bool operator()(int /*depth*/, Json::parse_event_t event, Json &parsed) {
        if (event == Json::parse_event_t::object_start)
            open_.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            open_.pop_back();
        else if (event == Json::parse_event_t::key && !open_.back().insert(parsed.get<std::string>()).second)
            throw refusal(file_ + ": member \"" + parsed.get<std::string>() + "\" stands twice in one object");
        return true;
    }

  private:
    const std::string &file_;
    std::vector<std::set<std::string>> open_;
};

// The library's text without its own prefix.
std::string reason(const Json::exception &error) {
    const std::string text = error.what();
    const size_t at = text.find("] ");
    return at == std::string::npos ? text : text.substr(at + 2);
}

Json parseText(std::string_view text, const std::string &name) {
    if (text.size() > limits::imageText)
        throw ImageError(name + ": is larger than " + std::to_string(limits::imageText) + " octets");
    try {
        UniqueMembers unique(name);
        return Json::parse(text.begin(), text.end(), std::ref(unique));
    } catch (const Json::exception &error) {  // a number out of range is no parse_error
        throw refusal(name + ": is no JSON: " + reason(error));
    }
}

}  // namespace

CardImage parseImage(std::string_view text, const std::string &name) {
    const Json json = parseText(text, name);
    const Node top(json, name, "$");
    top.expectMembers({"format", "card", "root", "pins", "keys"});
    if (top.at("format").text() != names::format)
        top.at("format").fail("must be \"" + std::string(names::format) + "\"");
    CardImage image;
    if (top.has("card"))
        readCard(top.at("card"), image);
    const Node root = top.at("root");
    image.root = readFile(root, 1);
    if (image.root.kind != FileKind::df || image.root.fid != rootFileId)
        root.fail("must be the DF 3F00");
    if (top.has("pins"))
        image.pins = readPins(top.at("pins"));
    if (top.has("keys"))
        image.keys = readSecrets(top.at("keys"), readKey);
    return image;
}

}  // namespace virtualcard

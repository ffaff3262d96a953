// Profiles: what a token is to hold, as JSON. Files, conditions, PINs and keys are written as in the image of a virtual
// card, whose reader does the reading; what this unit adds are the files of PKCS #15.
#include <algorithm>
#include <array>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "failure.h"
#include "object_maker.h"
#include "profile_objects.h"
#include "script_build.h"
#include "text.h"

namespace zelmo {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char *profile_format = "zelmo token profile 1";
constexpr const char *image_format = "zelmo virtual card 1";
constexpr const char *application = "5015";
constexpr size_t token_info_room = 64;

/// Why a profile cannot be used; becomes a Failure with the file's name.
class ProfileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What is longer is refused before it is read to its end, which some files do not have.
std::string readWhole(const std::filesystem::path &file, size_t most) {
    std::ifstream input(file, std::ios::binary);
    std::string text;
    for (char octet = 0; text.size() <= most && input.get(octet);)
        text += octet;
    if (text.empty())
        throw Failure(Exit::notFound,
                      fmt::format("cannot read {}; name a file that is there and not empty", printable(file.string())));
    if (text.size() > most)
        throw Failure(Exit::malformed,
                      fmt::format("cannot use {}: it has more than {} octets", printable(file.string()), most));
    return text;
}

/// Refuses what nests deeper than any profile, and members that stand twice, of which a JSON reader keeps but one.
class Structure {
  public:
    bool operator()(int depth, Json::parse_event_t event, Json &parsed) {
        if (depth > max_depth)
            throw ProfileError(fmt::format("is nested deeper than {}", max_depth));
        if (event == Json::parse_event_t::object_start)
            open_.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            open_.pop_back();
        else if (event == Json::parse_event_t::key && !open_.back().insert(parsed.get<std::string>()).second)
            throw ProfileError(fmt::format("member \"{}\" stands twice in one object", parsed.get<std::string>()));
        return true;
    }

  private:
    static constexpr int max_depth = 64;
    std::vector<std::set<std::string>> open_;
};

/// A member of an object in the profile, for messages by its place.
class Entry {
  public:
    Entry(const Json &json, std::string place) : json_(json), place_(std::move(place)) {
        if (!json_.is_object())
            throw ProfileError(place_ + ": must be an object");
    }
    bool has(const char *name) const {
        return json_.contains(name);
    }
    void expectMembers(std::initializer_list<std::string_view> allowed) const {
        for (const auto &item : json_.items())
            if (std::find(allowed.begin(), allowed.end(), item.key()) == allowed.end())
                throw ProfileError(fmt::format("{}: unknown member \"{}\"", place_, item.key()));
    }
    std::string text(const char *name, const char *otherwise = nullptr) const {
        if (!has(name) && otherwise != nullptr)
            return otherwise;
        const Json &value = member(name);
        if (!value.is_string())
            fail(name, "must be a string");
        return value.get<std::string>();
    }
    uint32_t number(const char *name, uint32_t least, uint32_t most) const {
        const Json &value = member(name);
        if (!value.is_number_unsigned() || value.get<uint64_t>() < least || value.get<uint64_t>() > most)
            fail(name, fmt::format("must be a whole number from {} to {}", least, most));
        return value.get<uint32_t>();
    }
    bool flag(const char *name) const {
        if (has(name) && !member(name).is_boolean())
            fail(name, "must be true or false");
        return has(name) && member(name).get<bool>();
    }
    Bytes octets(const char *name, size_t least, size_t most) const {
        Bytes value;
        try {
            value = unhex(text(name));
        } catch (const std::invalid_argument &) {
            fail(name, "must be hexadecimal digits");
        }
        if (value.size() < least || value.size() > most)
            fail(name, fmt::format("must have {} to {} octets", least, most));
        return value;
    }
    uint16_t fid() const {
        const Bytes value = octets("fid", 2, 2);
        return static_cast<uint16_t>(value[0] << 8 | value[1]);
    }
    /// Conditions; the image's reader looks at them.
    Json access() const {
        return has("access") ? json_["access"] : Json{{"update", "never"}};
    }
    const Json &member(const char *name) const {
        if (!has(name))
            fail(name, "is missing");
        return json_[name];
    }
    const std::string &place() const {
        return place_;
    }
    [[noreturn]] void fail(const char *name, const std::string &why) const {
        throw ProfileError(fmt::format("{}.{}: {}", place_, name, why));
    }

  private:
    const Json &json_;
    std::string place_;
};

template <size_t Size>
std::vector<uint32_t> bitsOf(const Entry &entry, const std::array<const char *, Size> &names) {
    std::vector<uint32_t> bits;
    if (!entry.has("flags"))
        return bits;
    for (const Json &name : entry.member("flags")) {
        const auto found = std::find_if(names.begin(), names.end(), [&](const char *one) { return name == one; });
        if (found == names.end())
            entry.fail("flags", "has one that is unknown");
        bits.push_back(static_cast<uint32_t>(found - names.begin()));
    }
    return bits;
}

constexpr std::array<const char *, 12> pin_flags = {"case-sensitive",
                                                    "local",
                                                    "change-disabled",
                                                    "unblock-disabled",
                                                    "initialized",
                                                    "needs-padding",
                                                    "unblockingPin",
                                                    "soPin",
                                                    "disable-allowed",
                                                    "integrity-protected",
                                                    "confidentiality-protected",
                                                    "exchangeRefData"};
constexpr std::array<const char *, 4> token_flags = {"readonly", "loginRequired", "prnGeneration", "eidCompliant"};

Json transparentFile(uint16_t fid, const Bytes &data, const Json &access, size_t room = 0) {
    return {{"fid", fmt::format("{:04X}", fid)},
            {"kind", "transparent"},
            {"data", hex(data)},
            {"size", data.size() + room},
            {"access", access}};
}

/// Collects the objects of a token and the files that hold their values.
class Objects {
  public:
    explicit Objects(std::filesystem::path folder) : folder_(std::move(folder)) {}

    void add(const Entry &entry) {
        using Adder = void (Objects::*)(const Entry &);
        constexpr std::pair<const char *, Adder> kinds[] = {{"pin", &Objects::addPin},
                                                            {"certificate", &Objects::addCertificate},
                                                            {"data", &Objects::addData},
                                                            {"secret-key", &Objects::addSecretKey},
                                                            {"auth-key", &Objects::addAuthKey}};
        const std::string type = entry.text("type");
        const auto *kind =
            std::find_if(std::begin(kinds), std::end(kinds), [&](const auto &one) { return type == one.first; });
        if (kind == std::end(kinds))
            entry.fail("type", "is none of pin, certificate, data, secret-key, auth-key");
        (this->*kind->second)(entry);
    }

    /// Directory files, and the object directory file that names them, behind the values' files.
    Json files(const Json &access, size_t spare) {
        std::vector<ObjectDirectory> directories;
        for (const auto &[type, objects] : objects_) {
            const auto fid = static_cast<uint16_t>(0x4400 + type);
            directories.push_back({type, fid, objects});
            files_.push_back(directoryFile(directories.back(), access, spare));
        }
        files_.push_back(transparentFile(0x5031, objectDirectoryFile(directories), {{"update", "never"}}, 32));
        return files_;
    }

  private:
    static CommonFacts common(const Entry &entry) {
        CommonFacts facts = {entry.text("label"), {}, {}};
        if (entry.has("authId")) {
            facts.authId = entry.octets("authId", 1, 255);
            facts.flags = {0, 1};
        }
        return facts;
    }
    void put(const Entry &entry, uint32_t type, Bytes object) {
        if (object.size() > PKCS15_MAX_RECORD - 2)
            throw ProfileError(entry.place() + ": is too long for a record of its directory; shorten its texts");
        objects_[type].push_back(std::move(object));
    }
    void addPin(const Entry &entry) {
        entry.expectMembers(
            {"type", "label", "id", "authId", "reference", "flags", "minLength", "storedLength", "maxLength", "pad"});
        PinFacts facts = {common(entry), entry.octets("id", 1, 255), bitsOf(entry, pin_flags)};
        facts.least = entry.number("minLength", 1, 255);
        facts.stored = entry.number("storedLength", 0, 255);
        facts.most = entry.number("maxLength", facts.least, 255);
        facts.reference = static_cast<uint8_t>(entry.number("reference", 0, 255));
        if (entry.has("pad"))
            facts.padding = entry.octets("pad", 1, 1)[0];
        put(entry, PKCS15_AUTH_OBJECTS, maker_.pin(facts));
    }
    void addCertificate(const Entry &entry) {
        entry.expectMembers({"type", "label", "id", "authId", "fid", "file", "authority", "access"});
        const std::string content = readWhole(folder_ / entry.text("file"), virtualcard::limits::fileSize);
        const Bytes der(content.begin(), content.end());
        CertificateFacts facts = {common(entry), entry.octets("id", 1, 255), entry.fid(), entry.flag("authority"), der};
        const uint32_t type = facts.authority ? PKCS15_TRUSTED_CERTIFICATES : PKCS15_CERTIFICATES;
        Bytes object = maker_.certificate(facts);
        // Subject and number are a help for searching; a long name has to do without.
        if (object.size() > PKCS15_MAX_RECORD - 2) {
            facts.der = {};
            object = maker_.certificate(facts);
        }
        put(entry, type, std::move(object));
        files_.push_back(transparentFile(facts.fid, der, entry.access()));
    }
    void addData(const Entry &entry) {
        entry.expectMembers({"type", "label", "authId", "application", "fid", "text", "access"});
        put(entry, PKCS15_DATA_OBJECTS, maker_.data({common(entry), entry.text("application"), entry.fid()}));
        const std::string text = entry.text("text");
        files_.push_back(transparentFile(entry.fid(), Bytes(text.begin(), text.end()), entry.access()));
    }
    void addSecretKey(const Entry &entry) {
        entry.expectMembers({"type", "label", "id", "authId", "reference", "bits", "fid"});
        const auto reference = static_cast<uint8_t>(entry.number("reference", 0, 255));
        put(entry, PKCS15_SECRET_KEYS,
            maker_.secretKey(
                {common(entry), entry.octets("id", 1, 255), reference, entry.number("bits", 128, 192), entry.fid()}));
        // The value is the card's own affair; the object must lead to a file all the same.
        files_.push_back(transparentFile(entry.fid(), {}, {{"read", "never"}, {"update", "never"}}));
    }
    void addAuthKey(const Entry &entry) {
        entry.expectMembers({"type", "label", "id", "authId", "keyId"});
        put(entry, PKCS15_AUTH_OBJECTS,
            maker_.authKey({common(entry), entry.octets("id", 1, 255), entry.octets("keyId", 1, 255)}));
    }
    static Json directoryFile(const ObjectDirectory &directory, const Json &access, size_t spare) {
        Json records = Json::array();
        for (const Bytes &object : directory.objects)
            records.push_back(fmt::format("{:02X}{:02X}{}", records.size() + 1, object.size(), hex(object)));
        for (size_t i = 0; i < spare; i++)
            records.push_back("0000");
        return {{"fid", fmt::format("{:04X}", directory.fid)},
                {"kind", "tlv-records"},
                {"maxRecord", PKCS15_MAX_RECORD},
                {"maxRecords", records.size()},
                {"records", records},
                {"access", access}};
    }

    std::filesystem::path folder_;
    ObjectMaker maker_;
    std::map<uint32_t, std::vector<Bytes>> objects_;
    Json files_ = Json::array();
};

/// EF.TokenInfo, with room for a longer label and serial number.
Json tokenInfoFile(const Entry &token) {
    token.expectMembers({"label", "manufacturer", "serial", "flags", "access"});
    const TokenFacts facts = {token.octets("serial", 1, 32), token.text("manufacturer", "Zelmop"), token.text("label"),
                              bitsOf(token, token_flags), true};
    return transparentFile(0x5032, ObjectMaker().tokenInfo(facts), token.access(), token_info_room);
}

Json &applicationIn(Json &root) {
    if (root.is_object() && root.contains("files") && root["files"].is_array())
        for (Json &file : root["files"])
            if (file.is_object() && file.contains("fid") && file["fid"] == application)
                return file;
    throw ProfileError("$.root.files: must have the directory 5015, in which the token lies");
}

/// The profile as the image of the card that its script makes.
Json imageOf(const Json &profile, const std::filesystem::path &folder) {
    const Entry top(profile, "$");
    top.expectMembers({"format", "phase", "token", "objects", "directories", "root", "pins", "keys"});
    if (top.text("format") != profile_format)
        top.fail("format", fmt::format("must be \"{}\"", profile_format));
    const Entry directories(top.member("directories"), "$.directories");
    directories.expectMembers({"spare", "access"});
    Objects objects(folder);
    size_t index = 0;
    for (const Json &object : top.member("objects"))
        objects.add(Entry(object, fmt::format("$.objects[{}]", index++)));
    Json root = top.member("root");
    Json &files = applicationIn(root)["files"];
    if (!files.is_null() && !files.is_array())
        throw ProfileError("$.root.files: the directory 5015 must have an array of files");
    for (const Json &file : objects.files(directories.access(), directories.number("spare", 0, 200)))
        files.push_back(file);
    files.push_back(tokenInfoFile(Entry(top.member("token"), "$.token")));
    Json image = {{"format", image_format}, {"root", root}};
    for (const char *secrets : {"pins", "keys"})
        if (top.has(secrets))
            image[secrets] = top.member(secrets);
    return image;
}

std::optional<uint8_t> phaseOf(const Json &profile) {
    if (!profile.contains("phase"))
        return std::nullopt;
    const auto phase = static_cast<uint8_t>(Entry(profile, "$").number("phase", 0, 255));
    if (phase != virtualcard::phase::personalised && phase != virtualcard::phase::operational)
        throw ProfileError("$.phase: must be 41 or 52");
    return phase;
}

}  // namespace

TokenPlan readProfile(const std::string &file) {
    return parseProfile(readWhole(file, virtualcard::limits::imageText), file);
}

TokenPlan parseProfile(std::string_view text, const std::string &file) {
    const auto refused = [](const std::string &why) {
        return Failure(Exit::malformed,
                       printable(fmt::format("cannot use the profile: {}; see docs/script-format.md", why)));
    };
    try {
        Structure structure;
        const Json profile = Json::parse(text.begin(), text.end(), std::ref(structure));
        const Json image = imageOf(profile, std::filesystem::path(file).parent_path());
        return {virtualcard::parseImage(image.dump(), file), phaseOf(profile)};
    } catch (const ProfileError &error) {
        throw refused(file + ": " + error.what());
    } catch (const virtualcard::ImageError &error) {
        throw refused(error.what());
    } catch (const Json::exception &error) {
        throw refused(file + ": " + error.what());
    } catch (const std::logic_error &error) {
        throw refused(file + ": " + error.what());
    }
}

}  // namespace zelmo

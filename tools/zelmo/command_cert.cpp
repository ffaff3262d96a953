#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "certificate.h"
#include "commands.h"
#include "guards.h"
#include "list_text.h"
#include "name_text.h"
#include "output.h"
#include "pin_source.h"
#include "prompts.h"
#include "session.h"
#include "text.h"

namespace zelmo {

namespace {

Walk readCertificates(const Session &session) {
    return readObjects(session.card(), session.token(),
                       {PKCS15_CERTIFICATES, PKCS15_TRUSTED_CERTIFICATES, PKCS15_USEFUL_CERTIFICATES});
}

/// A certificate's value, or why it could not be had.
struct Value {
    std::vector<uint8_t> octets;
    uint32_t code = 0, raw = 0;

    bool isGuarded() const {
        return code == PKCS15_E_PIN_REQUIRED || code == PKCS15_E_SECURITY_STATUS ||
               code == PKCS15_E_CREDENTIAL_REJECTED;
    }
};

Value readValue(const Session &session, ObjectReference &reference) {
    Value value;
    uint8_t *data = nullptr;
    uint32_t length = 0;
    value.code = pkcs15_ScReadCertificate(session.card().handle(), &session.token(), &reference, FLAG_USE_CACHE, &data,
                                          &length, &value.raw);
    throwIfCardGone(value.code, value.raw);
    if (value.code != 0)
        return value;
    const std::unique_ptr<uint8_t, decltype(&pkcs15_FreeData)> block(data, [](void *p) { pkcs15_FreeData(p); });
    value.octets.assign(data, data + length);
    return value;
}

// ---- list -----------------------------------------------------------------------------------------------------------

void addFields(Json &json, const CertificateFields &fields) {
    json["subject"] = hex(fields.subject);
    json["subjectText"] = nameText(fields.subject);
    json["issuer"] = hex(fields.issuer);
    json["issuerText"] = nameText(fields.issuer);
    const asn1_Integer serial = {static_cast<uint32_t>(fields.serialNumber.size()),
                                 const_cast<uint8_t *>(fields.serialNumber.data()), 0};
    json["serialNumber"] = view::integer(serial);
    if (!fields.notBefore.empty())
        json["notBefore"] = fields.notBefore;
    if (!fields.notAfter.empty())
        json["notAfter"] = fields.notAfter;
}

/// Adds what the certificate itself tells, where anybody may read it. Returns the exit code that stands for what was
/// found.
Exit addValue(Json &json, const Value &value) {
    const auto fields = value.code == 0 ? certificateFields(value.octets) : std::nullopt;
    if (fields)
        addFields(json, *fields);
    json["reading"] = fields ? "free" : value.isGuarded() ? "guarded" : value.code == 0 ? "malformed" : "impossible";
    if (fields || value.isGuarded())
        return Exit::ok;
    if (value.code != 0)
        json["error"] = errorJson(value.code, value.raw);
    // What is no file's content is no fault of the card: there is nothing to read in it.
    return value.code == PKCS15_E_UNSUPPORTED ? Exit::ok
           : value.code == 0                  ? Exit::malformed
                                              : exitFor(value.code, value.raw);
}

// ---- read -----------------------------------------------------------------------------------------------------------

/// Whether two entries are of one name and one value: a certificate may be listed as trusted and as useful.
bool isTwin(const Json &a, const Json &b) {
    const auto same = [&](const char *member) { return a.value(member, Json()) == b.value(member, Json()); };
    return same("id") && same("label") && a.contains("path") && same("path");
}

/// The place of the wanted one among the objects.
size_t chooseCertificate(const Json &objects, const std::string &word) {
    std::vector<Name> names;
    std::vector<size_t> places;
    for (size_t i = 0; i < objects.size(); ++i) {
        const Json &object = objects[i];
        if (std::any_of(objects.begin(), objects.begin() + static_cast<ptrdiff_t>(i),
                        [&](const Json &earlier) { return isTwin(object, earlier); }))
            continue;
        names.push_back({object.value("id", ""), object.value("label", "")});
        places.push_back(i);
    }
    return places[choose(names, word, "certificate")];
}

/// The attributes of an object, which is open while this lives.
class OpenObject {
  public:
    OpenObject(const Session &session, ObjectReference &reference) : session_(session), reference_(reference) {
        pkcs15_ScGetDFEntry(session.card().handle(), &session.token(), &reference, FLAG_USE_CACHE, &object_, nullptr);
    }
    OpenObject(const OpenObject &) = delete;
    OpenObject &operator=(const OpenObject &) = delete;
    ~OpenObject() {
        if (object_ != nullptr)
            pkcs15_ScReleaseDFEntry(session_.card().handle(), &session_.token(), &reference_, RELEASE_DISCARD, object_,
                                    nullptr);
    }
    const CommonObjectAttributes *attributes() const {
        return object_ != nullptr ? pkcs15_GetCommonObjectAttributes(object_) : nullptr;
    }

  private:
    const Session &session_;
    ObjectReference &reference_;
    void *object_ = nullptr;
};

/// The only PIN that is no PUK and not the security officer's; null when there is none or more than one.
const Pin *onlyUserPin(const std::vector<Pin> &pins) {
    const Pin *only = nullptr;
    for (const Pin &pin : pins) {
        if (pin.has(PinFlag::unblockingPin) || pin.has(PinFlag::soPin))
            continue;
        if (only != nullptr)
            return nullptr;
        only = &pin;
    }
    return only;
}

/// The PIN to present for a certificate that gave `code`: the wanted one, or the first that guards it, or, where only
/// the card itself is against it, the only one for users. Null when nothing tells.
const Pin *guardOf(const Session &session, ObjectReference &reference, const std::vector<Pin> &pins,
                   const std::string &wanted, uint32_t code) {
    if (!wanted.empty())
        return &choosePin(pins, wanted);
    const OpenObject object(session, reference);
    const std::vector<const Pin *> guards = readGuards(object.attributes(), pins);
    if (!guards.empty())
        return guards[0];
    return code == PKCS15_E_SECURITY_STATUS ? onlyUserPin(pins) : nullptr;
}

Value readBehindPin(Session &session, ObjectReference &reference, const Pin &pin, PinSource &source) {
    requireKnownForm(pin);
    if (source.isPerson())
        requireUsable(session.card(), session.token(), pin);
    Secret secret;
    enterValues(source, session, [&] { source.present(secret, pin, session.token()); });
    // The library presents what it remembers when it comes to the file, and never asks for it.
    presentPin(session.card(), session.token(), pin, secret, P15_VERIFY_CACHE);
    return readValue(session, reference);
}

Value readWanted(const Options &options, PinSource &source) {
    Session session(options);
    const Walk walk = readCertificates(session);
    const size_t chosen = chooseCertificate(walk.objects, options.id);
    ObjectReference &reference = *walk.references[chosen];
    Value value = readValue(session, reference);
    if (value.isGuarded()) {
        const std::vector<Pin> pins = readPins(session.token());
        if (const Pin *pin = guardOf(session, reference, pins, options.pinId, value.code))
            value = readBehindPin(session, reference, *pin, source);
        else
            throw Failure(Exit::accessDenied,
                          fmt::format("cannot read the certificate: {}; name the PIN to present with --pin-id",
                                      reasonText(value.code, value.raw)));
    }
    if (value.code == PKCS15_E_UNSUPPORTED)
        throw Failure(
            exitFor(value.code, value.raw),
            fmt::format("cannot read the certificate: {}; it is no file's content, or guarded by more than one "
                        "PIN at once, or by one that the token does not have",
                        reasonText(value.code, value.raw)));
    if (value.code != 0)
        throw libraryFailure("cannot read the certificate", value.code, value.raw);
    return value;
}

}  // namespace

Exit runCertList(const Options &options) {
    const Session session(options);
    Walk walk = readCertificates(session);
    Json json = {{"format", "zelmo certificates 1"}, {"reader", validUtf8(session.card().reader())}};
    Exit exit =
        walk.unreadable.empty() ? Exit::ok : static_cast<Exit>(walk.unreadable[0]["error"]["exitCode"].get<int>());
    for (size_t i = 0; i < walk.objects.size(); ++i) {
        const Exit found = addValue(walk.objects[i], readValue(session, *walk.references[i]));
        exit = exit == Exit::ok ? found : exit;
    }
    json["objects"] = std::move(walk.objects);
    json["unreadable"] = std::move(walk.unreadable);
    Output output;
    if (options.json)
        output.print("{}\n", json.dump(2));
    else
        printCertificates(output, json);
    output.flush();
    if (exit != Exit::ok)
        fmt::print(stderr, "zelmo: not all of the certificates could be read; they are marked in the listing\n");
    return exit;
}

Exit runCertRead(const Options &options) {
    if (!options.pem && options.output.empty() && isatty(STDOUT_FILENO) != 0)
        throw Failure(Exit::usage, "a certificate's octets are nothing for a terminal; use --pem, or -o FILE");
    setLanguage(options.language);
    PinSource source(options);
    const Value value = readWanted(options, source);
    const std::string content =
        options.pem ? pemOf(value.octets) : std::string(value.octets.begin(), value.octets.end());
    if (!options.output.empty()) {
        writeFile(options.output, content);
        return Exit::ok;
    }
    Output output;
    output.print("{}", content);
    output.flush();
    return Exit::ok;
}

}  // namespace zelmo

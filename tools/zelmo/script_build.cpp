#include "script_build.h"

#include <algorithm>
#include <fmt/format.h>

#include "failure.h"
#include "text.h"
#include "virtualcard/templates.h"
#include "zelmocrd/script_format.h"

namespace zelmo {

namespace {

using virtualcard::Bytes;
using virtualcard::File;
using virtualcard::FileKind;
using virtualcard::Secret;
namespace script = zelmocrd::script;

constexpr uint8_t reset_opcode = 0xD0;
constexpr size_t command_max = 255;

Bytes twoOctets(size_t value) {
    return {static_cast<uint8_t>(value >> 8U), static_cast<uint8_t>(value & 0xFFU)};
}

void append(Bytes &out, const Bytes &octets) {
    out.insert(out.end(), octets.begin(), octets.end());
}

class Builder {
  public:
    explicit Builder(std::string name) : name_(std::move(name)) {}

    Bytes build(const TokenPlan &plan) {
        if (!plan.phase && !plan.image.root.access.empty())
            fail("the root", "has conditions, which come with a phase only: name one");
        addPins(plan.image.pins);
        for (const Secret &key : plan.image.keys)
            addSecret(script::opSetKey, key, fmt::format("key {}", key.reference));
        for (const File &file : plan.image.root.files)
            addFile(file, {});
        if (plan.phase) {
            Bytes data = {*plan.phase};
            append(data, bounded(virtualcard::encodeRootRules(plan.image.root.access), "the root"));
            writer_.add(script::opEnterPhase, data);
        }
        // What was selected and proven meanwhile does not outlast the script.
        writer_.add(reset_opcode, {});
        return writer_.finish();
    }

  private:
    [[noreturn]] void fail(const std::string &what, const std::string &why) const {
        throw Failure(Exit::malformed, fmt::format("cannot build the script: {}: {} {}; see docs/script-format.md",
                                                   printable(name_), what, why));
    }

    Bytes bounded(Bytes octets, const std::string &what) const {
        if (octets.size() > command_max)
            fail(what, "needs more than one command; give it fewer conditions");
        return octets;
    }

    void addSecret(uint8_t opcode, const Secret &secret, const std::string &what) {
        if (secret.triesLeft != secret.maxTries)
            fail(what, "has lost tries, which no script can do");
        Bytes data = {secret.reference};
        append(data, bounded(virtualcard::encodeSecret(secret), what));
        writer_.add(opcode, data);
    }

    // A PIN comes behind the one that unblocks it.
    void addPins(const std::vector<Secret> &pins) {
        std::vector<bool> made(256);
        for (size_t left = pins.size(); left > 0;) {
            const size_t before = left;
            for (const Secret &pin : pins) {
                if (made[pin.reference] || (pin.unblockedBy && !made[*pin.unblockedBy]))
                    continue;
                addSecret(script::opSetPin, pin, fmt::format("PIN {}", pin.reference));
                made[pin.reference] = true;
                left--;
            }
            if (left == before)
                fail("some PINs", "unblock each other in a circle");
        }
    }

    // The depth of an image is bounded.
    void addFile(const File &file, Bytes path) {
        append(path, twoOctets(file.fid));
        const std::string what = "file " + hex(path);
        if (file.state != virtualcard::FileState::activated)
            fail(what, "is not activated, and a script makes no others");
        const Bytes fileTemplate = bounded(virtualcard::encodeFile(file), what);
        if (file.kind != FileKind::df)
            return addContent(file, fileTemplate, what);
        writer_.add(script::opCreateDirectory, fileTemplate);
        for (const File &child : file.files)
            addFile(child, path);
        writer_.add(script::opEndDirectory, path);
    }

    void addContent(const File &file, const Bytes &fileTemplate, const std::string &what) {
        Bytes data = twoOctets(fileTemplate.size());
        append(data, fileTemplate);
        if (file.kind == FileKind::transparent) {
            // What is left of the file is zeros anyway.
            const auto end =
                std::find_if(file.data.rbegin(), file.data.rend(), [](uint8_t octet) { return octet != 0; });
            data.insert(data.end(), file.data.begin(), end.base());
            return writer_.add(script::opCreateFile, data);
        }
        for (const Bytes &record : file.records) {
            if (record.empty() || record.size() > command_max)
                fail(what, "has a record that no command can append: 1 to 255 octets");
            append(data, twoOctets(record.size()));
            append(data, record);
        }
        writer_.add(script::opCreateRecords, data);
    }

    std::string name_;
    script::Writer writer_;
};

}  // namespace

virtualcard::Bytes buildScript(const TokenPlan &plan, const std::string &name) {
    return Builder(name).build(plan);
}

}  // namespace zelmo

#include "script_check.h"

#include <array>
#include <fmt/format.h>
#include <optional>
#include <vector>

#include "failure.h"
#include "token/pkcs15_inittoken.h"
#include "virtualcard/fcp.h"
#include "zelmocrd/script_format.h"

namespace zelmo {

namespace {

namespace script = zelmocrd::script;

std::vector<script::Instruction> instructionsOf(const Bytestring &octets) {
    const std::array<uint8_t, 1> handled = {token::reset_instruction};
    return script::parse({octets.data, octets.len}, handled);
}

/// The value of an object of a PIN or key, as far as the script has an instruction that makes it.
std::optional<script::Octets> objectOf(const Bytestring &octets, script::Opcode opcode, uint8_t reference,
                                       uint8_t tag) {
    for (const script::Instruction &instruction : instructionsOf(octets)) {
        if (instruction.opcode != opcode || instruction.data[0] != reference)
            continue;
        script::Octets rest = instruction.data.subspan(1);
        while (const auto object = virtualcard::takeObject(rest)) {
            if (object->tag == tag)
                return object->value;
        }
    }
    return std::nullopt;
}

}  // namespace

void requireRunnable(const Bytestring &octets, const std::string &name) {
    try {
        instructionsOf(octets);
    } catch (const script::ScriptError &error) {
        throw Failure(Exit::malformed,
                      fmt::format("{} {}, at offset {}; see docs/script-format.md", name, error.what(), error.offset));
    }
}

void requirePinFits(const Bytestring &octets, uint8_t reference, const Secret &value, const char *name) {
    constexpr uint8_t bounds_tag = 0x82;
    const auto bounds = objectOf(octets, script::opSetPin, reference, bounds_tag);
    if (value.length() == 0 || !bounds || bounds->size() != 2)
        return;
    if (value.length() < (*bounds)[0] || value.length() > (*bounds)[1])
        throw Failure(Exit::failure,
                      fmt::format("the {} does not fit: it has {} octets, and the script wants {} to {}; "
                                  "nothing was sent to the card",
                                  name, value.length(), (*bounds)[0], (*bounds)[1]));
}

void requireKeyFits(const Bytestring &octets, uint8_t reference, const Secret &value) {
    constexpr uint8_t algorithm_tag = 0x84;
    constexpr uint8_t triple_des = 1;
    constexpr uint32_t longest_triple_des = 24;
    const auto algorithm = objectOf(octets, script::opSetKey, reference, algorithm_tag);
    if (algorithm && algorithm->size() == 1 && (*algorithm)[0] == triple_des && value.length() > longest_triple_des)
        throw Failure(Exit::failure,
                      "the administration key does not fit: the script wants a key for triple DES, of 16 or "
                      "24 octets; nothing was sent to the card");
}

}  // namespace zelmo

#include "script_text.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "failure.h"
#include "text.h"
#include "virtualcard/fcp.h"
#include "zelmocrd/script_format.h"

namespace zelmo {

namespace {

namespace script = zelmocrd::script;
using script::Octets;

std::string command(Octets data) {
    const script::CommandPart part = script::commandPart(data);
    // Class 00 and 80 commands may carry PINs and keys; of all data just the length is shown.
    return fmt::format("{:02X} {:02X} {:02X} {:02X}, {} octets of data, answer up to {}, status {:04X} mask {:04X}",
                       part.cla, part.ins, part.p1, part.p2, part.data.size(), part.ne, part.status, part.mask);
}

std::string octets(Octets data) {
    return hex(data, " ");
}

std::string file(Octets data) {
    const script::FilePart part = script::filePart(data);
    return fmt::format("{}, {} octets of content", hex(part.fileTemplate, " "), part.content.size());
}

std::string recordFile(Octets data) {
    script::FilePart part = script::filePart(data);
    size_t records = 0;
    for (; !part.content.empty(); records++)
        script::takeRecord(part.content);
    return fmt::format("{}, {} records", hex(part.fileTemplate, " "), records);
}

std::string secret(Octets data) {
    constexpr uint8_t value_tag = 0x80;
    std::string text = fmt::format("{}", data[0]);
    Octets rest = data.subspan(1);
    while (const auto object = virtualcard::takeObject(rest))
        text += object->tag == value_tag ? fmt::format(", value of {} octets", object->value.size())
                                         : fmt::format(", {:02X} {}", object->tag, hex(object->value, " "));
    return text;
}

std::string phase(Octets data) {
    return fmt::format("{}{}{}", data[0], data.size() > 1 ? ", root " : "", hex(data.subspan(1), " "));
}

struct Line {
    uint8_t opcode;
    const char *name;
    std::string (*text)(Octets data);
};

constexpr Line lines[] = {
    {script::opCommand, "command", command},
    {script::opCreateDirectory, "create directory", octets},
    {script::opCreateFile, "create file", file},
    {script::opCreateRecords, "create record file", recordFile},
    {script::opEndDirectory, "end directory", octets},
    {script::opSetPin, "set PIN", secret},
    {script::opSetKey, "set key", secret},
    {script::opEnterPhase, "enter phase", phase},
};

constexpr Line handler_line = {0, "call handler", octets};

}  // namespace

void printScript(Output &output, Octets octetsOfScript) {
    std::vector<uint8_t> handled(256 - script::firstHandlerOpcode);
    std::iota(handled.begin(), handled.end(), script::firstHandlerOpcode);
    try {
        for (const script::Instruction &instruction : script::parse(octetsOfScript, handled)) {
            const Line *line = std::find_if(std::begin(lines), std::end(lines),
                                            [&](const Line &one) { return one.opcode == instruction.opcode; });
            line = line != std::end(lines) ? line : &handler_line;
            output.print("{:06}  {:02X} {:<18}  {}\n", instruction.offset, instruction.opcode, line->name,
                         line->text(instruction.data));
        }
    } catch (const script::ScriptError &error) {
        throw Failure(Exit::malformed, fmt::format("the script {}, at offset {}; see docs/script-format.md",
                                                   error.what(), error.offset));
    }
}

}  // namespace zelmo

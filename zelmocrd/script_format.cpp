#include "zelmocrd/script_format.h"

#include <algorithm>
#include <iterator>

namespace zelmocrd::script {

namespace {

constexpr size_t commandHeader = 10;  // mask, status, class, instruction, P1, P2, Ne
constexpr size_t commandDataMax = 255;

uint32_t number(Octets octets) {
    uint32_t value = 0;
    for (const uint8_t octet : octets)
        value = value << 8u | octet;
    return value;
}

bool isCommand(Octets data) {
    return data.size() >= commandHeader && data.size() <= commandHeader + commandDataMax &&
           number(data.subspan(8, 2)) <= 256;
}

bool fitsCommand(Octets data) {
    return !data.empty() && data.size() <= commandDataMax;
}

// A length of two octets and as many octets.
bool hasCounted(Octets data) {
    return data.size() >= 2 && number(data.first(2)) <= data.size() - 2;
}

bool isFile(Octets data) {
    return hasCounted(data) && fitsCommand(data.subspan(2, number(data.first(2))));
}

bool isRecordFile(Octets data) {
    if (!isFile(data))
        return false;
    Octets rest = filePart(data).content;
    while (!rest.empty()) {
        if (!hasCounted(rest) || !fitsCommand(rest.subspan(2, number(rest.first(2)))))
            return false;
        takeRecord(rest);
    }
    return true;
}

bool isPath(Octets data) {
    return fitsCommand(data) && data.size() % 2 == 0;
}

// One octet, and what fits into a command.
bool isNumbered(Octets data) {
    return !data.empty() && data.size() <= 1 + commandDataMax;
}

struct Shape {
    uint8_t opcode;
    bool (*fits)(Octets data);
};

constexpr Shape shapes[] = {
    {opCommand, isCommand},   {opCreateDirectory, fitsCommand}, {opCreateFile, isFile}, {opCreateRecords, isRecordFile},
    {opEndDirectory, isPath}, {opSetPin, isNumbered},           {opSetKey, isNumbered}, {opEnterPhase, isNumbered},
};

void expectHeader(Octets script) {
    if (script.size() < headerSize || !std::equal(std::begin(magic), std::end(magic), script.begin()))
        throw ScriptError(code::invalidValue, 0, "is no script");
    if (number(script.subspan(4, 2)) != version)
        throw ScriptError(code::unsupported, 0, "has another version");
    if (number(script.subspan(6, 4)) != script.size())
        throw ScriptError(code::invalidValue, 0, "is not as long as it says");
}

void expectKnown(const Instruction &instruction, Octets handled) {
    if (instruction.opcode >= firstHandlerOpcode) {
        if (std::find(handled.begin(), handled.end(), instruction.opcode) == handled.end())
            throw ScriptError(code::unsupported, instruction.offset, "has an instruction without a handler");
        return;
    }
    const auto *shape = std::find_if(std::begin(shapes), std::end(shapes),
                                     [&](const Shape &one) { return one.opcode == instruction.opcode; });
    if (shape == std::end(shapes))
        throw ScriptError(code::unsupported, instruction.offset, "has an unknown instruction");
    if (!shape->fits(instruction.data))
        throw ScriptError(code::invalidValue, instruction.offset, "has a malformed instruction");
}

}  // namespace

std::vector<Instruction> parse(Octets script, Octets handled) {
    expectHeader(script);
    std::vector<Instruction> instructions;
    for (size_t at = headerSize; at < script.size();) {
        if (script.size() - at < instructionHeaderSize)
            throw ScriptError(code::invalidValue, at, "ends in an instruction");
        const size_t length = number(script.subspan(at + 1, 3));
        if (script.size() - at - instructionHeaderSize < length)
            throw ScriptError(code::invalidValue, at, "ends in an instruction");
        const Octets data = script.subspan(at + instructionHeaderSize, length);
        instructions.push_back({script[at], static_cast<uint32_t>(at), data});
        expectKnown(instructions.back(), handled);
        at += instructionHeaderSize + length;
    }
    return instructions;
}

CommandPart commandPart(Octets data) {
    return {static_cast<uint16_t>(number(data.first(2))),
            static_cast<uint16_t>(number(data.subspan(2, 2))),
            data[4],
            data[5],
            data[6],
            data[7],
            static_cast<uint16_t>(number(data.subspan(8, 2))),
            data.subspan(commandHeader)};
}

FilePart filePart(Octets data) {
    const size_t length = number(data.first(2));
    return {data.subspan(2, length), data.subspan(2 + length)};
}

Octets takeRecord(Octets &records) {
    const size_t length = number(records.first(2));
    const Octets record = records.subspan(2, length);
    records = records.subspan(2 + length);
    return record;
}

Writer::Writer() : octets_(std::begin(magic), std::end(magic)) {
    octets_.insert(octets_.end(), {version >> 8u, version & 0xFFu, 0, 0, 0, 0});
}

void Writer::add(uint8_t opcode, Octets data) {
    require(data.size() <= instructionMax);
    octets_.insert(octets_.end(),
                   {opcode, static_cast<uint8_t>(data.size() >> 16u), static_cast<uint8_t>(data.size() >> 8u & 0xFFu),
                    static_cast<uint8_t>(data.size() & 0xFFu)});
    octets_.insert(octets_.end(), data.begin(), data.end());
}

Bytes Writer::finish() {
    for (size_t i = 0; i < 4; i++)
        octets_[headerSize - 1 - i] = static_cast<uint8_t>(octets_.size() >> (8 * i) & 0xFFu);
    return std::move(octets_);
}

}  // namespace zelmocrd::script

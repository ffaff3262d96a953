// The engine of personalisation scripts.
#include <algorithm>
#include <iterator>

#include "zelmocrd/boundary.h"
#include "zelmocrd/operations.h"
#include "zelmocrd/script_format.h"

namespace zelmocrd {

namespace {

using script::Instruction;
using script::Octets;

constexpr uint8_t proprietary = 0x80;
constexpr uint8_t insCreate = 0xE0;
constexpr uint8_t answerNothing = 0x0C;

uint32_t send(Card &card, const Command &command) {
    return statusCode(card.run(command).sw);
}

uint32_t runCommand(Card &card, Octets data) {
    const script::CommandPart part = script::commandPart(data);
    const Answer answer =
        card.run({.cla = part.cla, .ins = part.ins, .p1 = part.p1, .p2 = part.p2, .data = part.data, .ne = part.ne});
    if (((answer.sw ^ part.status) & part.mask) == 0)
        return code::ok;
    const uint32_t result = statusCode(answer.sw);
    return result != code::ok ? result : code::communication;
}

uint32_t createDirectory(Card &card, Octets data) {
    return send(card, {.ins = insCreate, .data = data});
}

uint32_t activate(Card &card) {
    return send(card, {.ins = 0x44});
}

// The file's conditions count when it has its content.
uint32_t createFile(Card &card, Octets data) {
    const script::FilePart part = script::filePart(data);
    uint32_t result = send(card, {.ins = insCreate, .data = part.fileTemplate});
    if (result == code::ok)
        result = writeBinary(card, 0, part.content);
    return result == code::ok ? activate(card) : result;
}

uint32_t createRecords(Card &card, Octets data) {
    const script::FilePart part = script::filePart(data);
    uint32_t result = send(card, {.ins = insCreate, .data = part.fileTemplate});
    for (Octets rest = part.content; result == code::ok && !rest.empty();)
        result = send(card, {.ins = 0xE2, .data = script::takeRecord(rest)});
    return result == code::ok ? activate(card) : result;
}

// The directory is selected once more, since the file created in it last is the current one.
uint32_t endDirectory(Card &card, Octets path) {
    constexpr uint8_t parentDf = 0x03;
    constexpr uint8_t pathFromRoot = 0x08;
    uint32_t result = send(card, {.ins = 0xA4, .p1 = pathFromRoot, .p2 = answerNothing, .data = path});
    if (result == code::ok)
        result = activate(card);
    return result == code::ok ? send(card, {.ins = 0xA4, .p1 = parentDf, .p2 = answerNothing}) : result;
}

uint32_t setPin(Card &card, Octets data) {
    return send(card, {.cla = proprietary, .ins = insCreate, .p1 = 0, .p2 = data[0], .data = data.subspan(1)});
}

uint32_t setKey(Card &card, Octets data) {
    return send(card, {.cla = proprietary, .ins = insCreate, .p1 = 1, .p2 = data[0], .data = data.subspan(1)});
}

uint32_t enterPhase(Card &card, Octets data) {
    return send(card, {.cla = proprietary, .ins = 0x10, .p2 = data[0], .data = data.subspan(1)});
}

struct Step {
    uint8_t opcode;
    uint32_t (*run)(Card &card, Octets data);
};

constexpr Step steps[] = {
    {script::opCommand, runCommand},
    {script::opCreateDirectory, createDirectory},
    {script::opCreateFile, createFile},
    {script::opCreateRecords, createRecords},
    {script::opEndDirectory, endDirectory},
    {script::opSetPin, setPin},
    {script::opSetKey, setKey},
    {script::opEnterPhase, enterPhase},
};

/// The caller's two arrays.
struct Handlers {
    Octets opcodes;
    const cpd_Handler *functions;

    cpd_Handler find(uint8_t opcode) const {
        const auto found = std::find(opcodes.begin(), opcodes.end(), opcode);
        return functions[found - opcodes.begin()];
    }
};

uint32_t runInstruction(CardHandle handle, Card &card, const Instruction &instruction, const Handlers &handlers) {
    const auto *step = std::find_if(std::begin(steps), std::end(steps),
                                    [&](const Step &one) { return one.opcode == instruction.opcode; });
    if (step != std::end(steps))
        return step->run(card, instruction.data);
    return handlers.find(instruction.opcode)(handle, instruction.data.data(),
                                             static_cast<uint32_t>(instruction.data.size()));
}

uint32_t execute(CardHandle handle, Card &card, Octets octets, const Handlers &handlers) {
    std::vector<Instruction> instructions;
    try {
        instructions = script::parse(octets, handlers.opcodes);
    } catch (const script::ScriptError &error) {
        card.reportStop(error.offset);
        throw;
    }
    for (const Instruction &instruction : instructions) {
        const uint32_t result = guarded([&] { return runInstruction(handle, card, instruction, handlers); });
        if (result == code::ok)
            continue;
        card.reportStop(instruction.offset);
        return result;
    }
    return code::ok;
}

uint32_t resetTransacted(Card &card, Octets path) {
    constexpr uint8_t pathFromRoot = 0x08;
    require(path.size() % 2 == 0);
    card.reset();
    return path.empty() ? code::ok : send(card, {.ins = 0xA4, .p1 = pathFromRoot, .p2 = answerNothing, .data = path});
}

}  // namespace

}  // namespace zelmocrd

using namespace zelmocrd;

uint32_t cpd_Execute(CardHandle card, const uint8_t *script, uint32_t scriptLength, uint32_t handlerCount,
                     const uint8_t *handlerBytes, const cpd_Handler *handlers, uint32_t /*reserved*/) {
    return onCard(card, [&](Card &it) {
        const Octets opcodes = input(handlerBytes, handlerCount);
        require(handlerCount == 0 || handlers != nullptr);
        require(std::find(handlers, handlers + handlerCount, nullptr) == handlers + handlerCount);
        return execute(card, it, input(script, scriptLength), {opcodes, handlers});
    });
}

uint32_t cpd_ResetTransactedCard(CardHandle card, const uint8_t *data, uint32_t dataLength) {
    return onCard(card, [&](Card &it) { return resetTransacted(it, input(data, dataLength)); });
}

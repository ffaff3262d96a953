// Personalisation scripts as octets.
#ifndef ZELMOCRD_SCRIPT_FORMAT_H
#define ZELMOCRD_SCRIPT_FORMAT_H

#include <cstdint>
#include <span>
#include <vector>

#include "zelmocrd/error.h"
#include "zelmocrd/transport.h"

namespace zelmocrd::script {

using Octets = std::span<const uint8_t>;

inline constexpr uint8_t magic[] = {'Z', 'C', 'P', 'D'};
inline constexpr uint16_t version = 1;
inline constexpr size_t headerSize = 10;             ///< magic, version (2), length of the whole script (4)
inline constexpr size_t instructionHeaderSize = 4;   ///< opcode, length of the data (3)
inline constexpr size_t instructionMax = 0xFFFFFF;   ///< octets of an instruction's data
inline constexpr uint8_t firstHandlerOpcode = 0x80;  ///< This one and all above belong to handlers.

/// The instructions of the engine itself; docs/script-format.md tells their data.
enum Opcode : uint8_t {
    opCommand = 0x01,
    opCreateDirectory = 0x02,
    opCreateFile = 0x03,
    opCreateRecords = 0x04,
    opEndDirectory = 0x05,
    opSetPin = 0x06,
    opSetKey = 0x07,
    opEnterPhase = 0x08,
};

/// One instruction; its data lies in the script.
struct Instruction {
    uint8_t opcode = 0;
    uint32_t offset = 0;  ///< of the opcode in the script
    Octets data;
};

/// What is wrong with a script, and where.
class ScriptError : public ServiceError {
  public:
    ScriptError(uint32_t result, size_t at, const char *text)
        : ServiceError(result, text), offset(static_cast<uint32_t>(at)) {}
    uint32_t offset;
};

/// Takes a script apart, all of it: each instruction is there as a whole, known (or one of `handled`) and well-formed.
/// Throws ScriptError.
std::vector<Instruction> parse(Octets script, Octets handled);

/// The parts of opCommand. `ne` is what may be answered.
struct CommandPart {
    uint16_t mask = 0, status = 0;
    uint8_t cla = 0, ins = 0, p1 = 0, p2 = 0;
    uint16_t ne = 0;
    Octets data;
};
CommandPart commandPart(Octets data);

/// The parts of opCreateFile and opCreateRecords: the template of CREATE FILE, then the content or the records, each
/// behind its length (2).
struct FilePart {
    Octets fileTemplate, content;
};
FilePart filePart(Octets data);
/// Takes the next record off the front of `records`, which are well-formed.
Octets takeRecord(Octets &records);

/// The octets of a script while it is written.
class Writer {
  public:
    Writer();
    /// Throws ServiceError when the data is too long.
    void add(uint8_t opcode, Octets data);
    /// The whole script; nothing may be added behind it.
    Bytes finish();

  private:
    Bytes octets_;
};

}  // namespace zelmocrd::script

#endif

// Selection of files.
#include "zelmocrd/boundary.h"
#include "zelmocrd/fcp.h"

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

// P1 of SELECT.
enum SelectionMode : uint8_t { byIdentifier = 0x00, byName = 0x04, pathFromRoot = 0x08, pathFromCurrent = 0x09 };

uint32_t select(Card &card, uint8_t mode, Octets data, FileInfo *fileInfo) {
    constexpr uint8_t answerFcp = 0x04;
    constexpr uint8_t answerNothing = 0x0C;
    const bool wanted = fileInfo != nullptr;
    const Answer answer = card.run({.ins = 0xA4,
                                    .p1 = mode,
                                    .p2 = wanted ? answerFcp : answerNothing,
                                    .data = data,
                                    .ne = wanted ? shortAnswerMax : 0});
    if (wanted)
        *fileInfo = parseFileControl(answer.data);
    return statusCode(answer.sw);
}

bool beginsAtRoot(Octets path) {
    return path.size() >= 2 && path[0] == 0x3F && path[1] == 0x00;
}

// A path from the root goes before the AID: it says all there is to say.
uint32_t selectFile(Card &card, Octets aid, Octets path, FileInfo *fileInfo) {
    if (beginsAtRoot(path))
        return path.size() == 2 ? select(card, byIdentifier, path, fileInfo)
                                : select(card, pathFromRoot, path.subspan(2), fileInfo);
    if (aid.empty())
        return select(card, path.empty() ? byIdentifier : pathFromRoot, path, fileInfo);
    if (path.empty())
        return select(card, byName, aid, fileInfo);
    const uint32_t result = select(card, byName, aid, nullptr);
    return result == code::ok ? select(card, pathFromCurrent, path, fileInfo) : result;
}

}  // namespace

}  // namespace zelmocrd

using namespace zelmocrd;

uint32_t scard_SelectFile(CardHandle card, const uint8_t *aid, uint32_t aidLength, const uint8_t *path,
                          uint32_t pathLength, FileInfo *fileInfo) {
    if (fileInfo != nullptr)
        *fileInfo = {};
    return onCard(card,
                  [&](Card &it) { return selectFile(it, input(aid, aidLength), input(path, pathLength), fileInfo); });
}

uint32_t scardcmd_SelectFile(CardHandle card, uint32_t mode, const uint8_t *data, uint32_t dataLength,
                             FileInfo *fileInfo) {
    if (fileInfo != nullptr)
        *fileInfo = {};
    return onCard(card, [&](Card &it) { return select(it, octet(mode), input(data, dataLength), fileInfo); });
}

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

// Where a file lies: inside the application of that name, or under the root where there is none.
struct Place {
    Octets name, path;
};

// Selects with `send`, unless the file is known to be selected, and all that is wanted of it is known.
template <class Send>
uint32_t selectOnce(Card &card, const Place &place, FileInfo *fileInfo, Send send) {
    const KnownFile &known = card.knownFile();
    if (known.isSelected(place.name, place.path) && (fileInfo == nullptr || known.info() != nullptr)) {
        card.spare(place.name.empty() || place.path.empty() ? 1 : 2);
        if (fileInfo != nullptr)
            *fileInfo = *known.info();
        return code::ok;
    }
    const uint32_t result = send();
    if (result == code::ok)
        card.knownFile().selected(place.name, place.path, fileInfo);
    return result;
}

uint32_t selectOnce(Card &card, uint8_t mode, Octets data, const Place &place, FileInfo *fileInfo) {
    return selectOnce(card, place, fileInfo, [&] { return select(card, mode, data, fileInfo); });
}

uint32_t selectInside(Card &card, const Place &place, FileInfo *fileInfo) {
    return selectOnce(card, place, fileInfo, [&] {
        uint32_t result = code::ok;
        if (card.knownFile().isInside(place.name))
            card.spare(1);
        else
            result = select(card, byName, place.name, nullptr);
        return result == code::ok ? select(card, pathFromCurrent, place.path, fileInfo) : result;
    });
}

// A path from the root goes before the AID: it says all there is to say.
uint32_t selectFile(Card &card, Octets aid, Octets path, FileInfo *fileInfo) {
    if (beginsAtRoot(path)) {
        const Octets below = path.subspan(2);
        return below.empty() ? selectOnce(card, byIdentifier, path, {}, fileInfo)
                             : selectOnce(card, pathFromRoot, below, {{}, below}, fileInfo);
    }
    if (aid.empty())
        return selectOnce(card, path.empty() ? byIdentifier : pathFromRoot, path, {{}, path}, fileInfo);
    return path.empty() ? selectOnce(card, byName, aid, {aid, {}}, fileInfo)
                        : selectInside(card, {aid, path}, fileInfo);
}

// One SELECT; only the forms that name a file wherever the card stands can be unneeded.
uint32_t selectCommand(Card &card, uint8_t mode, Octets data, FileInfo *fileInfo) {
    const bool root = mode == byIdentifier && (data.empty() || (data.size() == 2 && beginsAtRoot(data)));
    if (root || mode == pathFromRoot)
        return selectOnce(card, mode, data, {{}, root ? Octets() : data}, fileInfo);
    return select(card, mode, data, fileInfo);
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
    return onCard(card, [&](Card &it) { return selectCommand(it, octet(mode), input(data, dataLength), fileInfo); });
}

// SELECT, and the selection by short file identifier that other commands bring along.
#include <algorithm>
#include <utility>

#include "virtualcard/card.h"
#include "virtualcard/fcp.h"

namespace virtualcard {

namespace {

// P1 of SELECT.
enum SelectionMode : uint8_t {
    byIdentifier = 0x00,
    childDf = 0x01,
    childEf = 0x02,
    parentDf = 0x03,
    byName = 0x04,
    pathFromRoot = 0x08,
    pathFromCurrent = 0x09,
};

using Chain = std::vector<File *>;  // from the root to a file

uint16_t fileId(std::span<const uint8_t> octets) {
    return static_cast<uint16_t>(octets[0] << 8 | octets[1]);
}

bool isDf(const File &file) {
    return file.kind == FileKind::df;
}

template <class Wanted>
File *childOf(File &df, Wanted wanted) {
    const auto found = std::find_if(df.files.begin(), df.files.end(), wanted);
    return found != df.files.end() ? &*found : nullptr;
}

Chain extended(Chain chain, File *file) {
    if (file == nullptr)
        return {};
    chain.push_back(file);
    return chain;
}

File *childWithId(File &df, uint16_t fid) {
    return childOf(df, [fid](const File &file) { return file.fid == fid; });
}

// The first DF, outer ones first, whose name `matches`. The depth of an image is bounded.
template <class Matches>
Chain findNamed(const Chain &chain, Matches matches) {
    if (matches(chain.back()->name))
        return chain;
    for (File &file : chain.back()->files) {
        if (!isDf(file))
            continue;
        Chain found = findNamed(extended(chain, &file), matches);
        if (!found.empty())
            return found;
    }
    return {};
}

// A whole name goes before a name of which only the beginning is given.
Chain locateByName(File &root, std::span<const uint8_t> name) {
    const auto whole = [name](const Bytes &other) {
        return std::equal(name.begin(), name.end(), other.begin(), other.end());
    };
    const auto begins = [name](const Bytes &other) {
        return other.size() >= name.size() && std::equal(name.begin(), name.end(), other.begin());
    };
    Chain found = findNamed({&root}, whole);
    return found.empty() ? findNamed({&root}, begins) : found;
}

bool lengthFits(uint8_t mode, size_t length) {
    switch (mode) {
        case byIdentifier:
            return length == 0 || length == 2;
        case childDf:
        case childEf:
            return length == 2;
        case parentDf:
            return length == 0;
        case byName:
            return length >= 1 && length <= 16;
        default:
            return length >= 2 && length % 2 == 0;
    }
}

bool knownMode(uint8_t mode) {
    return mode <= byName || mode == pathFromRoot || mode == pathFromCurrent;
}

}  // namespace

std::vector<File *> VirtualCard::locateByIdentifier(uint16_t fid) {
    if (fid == rootFileId)
        return {&image_.root};
    if (File *child = childWithId(*dfs_.back(), fid))
        return extended(dfs_, child);
    if (dfs_.back()->fid == fid)
        return dfs_;
    if (dfs_.size() < 2)
        return {};
    Chain parent(dfs_.begin(), dfs_.end() - 1);
    if (parent.back()->fid == fid)
        return parent;
    return extended(parent, childOf(*parent.back(), [fid](const File &file) { return isDf(file) && file.fid == fid; }));
}

std::vector<File *> VirtualCard::locateByPath(std::vector<File *> from, std::span<const uint8_t> path) {
    for (; !from.empty() && !path.empty(); path = path.subspan(2)) {
        if (!isDf(*from.back()))
            return {};
        from = extended(from, childWithId(*from.back(), fileId(path)));
    }
    return from;
}

std::vector<File *> VirtualCard::locate(const Command &command, uint16_t &status) {
    status = lengthFits(command.p1, command.data.size()) ? sw::fileNotFound : sw::lengthParameters;
    if (status == sw::lengthParameters)
        return {};
    const auto childIs = [&](bool df) {
        const uint16_t fid = fileId(command.data);
        return childOf(*dfs_.back(), [&](const File &file) { return file.fid == fid && isDf(file) == df; });
    };
    switch (command.p1) {
        case byIdentifier:
            return locateByIdentifier(command.data.empty() ? rootFileId : fileId(command.data));
        case childDf:
            return extended(dfs_, childIs(true));
        case childEf:
            return extended(dfs_, childIs(false));
        case parentDf:
            return {dfs_.begin(), dfs_.end() - 1};
        case byName:
            return locateByName(image_.root, command.data);
        case pathFromRoot:
            return locateByPath({&image_.root}, command.data);
        default:
            return locateByPath(dfs_, command.data);
    }
}

void VirtualCard::makeCurrent(std::vector<File *> chain) {
    ef_ = nullptr;
    record_.reset();
    if (!isDf(*chain.back())) {
        ef_ = chain.back();
        chain.pop_back();
    }
    dfs_ = std::move(chain);
    proven_.enter(application());
}

// The innermost DF with a name, or the root.
const File *VirtualCard::application() const {
    const auto named = std::find_if(dfs_.rbegin(), dfs_.rend(), [](const File *df) { return !df->name.empty(); });
    return named != dfs_.rend() ? *named : &image_.root;
}

uint16_t VirtualCard::selectShort(uint8_t sfi) {
    File *file = childOf(*dfs_.back(), [sfi](const File &candidate) { return candidate.sfi == sfi; });
    if (file == nullptr)
        return sw::fileNotFound;
    makeCurrent(extended(dfs_, file));
    return sw::ok;
}

VirtualCard::Answer VirtualCard::select(const Command &command) {
    constexpr uint8_t fci = 0x00;
    constexpr uint8_t fcp = 0x04;
    constexpr uint8_t nothing = 0x0C;
    if (!knownMode(command.p1) || (command.p2 != fci && command.p2 != fcp && command.p2 != nothing))
        return sw::wrongParameters;
    uint16_t status = sw::ok;
    Chain chain = locate(command, status);
    if (chain.empty())
        return status;
    const File &file = *chain.back();
    makeCurrent(std::move(chain));
    status = file.state == FileState::deactivated  ? sw::deactivated
             : file.state == FileState::terminated ? sw::terminated
                                                   : sw::ok;
    return {command.p2 == nothing ? Bytes{} : fileControlParameters(file), status};
}

}  // namespace virtualcard

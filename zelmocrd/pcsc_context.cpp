#include "zelmocrd/pcsc_context.h"

#include <string_view>

#include "zelmocrd/error.h"

namespace zelmocrd {

namespace {

// Stands for readers that come and leave.
constexpr const char *allReaders = "\\\\?PnP?\\Notification";

}  // namespace

void checkPcsc(LONG result) {
    if (result != SCARD_S_SUCCESS)
        throw ServiceError(static_cast<uint32_t>(result));
}

PcscContext::PcscContext() {
    checkPcsc(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context_));
}

PcscContext::~PcscContext() {
    SCardReleaseContext(context_);
}

std::vector<std::string> PcscContext::readerNames() const {
    std::string names;
    LONG result = SCARD_E_INSUFFICIENT_BUFFER;
    // A reader may come between the two calls.
    while (result == SCARD_E_INSUFFICIENT_BUFFER) {
        DWORD length = 0;
        result = SCardListReaders(context_, nullptr, nullptr, &length);
        if (result == SCARD_S_SUCCESS) {
            names.resize(length);
            result = SCardListReaders(context_, nullptr, names.data(), &length);
        }
    }
    if (result == SCARD_E_NO_READERS_AVAILABLE)
        return {};
    checkPcsc(result);
    std::vector<std::string> list;
    for (size_t start = 0, end; (end = names.find('\0', start)) != std::string::npos && end != start; start = end + 1)
        list.push_back(names.substr(start, end - start));
    return list;
}

PcscContext::ReaderState PcscContext::stateOf(const std::string &reader) const {
    SCARD_READERSTATE state = {};
    state.szReader = reader.c_str();
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    checkPcsc(SCardGetStatusChange(context_, 0, &state, 1));
    return {reader, state.dwEventState};
}

void PcscContext::waitForChange(const std::vector<ReaderState> &readers, std::chrono::milliseconds time) const {
    std::vector<SCARD_READERSTATE> states(readers.size() + 1);
    for (size_t i = 0; i < readers.size(); i++) {
        states[i].szReader = readers[i].reader.c_str();
        states[i].dwCurrentState = readers[i].state;
    }
    states.back().szReader = allReaders;
    const LONG result = SCardGetStatusChange(context_, static_cast<DWORD>(time.count()), states.data(), states.size());
    // A reader that has left is no longer known.
    if (result != SCARD_E_TIMEOUT && result != SCARD_E_UNKNOWN_READER)
        checkPcsc(result);
}

}  // namespace zelmocrd

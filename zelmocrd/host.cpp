// What a host needs besides the operations: readers, handles, trace, counters.
#include <string>

#include "zelmocrd/boundary.h"
#include "zelmocrd/handle_table.h"
#include "zelmocrd/monitor.h"
#include "zelmocrd/readers.h"

namespace {

// Why the last opening in this thread failed.
thread_local std::string openError;

// Lives as long as the process, as the cards' does.
zelmocrd::HandleTable<zelmocrd::Monitor> &monitors() {
    static auto &table = *new zelmocrd::HandleTable<zelmocrd::Monitor>;
    return table;
}

}  // namespace

using namespace zelmocrd;

uint32_t zelmocrd_ListReaders(zelmocrd_ReaderCallback callback, void *context) {
    return guarded([&] {
        require(callback != nullptr);
        const Readers readers = listReaders();
        for (const std::string &name : readers.names)
            callback(name.c_str(), context);
        return readers.names.empty() ? readers.serviceResult : code::ok;
    });
}

uint32_t zelmocrd_HasCard(const char *readerName, uint32_t *present) {
    return guarded([&] {
        require(readerName != nullptr && present != nullptr);
        *present = 0;
        *present = hasCard(readerName) ? 1 : 0;
        return code::ok;
    });
}

uint32_t zelmocrd_OpenCard(const char *readerName, uint32_t flags, CardHandle *card) {
    return guarded([&] {
        openError.clear();
        require(readerName != nullptr && flags <= ZELMOCRD_EXCLUSIVE && card != nullptr);
        *card = 0;
        try {
            *card = addCard(std::make_shared<Card>(openTransport(readerName, flags == ZELMOCRD_EXCLUSIVE)));
        } catch (const ServiceError &error) {
            openError = error.what();
            throw;
        }
        return code::ok;
    });
}

const char *zelmocrd_OpenErrorText(void) {
    return openError.c_str();
}

uint32_t zelmocrd_CloseCard(CardHandle card) {
    return guarded([&] {
        removeCard(card);
        return code::ok;
    });
}

uint32_t zelmocrd_OpenMonitor(zelmocrd_Monitor *monitor) {
    return guarded([&] {
        require(monitor != nullptr);
        *monitor = monitors().add(std::make_shared<Monitor>());
        return code::ok;
    });
}

uint32_t zelmocrd_NextEvent(zelmocrd_Monitor monitor, uint32_t milliseconds, zelmocrd_Event *event) {
    return guarded([&] {
        constexpr uint32_t endless = 0xFFFFFFFF;
        const std::shared_ptr<Monitor> it = monitors().find(monitor);
        require(event != nullptr);
        const auto next = it->next(std::chrono::milliseconds(milliseconds == endless ? -1 : int64_t{milliseconds}));
        if (!next)
            return code::timeout;
        *event = {};
        event->kind = next->kind;
        next->reader.copy(event->reader, sizeof event->reader - 1);
        return code::ok;
    });
}

uint32_t zelmocrd_CancelMonitor(zelmocrd_Monitor monitor) {
    return guarded([&] {
        monitors().find(monitor)->cancel();
        return code::ok;
    });
}

uint32_t zelmocrd_CloseMonitor(zelmocrd_Monitor monitor) {
    return guarded([&] {
        monitors().remove(monitor);
        return code::ok;
    });
}

uint32_t zelmocrd_GetATR(CardHandle card, uint8_t *buffer, uint32_t *length) {
    return onCard(card, [&](Card &it) {
        Output out(buffer, length);
        out.replace(it.atr());
        return code::ok;
    });
}

uint32_t zelmocrd_SetTrace(CardHandle card, zelmocrd_TraceCallback callback, void *context) {
    return onCard(card, [&](Card &it) {
        it.setTrace(callback, context);
        return code::ok;
    });
}

uint32_t zelmocrd_GetCounters(CardHandle card, zelmocrd_Counters *counters, uint32_t reset) {
    return onCard(card, [&](Card &it) {
        require(counters != nullptr);
        *counters = it.counters(reset != 0);
        return code::ok;
    });
}

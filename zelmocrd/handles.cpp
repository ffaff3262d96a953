#include "zelmocrd/handles.h"

#include <map>
#include <mutex>

#include "zelmocrd/error.h"

namespace zelmocrd {

namespace {

struct HandleTable {
    std::mutex mutex;
    std::map<CardHandle, std::shared_ptr<Card>> cards;
    CardHandle last = 0;
};

// Lives as long as the process: a host may close its cards while the process ends.
HandleTable &table() {
    static HandleTable &instance = *new HandleTable;
    return instance;
}

auto findEntry(HandleTable &handles, CardHandle handle) {
    const auto entry = handles.cards.find(handle);
    if (entry == handles.cards.end())
        throw ServiceError(code::invalidHandle);
    return entry;
}

}  // namespace

CardHandle addCard(std::shared_ptr<Card> card) {
    HandleTable &handles = table();
    const std::lock_guard lock(handles.mutex);
    do
        handles.last++;
    while (handles.last == 0 || handles.cards.count(handles.last) != 0);
    handles.cards.emplace(handles.last, std::move(card));
    return handles.last;
}

std::shared_ptr<Card> findCard(CardHandle handle) {
    HandleTable &handles = table();
    const std::lock_guard lock(handles.mutex);
    return findEntry(handles, handle)->second;
}

std::shared_ptr<Card> removeCard(CardHandle handle) {
    HandleTable &handles = table();
    const std::lock_guard lock(handles.mutex);
    const auto entry = findEntry(handles, handle);
    std::shared_ptr<Card> card = std::move(entry->second);
    handles.cards.erase(entry);
    return card;
}

}  // namespace zelmocrd

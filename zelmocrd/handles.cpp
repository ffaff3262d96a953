#include "zelmocrd/handles.h"

#include <utility>

#include "zelmocrd/handle_table.h"

namespace zelmocrd {

namespace {

// Lives as long as the process: a host may close its cards while the process ends.
HandleTable<Card> &table() {
    static HandleTable<Card> &instance = *new HandleTable<Card>;
    return instance;
}

}  // namespace

CardHandle addCard(std::shared_ptr<Card> card) {
    return table().add(std::move(card));
}

std::shared_ptr<Card> findCard(CardHandle handle) {
    return table().find(handle);
}

std::shared_ptr<Card> removeCard(CardHandle handle) {
    return table().remove(handle);
}

}  // namespace zelmocrd

// The open cards of this process by their handles. Safe for any number of threads.
#ifndef ZELMOCRD_HANDLES_H
#define ZELMOCRD_HANDLES_H

#include <memory>

#include "zelmocrd/card.h"

namespace zelmocrd {

/// Gives the card a handle that no other open card has; never 0.
CardHandle addCard(std::shared_ptr<Card> card);
/// The card behind a handle. Throws ServiceError (invalidHandle).
std::shared_ptr<Card> findCard(CardHandle handle);
/// Ends the handle's life and hands out its card. Throws ServiceError (invalidHandle).
std::shared_ptr<Card> removeCard(CardHandle handle);

}  // namespace zelmocrd

#endif

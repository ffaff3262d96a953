// Selection of a file of the token.
#include <algorithm>

#include "token/pkcs15_card_call.h"

namespace {

// Greatest path that is put together from the application's and a relative one.
constexpr uint32_t max_joined_path = 234;

// Begins with the identifier of the card's root.
bool is_absolute(const uint8_t *path, uint32_t pathLength) {
    return pathLength >= 2 && path[0] == 0x3F && path[1] == 0x00;
}

bool is_below(const asn1_OctetString *directory, const uint8_t *path, uint32_t pathLength) {
    return directory != nullptr && path != nullptr && pathLength <= max_joined_path &&
           directory->len <= max_joined_path - pathLength && !is_absolute(path, pathLength);
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScSelectFile(CardHandle card, const TokenContext *tokenContext, const uint8_t *path,
                             uint32_t pathLength, FileInfo *fileInfo, uint32_t *cardError) {
    const DIRRecord &application = *tokenContext->dirRecord;
    if (!is_below(application.path, path, pathLength))
        return token::card_result(
            scard_SelectFile(card, application.aid->data, application.aid->len, path, pathLength, fileInfo), cardError);
    uint8_t joined[max_joined_path];
    uint8_t *behind = std::copy_n(application.path->data, application.path->len, joined);
    behind = std::copy_n(path, pathLength, behind);
    const auto joinedLength = static_cast<uint32_t>(behind - joined);
    return token::card_result(scard_SelectFile(card, nullptr, 0, joined, joinedLength, fileInfo), cardError);
}
}

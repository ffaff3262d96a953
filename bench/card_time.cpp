#include "card_time.h"

#include "zelmocrd/zelmocrd.h"

// The linker sends the token library's calls here (--wrap, see CMakeLists.txt): all that finding, opening and listing
// a token makes.
extern "C" {
uint32_t __real_scard_SelectFile(CardHandle card, const uint8_t *aid, uint32_t aidLength, const uint8_t *path,
                                 uint32_t pathLength, FileInfo *fileInfo);
uint32_t __real_scardcmd_SelectFile(CardHandle card, uint32_t mode, const uint8_t *data, uint32_t dataLength,
                                    FileInfo *fileInfo);
uint32_t __real_scard_ReadEFBinary(CardHandle card, const uint8_t *fileReference, uint32_t offset, uint8_t *buffer,
                                   uint32_t *length, uint32_t reserved);
uint32_t __real_scardcmd_ReadRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode,
                                    uint32_t reserved2, uint8_t *buffer, uint32_t *length);
decltype(__real_scard_SelectFile) __wrap_scard_SelectFile;
decltype(__real_scardcmd_SelectFile) __wrap_scardcmd_SelectFile;
decltype(__real_scard_ReadEFBinary) __wrap_scard_ReadEFBinary;
decltype(__real_scardcmd_ReadRecord) __wrap_scardcmd_ReadRecord;
}

namespace {

using Clock = std::chrono::steady_clock;

std::chrono::nanoseconds spent{0};

template <class Call>
uint32_t timed(Call call) {
    const Clock::time_point start = Clock::now();
    const uint32_t result = call();
    spent += Clock::now() - start;
    return result;
}

}  // namespace

uint32_t __wrap_scard_SelectFile(CardHandle card, const uint8_t *aid, uint32_t aidLength, const uint8_t *path,
                                 uint32_t pathLength, FileInfo *fileInfo) {
    return timed([=] { return __real_scard_SelectFile(card, aid, aidLength, path, pathLength, fileInfo); });
}

uint32_t __wrap_scardcmd_SelectFile(CardHandle card, uint32_t mode, const uint8_t *data, uint32_t dataLength,
                                    FileInfo *fileInfo) {
    return timed([=] { return __real_scardcmd_SelectFile(card, mode, data, dataLength, fileInfo); });
}

uint32_t __wrap_scard_ReadEFBinary(CardHandle card, const uint8_t *fileReference, uint32_t offset, uint8_t *buffer,
                                   uint32_t *length, uint32_t reserved) {
    return timed([=] { return __real_scard_ReadEFBinary(card, fileReference, offset, buffer, length, reserved); });
}

uint32_t __wrap_scardcmd_ReadRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode,
                                    uint32_t reserved2, uint8_t *buffer, uint32_t *length) {
    return timed([=] { return __real_scardcmd_ReadRecord(card, recordId, reserved, mode, reserved2, buffer, length); });
}

namespace bench {

void reset_card_time() {
    spent = {};
}

std::chrono::nanoseconds card_time() {
    return spent;
}

}  // namespace bench

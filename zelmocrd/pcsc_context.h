// A connection to the PC/SC service, and what the service tells of its readers.
#ifndef ZELMOCRD_PCSC_CONTEXT_H
#define ZELMOCRD_PCSC_CONTEXT_H

#include <PCSC/winscard.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zelmocrd {

/// Throws ServiceError for what is no success.
void checkPcsc(LONG result);

/// Each card has one of its own, so that none waits for another one's. All calls throw ServiceError.
class PcscContext {
  public:
    PcscContext();
    PcscContext(const PcscContext &) = delete;
    PcscContext &operator=(const PcscContext &) = delete;
    ~PcscContext();

    SCARDCONTEXT get() const {
        return context_;
    }
    /// The readers, in the service's order.
    std::vector<std::string> readerNames() const;

    /// What there is to see of a reader: SCARD_STATE_... bits, and in the upper half how often a card came or left.
    struct ReaderState {
        std::string reader;
        DWORD state;
    };
    ReaderState stateOf(const std::string &reader) const;
    /// Waits until one of the readers is not any more as it was, a reader comes or leaves, or the time is over.
    void waitForChange(const std::vector<ReaderState> &readers, std::chrono::milliseconds time) const;

  private:
    SCARDCONTEXT context_ = 0;
};

}  // namespace zelmocrd

#endif

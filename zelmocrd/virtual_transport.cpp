#include "zelmocrd/virtual_transport.h"

#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "virtualcard/card.h"
#include "virtualcard/image_hold.h"
#include "virtualcard/replace_file.h"
#include "zelmocrd/error.h"

namespace zelmocrd {

namespace {

// The images that transactions of this process hold, and the threads that have begun them: a thread that has taken a
// card by one handle would wait by another for itself.
class Holders {
  public:
    void add(const std::string &file) {
        const std::lock_guard lock(mutex_);
        threads_[file] = std::this_thread::get_id();
    }
    void remove(const std::string &file) {
        const std::lock_guard lock(mutex_);
        threads_.erase(file);
    }
    bool isThisThread(const std::string &file) {
        const std::lock_guard lock(mutex_);
        const auto found = threads_.find(file);
        return found != threads_.end() && found->second == std::this_thread::get_id();
    }

  private:
    std::mutex mutex_;
    std::map<std::string, std::thread::id> threads_;
};

// Lives as long as the process, as the cards' table does.
Holders &holders() {
    static auto &all = *new Holders;
    return all;
}

class VirtualTransport : public Transport {
  public:
    explicit VirtualTransport(const std::string &file)
        : file_(virtualcard::resolvedFile(file)), card_(virtualcard::VirtualCard::load(file)) {}

    ~VirtualTransport() override {
        if (transactions_ != 0)
            holders().remove(file_);
    }

    Bytes transmit(std::span<const uint8_t> command) override {
        waitWhileHeld();
        return card_->transmit(command);
    }

    Bytes atr() override {
        return card_->atr();
    }

    void reset() override {
        waitWhileHeld();
        try {
            card_->reset();
        } catch (const virtualcard::ImageError &error) {
            throw ServiceError(code::removedCard, error.what());
        }
    }

    void beginTransaction() override {
        waitWhile([this] { return transactions_ == 0 && !hold(); });
        transactions_++;
    }

    void endTransaction() override {
        if (transactions_ == 0)
            throw ServiceError(code::notTransacted);
        transactions_--;
        if (transactions_ != 0)
            return;
        holders().remove(file_);
        card_->letGo();
    }

    /// A transaction to the end of the handle's life, at once or not at all. Throws ServiceError.
    void takeExclusively() {
        if (!hold())
            throw ServiceError(code::sharingViolation);
        transactions_++;
    }

    bool isAlone() const override {
        return transactions_ != 0;
    }

  private:
    void waitWhileHeld() const {
        waitWhile([this] { return card_->heldByAnother(); });
    }

    // As the PC/SC service has it, others wait for the end of a transaction; but not for ever.
    template <class Busy>
    void waitWhile(Busy busy) const {
        using Clock = std::chrono::steady_clock;
        constexpr auto longest = std::chrono::seconds(10);
        constexpr auto pause = std::chrono::milliseconds(2);
        const Clock::time_point end = Clock::now() + longest;
        while (busy()) {
            if (holders().isThisThread(file_) || Clock::now() >= end)
                throw ServiceError(code::sharingViolation);
            std::this_thread::sleep_for(pause);
        }
    }

    // False when somebody else holds the image.
    bool hold() {
        try {
            card_->hold();
        } catch (const virtualcard::ImageBusy &) {
            return false;
        } catch (const virtualcard::ImageError &error) {
            throw ServiceError(code::removedCard, error.what());
        }
        holders().add(file_);
        return true;
    }

    const std::string file_;
    std::unique_ptr<virtualcard::VirtualCard> card_;
    unsigned transactions_ = 0;
};

}  // namespace

std::unique_ptr<Transport> openVirtualCard(const std::string &file, bool exclusive) {
    try {
        auto transport = std::make_unique<VirtualTransport>(file);
        if (exclusive)
            transport->takeExclusively();
        return transport;
    } catch (const virtualcard::ImageError &error) {
        std::error_code ignored;
        throw ServiceError(std::filesystem::exists(file, ignored) ? code::unknownCard : code::unknownReader,
                           error.what());
    }
}

}  // namespace zelmocrd

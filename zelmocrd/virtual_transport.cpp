#include "zelmocrd/virtual_transport.h"

#include <filesystem>

#include "virtualcard/card.h"
#include "virtualcard/image_hold.h"
#include "zelmocrd/error.h"

namespace zelmocrd {

namespace {

class VirtualTransport : public Transport {
  public:
    explicit VirtualTransport(std::unique_ptr<virtualcard::VirtualCard> card) : card_(std::move(card)) {}

    Bytes transmit(std::span<const uint8_t> command) override {
        refuseWhileHeld();
        return card_->transmit(command);
    }

    Bytes atr() const override {
        return card_->atr();
    }

    void reset() override {
        refuseWhileHeld();
        try {
            card_->reset();
        } catch (const virtualcard::ImageError &error) {
            throw ServiceError(code::removedCard, error.what());
        }
    }

    // Nobody waits: one thread may have opened the card twice, and would wait for itself.
    void beginTransaction() override {
        if (transactions_ == 0)
            hold();
        transactions_++;
    }

    void endTransaction() override {
        if (transactions_ == 0)
            throw ServiceError(code::notTransacted);
        transactions_--;
        if (transactions_ == 0)
            card_->letGo();
    }

    bool isAlone() const override {
        return transactions_ != 0;
    }

  private:
    void refuseWhileHeld() const {
        if (card_->heldByAnother())
            throw ServiceError(code::sharingViolation);
    }

    void hold() {
        try {
            card_->hold();
        } catch (const virtualcard::ImageBusy &error) {
            throw ServiceError(code::sharingViolation, error.what());
        } catch (const virtualcard::ImageError &error) {
            throw ServiceError(code::removedCard, error.what());
        }
    }

    std::unique_ptr<virtualcard::VirtualCard> card_;
    unsigned transactions_ = 0;
};

}  // namespace

std::unique_ptr<Transport> openVirtualCard(const std::string &file, bool exclusive) {
    try {
        auto transport = std::make_unique<VirtualTransport>(virtualcard::VirtualCard::load(file));
        if (exclusive)
            transport->beginTransaction();
        return transport;
    } catch (const virtualcard::ImageError &error) {
        std::error_code ignored;
        throw ServiceError(std::filesystem::exists(file, ignored) ? code::unknownCard : code::unknownReader,
                           error.what());
    }
}

}  // namespace zelmocrd

#include "zelmocrd/virtual_transport.h"

#include <filesystem>

#include "virtualcard/card.h"
#include "zelmocrd/error.h"

namespace zelmocrd {

namespace {

class VirtualTransport : public Transport {
  public:
    explicit VirtualTransport(std::unique_ptr<virtualcard::VirtualCard> card) : card_(std::move(card)) {}

    Bytes transmit(std::span<const uint8_t> command) override {
        return card_->transmit(command);
    }

    Bytes atr() const override {
        return card_->atr();
    }

    void reset() override {
        card_->reset();
    }

    // Nobody else can reach this card, so that holding it is a matter of counting.
    void beginTransaction() override {
        transactions_++;
    }

    void endTransaction() override {
        if (transactions_ == 0)
            throw ServiceError(code::notTransacted);
        transactions_--;
    }

  private:
    std::unique_ptr<virtualcard::VirtualCard> card_;
    unsigned transactions_ = 0;
};

}  // namespace

std::unique_ptr<Transport> openVirtualCard(const std::string &file) {
    try {
        return std::make_unique<VirtualTransport>(virtualcard::VirtualCard::load(file));
    } catch (const virtualcard::ImageError &error) {
        std::error_code ignored;
        throw ServiceError(std::filesystem::exists(file, ignored) ? code::unknownCard : code::unknownReader,
                           error.what());
    }
}

}  // namespace zelmocrd

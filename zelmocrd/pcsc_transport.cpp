#include "zelmocrd/pcsc_transport.h"

#include <PCSC/reader.h>
#include <algorithm>
#include <array>

#include "zelmocrd/apdu.h"
#include "zelmocrd/error.h"
#include "zelmocrd/pcsc_context.h"

namespace zelmocrd {

namespace {

constexpr DWORD anyProtocol = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;

class PcscTransport : public Transport {
  public:
    PcscTransport(const std::string &reader, bool exclusive)
        : reader_(reader), share_(exclusive ? SCARD_SHARE_EXCLUSIVE : SCARD_SHARE_SHARED) {
        const LONG result = SCardConnect(context_.get(), reader.c_str(), share_, anyProtocol, &card_, &protocol_);
        if (result != SCARD_S_SUCCESS)
            throw ServiceError(static_cast<uint32_t>(result), reader);
        dataMax_ = readersDataMax();
        buffer_.resize(dataMax_ > shortAnswerMax ? MAX_BUFFER_SIZE_EXTENDED : MAX_BUFFER_SIZE);
    }

    // A reset waits for the transactions of others. There is nothing to reset when somebody else has done it.
    ~PcscTransport() override {
        if (resetAtClosing_ && transactions_ == 0 && SCardBeginTransaction(card_) == SCARD_W_RESET_CARD)
            resetAtClosing_ = false;
        SCardDisconnect(card_, resetAtClosing_ ? SCARD_RESET_CARD : SCARD_LEAVE_CARD);
    }

    Bytes transmit(std::span<const uint8_t> command) override {
        const SCARD_IO_REQUEST &request = *(byCharacters() ? SCARD_PCI_T0 : SCARD_PCI_T1);
        DWORD length = static_cast<DWORD>(buffer_.size());
        const LONG result =
            SCardTransmit(card_, &request, command.data(), command.size(), nullptr, buffer_.data(), &length);
        if (result != SCARD_S_SUCCESS)
            transactions_ = 0;
        if (result == SCARD_W_RESET_CARD)
            reconnect(SCARD_LEAVE_CARD);
        if (result == SCARD_E_NOT_TRANSACTED)
            throw ServiceError(isGone() ? code::removedCard : code::communication);
        checkPcsc(result);
        return {buffer_.begin(),
                buffer_.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(length, buffer_.size()))};
    }

    // It is asked for when the card is opened or has been reset by us: a reset by somebody else since takes nothing
    // away.
    Bytes atr() override {
        std::array<uint8_t, MAX_ATR_SIZE> octets;
        DWORD length = 0;
        const auto ask = [&] {
            length = octets.size();
            DWORD nameLength = 0;
            return SCardStatus(card_, nullptr, &nameLength, nullptr, nullptr, octets.data(), &length);
        };
        LONG result = ask();
        for (int again = 0; result == SCARD_W_RESET_CARD && again < 3; again++) {
            reconnect(SCARD_LEAVE_CARD);
            result = ask();
        }
        checkPcsc(result);
        return {octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(length, octets.size()))};
    }

    void reset() override {
        reconnect(SCARD_RESET_CARD);
        resetAtClosing_ = false;
    }

    // The service waits until the card is free. Somebody may have reset it since: nothing has begun yet, so nothing is
    // lost by going on.
    void beginTransaction() override {
        LONG result = SCardBeginTransaction(card_);
        for (int again = 0; result == SCARD_W_RESET_CARD && again < 3; again++) {
            reconnect(SCARD_LEAVE_CARD);
            result = SCardBeginTransaction(card_);
        }
        checkPcsc(result);
        transactions_++;
    }

    void endTransaction() override {
        transactions_ -= transactions_ != 0 ? 1 : 0;
        checkPcsc(SCardEndTransaction(card_, SCARD_LEAVE_CARD));
    }

    bool byCharacters() const override {
        return protocol_ == SCARD_PROTOCOL_T0;
    }
    uint32_t dataMax() const override {
        return byCharacters() ? shortAnswerMax : dataMax_;
    }
    bool isAlone() const override {
        return share_ == SCARD_SHARE_EXCLUSIVE || transactions_ != 0;
    }
    void resetAtClosing() override {
        resetAtClosing_ = true;
    }

  private:
    void reconnect(DWORD initialization) {
        checkPcsc(SCardReconnect(card_, share_, anyProtocol, initialization, &protocol_));
    }

    // Whether the card has left, when the service knows no more than that a command has failed. It looks at the reader
    // a few times a second.
    bool isGone() const {
        constexpr auto lookingTime = std::chrono::milliseconds(1000);
        const PcscContext::ReaderState state = context_.stateOf(reader_);
        if ((state.state & SCARD_STATE_PRESENT) == 0)
            return true;
        context_.waitForChange({state}, lookingTime);
        return (context_.stateOf(reader_).state & SCARD_STATE_PRESENT) == 0;
    }

    // The answer to a reader's control request; nothing when the reader does not know it.
    Bytes control(DWORD request) const {
        Bytes answer(MAX_BUFFER_SIZE);
        DWORD length = 0;
        const LONG result =
            SCardControl(card_, request, nullptr, 0, answer.data(), static_cast<DWORD>(answer.size()), &length);
        answer.resize(result == SCARD_S_SUCCESS ? std::min<size_t>(length, answer.size()) : 0);
        return answer;
    }

    // The value of a simple object: tag and length of one octet each.
    static std::span<const uint8_t> find(std::span<const uint8_t> objects, uint8_t tag) {
        while (objects.size() >= 2 && objects.size() - 2 >= objects[1]) {
            if (objects[0] == tag)
                return objects.subspan(2, objects[1]);
            objects = objects.subspan(2u + objects[1]);
        }
        return {};
    }

    // PC/SC part 10: the control code of a feature is big-endian, the properties are little-endian. A reader that does
    // not tell takes the short form alone.
    uint32_t readersDataMax() const {
        const Bytes features = control(CM_IOCTL_GET_FEATURE_REQUEST);
        DWORD request = 0;
        for (const uint8_t octet : find(features, FEATURE_GET_TLV_PROPERTIES))
            request = request << 8u | octet;
        if (request == 0)
            return shortAnswerMax;
        const Bytes properties = control(request);
        const auto value = find(properties, PCSCv2_PART10_PROPERTY_dwMaxAPDUDataSize);
        DWORD most = 0;
        for (size_t i = value.size(); i-- > 0;)
            most = most << 8u | value[i];
        return static_cast<uint32_t>(std::clamp<DWORD>(most, shortAnswerMax, extendedAnswerMax));
    }

    PcscContext context_;
    const std::string reader_;
    const DWORD share_;
    SCARDHANDLE card_ = 0;
    DWORD protocol_ = 0;
    uint32_t dataMax_ = shortAnswerMax;
    unsigned transactions_ = 0;  // as far as they are known to last
    bool resetAtClosing_ = false;
    Bytes buffer_;
};

}  // namespace

std::unique_ptr<Transport> openPcscCard(const std::string &reader, bool exclusive) {
    return std::make_unique<PcscTransport>(reader, exclusive);
}

}  // namespace zelmocrd

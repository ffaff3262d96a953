#include "token_card.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "card_in_memory.h"
#include "reader.h"
#include "zelmocrd/error.h"

namespace fuzz {

namespace {

using virtualcard::Bytes;

/// Which command goes wrong, and how.
struct Fault {
    enum class Kind : uint8_t { status, dataAndStatus, nothing, oneOctet, unreachable };

    size_t command;  ///< From 1; 0 for none.
    uint8_t status[2];
    Kind kind;
    bool lasting;  ///< All later commands go wrong as well.

    static Fault read(Reader &input) {
        const size_t command = input.octet();
        const uint8_t high = input.octet(), low = input.octet(), how = input.octet();
        return {command, {high, low}, static_cast<Kind>(how % 5), (how & 0x80) != 0};
    }
    [[nodiscard]] bool hits(size_t number) const {
        return command != 0 && (number == command || (lasting && number > command));
    }
};

class FaultyTransport : public CardInMemory {
  public:
    FaultyTransport(virtualcard::CardImage image, Fault fault)
        : CardInMemory(card_), card_(std::move(image)), fault_(fault) {}

    Bytes transmit(std::span<const uint8_t> command) override {
        Bytes answer = CardInMemory::transmit(command);
        if (fault_.hits(++commands_))
            spoil(answer);
        return answer;
    }

  private:
    void spoil(Bytes &answer) const {
        switch (fault_.kind) {
            case Fault::Kind::status:
                answer.assign(std::begin(fault_.status), std::end(fault_.status));
                return;
            case Fault::Kind::dataAndStatus:
                std::copy(std::begin(fault_.status), std::end(fault_.status), answer.end() - 2);
                return;
            case Fault::Kind::nothing:
                answer.clear();
                return;
            case Fault::Kind::oneOctet:
                answer.resize(1);
                return;
            case Fault::Kind::unreachable:
                throw zelmocrd::ServiceError(zelmocrd::code::removedCard);
        }
    }

    virtualcard::VirtualCard card_;
    Fault fault_;
    size_t commands_ = 0;
};

std::vector<Bytes> read_records(Octets content) {
    std::vector<Bytes> records;
    for (Reader reader(content); !reader.empty() && records.size() < virtualcard::limits::records;) {
        const Octets record = reader.take(reader.octet());
        records.emplace_back(record.begin(), record.end());
    }
    return records;
}

void add_file(virtualcard::File &df, uint16_t fid, Reader &input) {
    const uint8_t kind = input.octet() % 4;
    const Octets content = input.take(input.pair());
    if (kind == 0)
        return;
    virtualcard::File file;
    file.fid = fid;
    if (fid > 0x4400 && fid < 0x4410)
        file.sfi = static_cast<uint8_t>(fid % 16);
    file.kind = static_cast<virtualcard::FileKind>(kind);
    file.maxRecord = 255;
    if (file.kind == virtualcard::FileKind::transparent)
        file.data.assign(content.begin(), content.end());
    else
        file.records = read_records(content);
    df.files.push_back(std::move(file));
}

virtualcard::CardImage read_image(Reader &input) {
    static constexpr uint8_t aid[] = {0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
    virtualcard::CardImage image;
    add_file(image.root, 0x2F00, input);
    virtualcard::File application;
    application.fid = 0x5015;
    application.name.assign(std::begin(aid), std::end(aid));
    add_file(application, 0x5032, input);
    add_file(application, 0x5031, input);
    for (uint16_t type = 0; type < 9; type++)
        add_file(application, static_cast<uint16_t>(0x4400 + type), input);
    image.root.files.push_back(std::move(application));
    for (const uint8_t reference : {uint8_t{0x00}, uint8_t{0x01}, uint8_t{0x81}}) {
        virtualcard::Secret pin;
        pin.reference = reference;
        pin.value = {'1', '2', '3', '4'};
        image.pins.push_back(std::move(pin));
    }
    return image;
}

CardHandle open_card(Octets octets) {
    Reader input(octets);
    const Fault fault = Fault::read(input);
    return zelmocrd::addCard(
        std::make_shared<zelmocrd::Card>(std::make_unique<FaultyTransport>(read_image(input), fault)));
}

}  // namespace

TokenCard::TokenCard(Octets input) : handle_(open_card(input)) {}

TokenCard::~TokenCard() {
    zelmocrd::removeCard(handle_);
}

}  // namespace fuzz

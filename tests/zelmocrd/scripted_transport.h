// A card that answers from a script and insists on the exact commands, in order.
#ifndef TESTS_ZELMOCRD_SCRIPTED_TRANSPORT_H
#define TESTS_ZELMOCRD_SCRIPTED_TRANSPORT_H

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "support/exchange.h"
#include "virtualcard/hex.h"
#include "zelmocrd/error.h"
#include "zelmocrd/handles.h"

using Script = std::vector<Exchange>;

/// What lies between the service and the card.
enum class Line { any, shortOnly, characters };

class ScriptedTransport : public zelmocrd::Transport {
  public:
    ScriptedTransport(Script script, std::string atr, Line line)
        : script_(std::move(script)), atr_(std::move(atr)), line_(line) {}
    ~ScriptedTransport() override {
        EXPECT_EQ(next_, script_.size()) << "commands were expected that did not come";
    }
    zelmocrd::Bytes transmit(std::span<const uint8_t> command) override {
        const std::string sent = toHex({command.begin(), command.end()});
        if (next_ == script_.size()) {
            ADD_FAILURE() << "unexpected command " << sent;
            throw zelmocrd::ServiceError(zelmocrd::code::communication);
        }
        const Exchange &exchange = script_[next_++];
        EXPECT_EQ(sent, toHex(fromHex(exchange.command))) << "command " << next_;
        if (exchange.answer == "gone")
            throw zelmocrd::ServiceError(0x8010000C);
        return fromHex(exchange.answer);
    }
    zelmocrd::Bytes atr() override {
        return fromHex(atr_);
    }
    void reset() override {}
    void beginTransaction() override {
        alone_ = true;
    }
    void endTransaction() override {
        alone_ = false;
    }
    bool byCharacters() const override {
        return line_ == Line::characters;
    }
    uint32_t dataMax() const override {
        return line_ == Line::any ? 65536 : 256;
    }
    bool isAlone() const override {
        return alone_;
    }

  private:
    Script script_;
    std::string atr_;
    Line line_;
    size_t next_ = 0;
    bool alone_ = false;
};

inline const std::string shortAtr = "3B 80 80 01 01";
inline const std::string extendedAtr = "3B 85 80 01 80 73 F7 21 40 61";

/// An open scripted card, closed at the end of its life; everything in its script must have been sent by then.
class ScriptedCard {
  public:
    explicit ScriptedCard(Script script, const std::string &atr = shortAtr, Line line = Line::any)
        : handle_(zelmocrd::addCard(
              std::make_shared<zelmocrd::Card>(std::make_unique<ScriptedTransport>(std::move(script), atr, line)))) {}
    explicit ScriptedCard(const std::string &script, const std::string &atr = shortAtr, Line line = Line::any)
        : ScriptedCard(parseExchanges(script), atr, line) {}
    ScriptedCard(const ScriptedCard &) = delete;
    ScriptedCard &operator=(const ScriptedCard &) = delete;
    ~ScriptedCard() {
        zelmocrd_CloseCard(handle_);
    }
    operator CardHandle() const {
        return handle_;
    }

  private:
    CardHandle handle_;
};

/// `count` octets `octet` as hexadecimal text.
inline std::string repeated(const std::string &octet, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; i++)
        text += octet;
    return text;
}

#endif

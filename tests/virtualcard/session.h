// Runs of commands and the answers that they must get.
#ifndef TESTS_VIRTUALCARD_SESSION_H
#define TESTS_VIRTUALCARD_SESSION_H

#include <gtest/gtest.h>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "hex.h"
#include "support/exchange.h"
#include "virtualcard/card.h"

struct Session {
    std::string name;
    std::vector<Exchange> exchanges;

    void run(virtualcard::VirtualCard &card) const {
        for (const Exchange &exchange : exchanges)
            ASSERT_EQ(toHex(card.transmit(fromHex(exchange.command))), toHex(fromHex(exchange.answer)))
                << name << ": " << exchange.command;
    }
};

/// Sessions of a text: a name at the start of a line; below it, indented, exchanges. A # and what follows is a comment.
inline std::vector<Session> parseSessions(const std::string &text) {
    std::vector<Session> sessions;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        line.resize(std::min(line.find('#'), line.size()));
        if (!line.empty() && line.front() != ' ') {
            sessions.push_back({line, {}});
            continue;
        }
        for (const Exchange &exchange : parseExchanges(line))
            sessions.back().exchanges.push_back(exchange);
    }
    return sessions;
}

/// Runs each session on a card of its own.
inline void runSessions(const std::string &image, const std::string &text) {
    for (const Session &session : parseSessions(text)) {
        ASSERT_FALSE(session.exchanges.empty()) << session.name;
        virtualcard::VirtualCard card(virtualcard::parseImage(image, "test"));
        session.run(card);
    }
}

inline void PrintTo(const Session &session, std::ostream *out) {
    *out << session.name;
}

inline std::string sessionName(const testing::TestParamInfo<Session> &info) {
    return info.param.name;
}

#endif

// A run of commands and the answers that they must get.
#ifndef TESTS_VIRTUALCARD_SESSION_H
#define TESTS_VIRTUALCARD_SESSION_H

#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

#include "hex.h"
#include "virtualcard/card.h"

struct Exchange {
    const char *command;
    const char *answer;
};

struct Session {
    const char *name;
    std::vector<Exchange> exchanges;

    void run(virtualcard::VirtualCard &card) const {
        for (const Exchange &exchange : exchanges)
            ASSERT_EQ(toHex(card.transmit(fromHex(exchange.command))), toHex(fromHex(exchange.answer)))
                << exchange.command;
    }
};

inline void PrintTo(const Session &session, std::ostream *out) {
    *out << session.name;
}

inline std::string sessionName(const testing::TestParamInfo<Session> &info) {
    return info.param.name;
}

#endif

// Commands to a card and its answers, as tables have them.
#ifndef ZELMO_TESTS_SUPPORT_EXCHANGE_H
#define ZELMO_TESTS_SUPPORT_EXCHANGE_H

#include <sstream>
#include <string>
#include <vector>

/// Both in hexadecimal.
struct Exchange {
    std::string command;
    std::string answer;
};

/// Exchanges of a text: "command > answer", with bars between.
inline std::vector<Exchange> parseExchanges(const std::string &text) {
    std::vector<Exchange> exchanges;
    std::istringstream items(text);
    for (std::string item; std::getline(items, item, '|');)
        if (const size_t mark = item.find(" > "); mark != std::string::npos)
            exchanges.push_back({item.substr(0, mark), item.substr(mark + 3, item.find_last_not_of(' ') - mark - 2)});
    return exchanges;
}

#endif

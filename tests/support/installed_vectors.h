// The sets of vectors that python3-cryptography-vectors installs, read where they lie.
#ifndef ZELMO_TESTS_SUPPORT_INSTALLED_VECTORS_H
#define ZELMO_TESTS_SUPPORT_INSTALLED_VECTORS_H

#include <map>

#include "support/vector_file.h"

namespace zelmo_test {

/// Values by their names; octets of hexadecimal text.
class Values : public std::map<std::string, std::string> {
  public:
    Octets octets(const std::string &name) const {
        const auto found = find(name);
        EXPECT_NE(found, end()) << name << " is missing";
        return found != end() ? hex(found->second) : Octets();
    }
    /// Without leading zeros.
    Octets magnitude(const std::string &name) const {
        Octets all = octets(name);
        all.erase(all.begin(), std::find_if(all.begin(), all.end(), [](uint8_t octet) { return octet != 0; }));
        return all;
    }
};

/// Reads "name = value" lines, and "# name:" lines with hexadecimal lines behind each. A vector ends at the blank line,
/// bracket or end behind the value named `last`, where all values go on to hold; with an empty name at every blank
/// line, where none does. Tells the number of vectors; 0, with a message, when the file is not installed.
template <class Use>
int for_each_installed(const std::string &file, const std::string &last, Use use) {
    const std::string path = "/usr/lib/python3/dist-packages/cryptography_vectors/" + file;
    std::ifstream in(path);
    if (!in) {
        std::cout << path << " is not there: install python3-cryptography-vectors\n";
        return 0;
    }
    Values values;
    std::string key;
    int count = 0;
    const auto finish = [&] {
        if (!values.empty() && (last.empty() || (key == last && !values[key].empty()))) {
            const testing::ScopedTrace where(file.c_str(), ++count, "vector of this number");
            use(values);
            if (last.empty())
                values.clear();
        }
        key.clear();
    };
    for (std::string line; std::getline(in, line);) {
        line.erase(line.find_last_not_of(" \r") + 1);
        const size_t equals = line.find('=');
        if (line.empty() || line[0] == '[') {
            finish();
        } else if (line[0] == '#') {
            if (!last.empty())
                finish();
            key = line.back() == ':' ? line.substr(2, line.size() - 3) : "";
            if (!key.empty())
                values[key].clear();
        } else if (equals != std::string::npos && equals > 0) {
            if (!last.empty() && key == last)
                finish();
            key = line.substr(0, line.find_last_not_of(' ', equals - 1) + 1);
            const size_t value = line.find_first_not_of(' ', equals + 1);
            values[key] = value != std::string::npos ? line.substr(value) : "";
        } else if (!key.empty()) {
            values[key] += line;
        }
    }
    finish();
    EXPECT_GT(count, 0) << file;
    std::cout << file << ": " << count << " vectors\n";
    return count;
}

}  // namespace zelmo_test

#endif

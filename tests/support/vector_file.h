// Published vectors: text files under tests/data of "Name = value" lines, where a blank line ends a vector and # starts
// a comment. A value is hex digits, or a "text", either of them followed by *N to be repeated; or a decimal number.
#ifndef ZELMO_TESTS_SUPPORT_VECTOR_FILE_H
#define ZELMO_TESTS_SUPPORT_VECTOR_FILE_H

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/octets.h"

namespace zelmo_test {

/// One vector. An attribute that no test has asked for fails the test.
class Vector {
  public:
    bool empty() const {
        return values_.empty();
    }
    void set(const std::string &name, const std::string &value) {
        EXPECT_TRUE(values_.emplace(name, value).second) << name << " stands twice";
    }
    bool has(const std::string &name) {
        return values_.count(name) != 0;
    }
    /// The value as it is written; the test fails when there is none.
    std::string text(const std::string &name) {
        read_.insert(name);
        const auto found = values_.find(name);
        EXPECT_NE(found, values_.end()) << name << " is missing";
        return found != values_.end() ? found->second : std::string();
    }
    uint32_t number(const std::string &name) {
        return static_cast<uint32_t>(std::stoul(text(name)));
    }
    Octets octets(const std::string &name) {
        std::string value = text(name);
        size_t times = 1;
        if (const size_t star = value.rfind('*'); star != std::string::npos && value.find('"', star) == value.npos) {
            times = std::stoul(value.substr(star + 1));
            value.resize(star);
        }
        const bool quoted = !value.empty() && value.front() == '"';
        const Octets once = quoted ? Octets(value.begin() + 1, value.end() - 1) : hex(value);
        Octets all;
        for (size_t i = 0; i < times; ++i)
            all.insert(all.end(), once.begin(), once.end());
        return all;
    }
    std::vector<std::string> unread() const {
        std::vector<std::string> names;
        for (const auto &[name, value] : values_)
            if (read_.count(name) == 0)
                names.push_back(name);
        return names;
    }

  private:
    std::map<std::string, std::string> values_;
    std::set<std::string> read_;
};

/// Runs the test on every vector of a file of tests/data, and fails when there is none.
template <class Test>
void for_each_vector(const std::string &file, Test test) {
    std::ifstream in(std::string(ZELMO_SOURCE_DIR "/tests/data/") + file);
    ASSERT_TRUE(in) << file;
    size_t count = 0;
    int line_number = 0;
    Vector vector;
    const auto finish = [&] {
        if (vector.empty())
            return;
        ++count;
        const testing::ScopedTrace where(file.c_str(), line_number, "vector that ends here");
        test(vector);
        EXPECT_EQ(vector.unread(), std::vector<std::string>());
        vector = Vector();
    };
    for (std::string line; std::getline(in, line);) {
        ++line_number;
        if (line.rfind('#', 0) == 0)
            continue;
        if (const size_t equals = line.find(" = "); equals != std::string::npos)
            vector.set(line.substr(0, equals), line.substr(equals + 3));
        else if (line.size() > 2 && line.substr(line.size() - 2) == " =")
            vector.set(line.substr(0, line.size() - 2), "");
        else if (line.empty())
            finish();
        else
            ADD_FAILURE() << file << ":" << line_number << ": " << line;
    }
    finish();
    EXPECT_GT(count, 0u) << file;
}

}  // namespace zelmo_test

#endif

// A stream in memory whose lines a test reads back.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

class CapturedStream {
  public:
    CapturedStream() : stream_(open_memstream(&data_, &size_)) {}
    CapturedStream(const CapturedStream &) = delete;
    CapturedStream &operator=(const CapturedStream &) = delete;
    ~CapturedStream() {
        std::fclose(stream_);
        std::free(data_);
    }
    FILE *get() const {
        return stream_;
    }
    std::string text() const {
        std::fflush(stream_);
        return {data_, size_};
    }
    std::vector<std::string> lines() const {
        std::istringstream in(text());
        std::vector<std::string> result;
        for (std::string line; std::getline(in, line);)
            result.push_back(line);
        return result;
    }

  private:
    char *data_ = nullptr;
    size_t size_ = 0;
    FILE *stream_;
};

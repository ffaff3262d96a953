// What the tests of the crypto service provider share: arguments and results, and the trace as text.
#ifndef ZELMO_TESTS_CSP_CSP_SUPPORT_H
#define ZELMO_TESTS_CSP_CSP_SUPPORT_H

#include <string>
#include <vector>

#include "csp/csp.h"
#include "support/octets.h"

namespace zelmo_test {

inline Octets text_octets(std::string_view text) {
    return {text.begin(), text.end()};
}

inline Octets part(const Octets &octets, size_t from, size_t length) {
    return {octets.begin() + static_cast<std::ptrdiff_t>(from),
            octets.begin() + static_cast<std::ptrdiff_t>(from + length)};
}

inline Octets octets_of(const Bytestring *value) {
    return value != nullptr && value->len != 0 ? Octets(value->data, value->data + value->len) : Octets();
}

/// A byte string over octets that stay where they are.
inline Bytestring view(const Octets &octets) {
    return {static_cast<uint32_t>(octets.size()), const_cast<uint8_t *>(octets.data())};
}

/// An argument in a block of just its size.
class Value {
  public:
    Value(const Octets &octets)  // NOLINT(google-explicit-constructor): that is what it is for
        : value_(Bytestring_new(static_cast<uint32_t>(octets.size()), octets.empty() ? nullptr : octets.data())) {}
    Value(std::string_view text) : Value(text_octets(text)) {}  // NOLINT(google-explicit-constructor)
    operator const Bytestring *() const {                       // NOLINT(google-explicit-constructor)
        return value_.get();
    }

  private:
    OwnedBytestring value_;
};

/// The place of a result; holds rubbish until it is set.
class Result {
  public:
    Result() = default;
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;
    ~Result() {
        if (is_set())
            Bytestring_free(value_);
    }
    Bytestring **place() {
        return &value_;
    }
    bool is_null() const {
        return value_ == nullptr;
    }
    Octets octets() const {
        return is_set() ? octets_of(value_) : Octets();
    }

  private:
    bool is_set() const {
        return value_ != nullptr && value_ != rubbish();
    }
    static Bytestring *rubbish() {
        static Bytestring somewhere = {};
        return &somewhere;
    }
    Bytestring *value_ = rubbish();
};

/// Collects what is traced while it lives: "32 text" and "32 =HEX" by level.
class Trace {
  public:
    Trace();
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;
    ~Trace();
    /// The lines so far; clears them.
    static std::vector<std::string> take();
};
using Lines = std::vector<std::string>;

/// The line of these octets in a trace.
inline std::string dump(const Octets &octets) {
    return "32 =" + to_hex(octets.data(), octets.size());
}

/// The condition that a null argument breaks, as a pattern of what the process prints.
inline std::string not_null(const std::string &name) {
    return "Assertion `" + name + " != ..void .\\)0\\)' failed";
}

}  // namespace zelmo_test

#endif

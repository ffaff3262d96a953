// Secrets from the lines of a descriptor, or of a file that only its owner can read.
#ifndef ZELMO_SECRET_LINES_H
#define ZELMO_SECRET_LINES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "secret.h"

namespace zelmo {

/// What the lines are for, as failures say it.
struct SecretUse {
    std::string_view what;    ///< "a PIN"
    std::string_view unhurt;  ///< "nothing was sent to the card"
};

/// Gives secrets one after the other. They are never command-line arguments, which other processes can see.
class SecretLines {
  public:
    /// Takes a descriptor (-1 for none), or opens a file (empty for none). Throws Failure, also for a terminal, and for
    /// a file that is not regular, not ours, or open to others.
    SecretLines(int fd, const std::string &file, SecretUse use);
    ~SecretLines();
    SecretLines(const SecretLines &) = delete;
    SecretLines &operator=(const SecretLines &) = delete;

    /// Whether there is a descriptor or a file.
    bool given() const {
        return fd_ >= 0;
    }
    enum class Line : uint8_t { text, empty, missing };
    /// Puts the next line, without its end, into `into`. It is read octet by octet: what follows is left to whoever
    /// reads on. `name` names it in the Failure that is thrown for a line that is too long, or holds a zero octet.
    Line read(Secret &into, std::string_view name);
    /// The same where a line must be there: throws Failure for one that is empty or missing.
    void require(Secret &into, std::string_view name);

  private:
    [[noreturn]] void refuse(const std::string &why, std::string_view advice) const;
    bool readOctet(uint8_t &octet) const;
    void openPrivate(const std::string &file);

    SecretUse use_;
    std::string name_;
    int fd_ = -1;
    bool owned_ = false;
};

}  // namespace zelmo

#endif

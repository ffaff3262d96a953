#include "secret_lines.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"
#include "text.h"

namespace zelmo {

namespace {

/// Why a file must not hold secrets; empty when it may.
std::string_view objection(const struct stat &status) {
    constexpr mode_t others = S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    if (!S_ISREG(status.st_mode))
        return "it is no regular file";
    if (status.st_uid != geteuid())
        return "it belongs to somebody else";
    return (status.st_mode & others) != 0 ? "others may read or change it" : "";
}

}  // namespace

void SecretLines::refuse(const std::string &why, std::string_view advice) const {
    throw Failure(Exit::failure, fmt::format("cannot take {} from {}: {}; {}", use_.what, name_, why, advice));
}

void SecretLines::openPrivate(const std::string &file) {
    // A pipe must not keep the command waiting for a writer.
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0)
        refuse(std::strerror(errno), "name a file that only you can read");
    if (const std::string_view why = objection(status); !why.empty()) {
        close(fd);
        refuse(std::string(why), "make it a file of your own with 'chmod 600'");
    }
    fd_ = fd;
    owned_ = true;
}

SecretLines::SecretLines(int fd, const std::string &file, SecretUse use) : use_(use) {
    if (!file.empty()) {
        name_ = printable(file);
        openPrivate(file);
    } else if (fd >= 0) {
        name_ = fmt::format("descriptor {}", fd);
        if (fcntl(fd, F_GETFD) < 0)
            refuse("it is not open", "redirect it, as in 3<FILE");
        if (isatty(fd) != 0)
            refuse("it is a terminal, which shows what is typed", "leave the option out to be asked");
        fd_ = fd;
    }
}

SecretLines::~SecretLines() {
    if (owned_)
        close(fd_);
}

/// Reads one octet; false at the end.
bool SecretLines::readOctet(uint8_t &octet) const {
    for (;;) {
        const ssize_t got = ::read(fd_, &octet, 1);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            refuse(std::strerror(errno), "open it for reading");
        return got > 0;
    }
}

SecretLines::Line SecretLines::read(Secret &into, std::string_view name) {
    into.clear();
    uint8_t octet = 0;
    bool held = false;  // a carriage return, which belongs to the line's end if the line ends behind it
    while (readOctet(octet) && octet != '\n') {
        if (octet == 0)
            refuse(fmt::format("{} holds a zero octet, so this is no text", name), use_.unhurt);
        bool fits = !held || into.append('\r');
        held = octet == '\r';
        fits = fits && (held || into.append(octet));
        if (!fits)
            refuse(fmt::format("{} is longer than {} octets", name, Secret::capacity), use_.unhurt);
    }
    if (into.length() != 0)
        return Line::text;
    return octet == '\n' || held ? Line::empty : Line::missing;
}

void SecretLines::require(Secret &into, std::string_view name) {
    const Line line = read(into, name);
    if (line != Line::text)
        refuse(fmt::format("the line of {} is {}", name, line == Line::empty ? "empty" : "missing"), use_.unhurt);
}

}  // namespace zelmo

#include "pin_source.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "prompts.h"
#include "runtime/scdialog_stub.h"
#include "text.h"

namespace zelmo {

namespace {

[[noreturn]] void refuse(const std::string &name, const std::string &why, std::string_view advice) {
    throw Failure(Exit::failure, fmt::format("cannot take a PIN from {}: {}; {}", name, why, advice));
}

/// Why a file must not hold PINs; empty when it may.
std::string_view objection(const struct stat &status) {
    constexpr mode_t others = S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    if (!S_ISREG(status.st_mode))
        return "it is no regular file";
    if (status.st_uid != geteuid())
        return "it belongs to somebody else";
    return (status.st_mode & others) != 0 ? "others may read or change it" : "";
}

int openPrivate(const std::string &file, const std::string &name) {
    // A pipe must not keep the command waiting for a writer.
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0)
        refuse(name, std::strerror(errno), "name a file that only you can read");
    if (const std::string_view why = objection(status); !why.empty()) {
        close(fd);
        refuse(name, std::string(why), "make it a file of your own with 'chmod 600'");
    }
    return fd;
}

/// Reads one octet; false at the end.
bool readOctet(int fd, uint8_t &octet, const std::string &name) {
    for (;;) {
        const ssize_t got = read(fd, &octet, 1);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            refuse(name, std::strerror(errno), "open it for reading");
        return got > 0;
    }
}

void ask(Secret &into, Prompt prompt, const Pin &pin, TokenContext &token) {
    const auto *object = static_cast<const PKCS15Object *>(pin.object->value);
    const Label *label = object->commonObjectAttributes != nullptr ? object->commonObjectAttributes->label : nullptr;
    const std::string text = promptText(prompt, label, pkcs15_ScGetTokenInfo(&token)->label);
    into.clear();
    auto *buffer = reinterpret_cast<char *>(into.buffer().data());
    const uint32_t result = scdlg_GetPIN(0, reinterpret_cast<uintptr_t>(text.c_str()),
                                         reinterpret_cast<uintptr_t>(buffer), Secret::capacity, 0, 0);
    if (result == SCDLG_CANCELLED)
        throw cancelled();
    if (result != 0)
        throw noDialog();
    into.setLength(static_cast<uint32_t>(strnlen(buffer, Secret::capacity)));
    if (into.length() == 0)
        throw Failure(Exit::failure, "an empty PIN was entered, which is none; nothing was sent to the card");
}

}  // namespace

PinSource::PinSource(const Options &options) {
    if (!options.pinFile.empty()) {
        name_ = printable(options.pinFile);
        fd_ = openPrivate(options.pinFile, name_);
        owned_ = true;
    } else if (options.pinFd >= 0) {
        name_ = fmt::format("descriptor {}", options.pinFd);
        if (fcntl(options.pinFd, F_GETFD) < 0)
            refuse(name_, "it is not open", "redirect it, as in 3<FILE");
        if (isatty(options.pinFd) != 0)
            refuse(name_, "it is a terminal, which shows what is typed", "leave the option out to be asked");
        fd_ = options.pinFd;
    }
}

PinSource::~PinSource() {
    if (owned_)
        close(fd_);
}

void PinSource::readLine(Secret &into, std::string_view what) {
    constexpr std::string_view unsent = "nothing was sent to the card";
    into.clear();
    uint8_t octet = 0;
    bool held = false;  // a carriage return, which belongs to the line's end if the line ends behind it
    while (readOctet(fd_, octet, name_) && octet != '\n') {
        if (octet == 0)
            refuse(name_, fmt::format("{} holds a zero octet, so this is no text", what), unsent);
        bool fits = !held || into.append('\r');
        held = octet == '\r';
        fits = fits && (held || into.append(octet));
        if (!fits)
            refuse(name_, fmt::format("{} is longer than {} octets", what, Secret::capacity), unsent);
    }
    if (into.length() == 0)
        refuse(name_, fmt::format("the line of {} is {}", what, octet == '\n' ? "empty" : "missing"), unsent);
}

void PinSource::present(Secret &into, const Pin &pin, TokenContext &token) {
    if (isPerson())
        ask(into, Prompt::present, pin, token);
    else
        readLine(into, pin.text());
}

void PinSource::fresh(Secret &into, const Pin &pin, TokenContext &token) {
    if (!isPerson())
        return readLine(into, "the new " + pin.text());
    Secret again;
    ask(into, Prompt::fresh, pin, token);
    ask(again, Prompt::repeated, pin, token);
    if (!(into == again))
        throw Failure(Exit::failure, "the two new PINs differ; nothing was changed, try again");
}

ChosenPin::ChosenPin(const Options &options)
    : source(options), session(options), pins(readPins(session.token())), pin(choosePin(pins, options.id)) {
    requireKnownForm(pin);
}

}  // namespace zelmo

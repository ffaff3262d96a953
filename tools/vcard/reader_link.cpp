#include "reader_link.h"

#include <array>
#include <csignal>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace zelmo {

namespace {

volatile std::sig_atomic_t end_asked = 0;

constexpr size_t length_size = 2;

// The reader polls the card while nothing happens. Were our acknowledgements put off, each message would wait for them.
void acknowledge_at_once(int fd) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
}

// A descriptor that is connected to this address, or -1.
int connect_to(const addrinfo &address) {
    const int fd = socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
    if (fd == -1)
        return -1;
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(fd, address.ai_addr, address.ai_addrlen) == 0)
        return fd;
    close(fd);
    return -1;
}

}  // namespace

EndRequest::EndRequest() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaddset(&signals, signal);
        struct sigaction action = {};
        action.sa_handler = [](int) { end_asked = 1; };
        sigaction(signal, &action, nullptr);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

bool EndRequest::made() const {
    return end_asked != 0;
}

bool EndRequest::wait(int fd, std::chrono::milliseconds time) const {
    pollfd wanted = {fd, POLLIN, 0};
    const timespec limit = {time.count() / 1000, (time.count() % 1000) * 1000000};
    sigset_t none;
    sigemptyset(&none);
    return !made() && ppoll(&wanted, 1, time.count() < 0 ? nullptr : &limit, &none) == 1 && !made();
}

ReaderLink::ReaderLink(const std::string &host, const std::string &port, const EndRequest &end)
    : host_(host), port_(port), end_(end) {}

ReaderLink::~ReaderLink() {
    close();
}

void ReaderLink::close() {
    if (fd_ != -1)
        ::close(fd_);
    fd_ = -1;
    received_.clear();
}

bool ReaderLink::connect() {
    close();
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *addresses = nullptr;
    if (const int error = getaddrinfo(host_.c_str(), port_.c_str(), &hints, &addresses); error != 0)
        throw std::runtime_error(host_ + ":" + port_ + ": " + gai_strerror(error));
    for (const addrinfo *address = addresses; address != nullptr && fd_ == -1; address = address->ai_next)
        fd_ = connect_to(*address);
    freeaddrinfo(addresses);
    return fd_ != -1;
}

bool ReaderLink::fill(size_t count) {
    std::array<uint8_t, 4096> piece;
    while (received_.size() < count) {
        if (!end_.wait(fd_, std::chrono::milliseconds(-1)))
            return false;
        const ssize_t size = recv(fd_, piece.data(), piece.size(), 0);
        if (size <= 0)
            return false;
        acknowledge_at_once(fd_);
        received_.insert(received_.end(), piece.begin(), piece.begin() + size);
    }
    return true;
}

std::optional<Bytes> ReaderLink::receive() {
    if (!fill(length_size))
        return std::nullopt;
    const size_t length = static_cast<size_t>(received_[0] << 8 | received_[1]);
    if (!fill(length_size + length))
        return std::nullopt;
    const auto start = received_.begin() + length_size;
    const auto end = start + static_cast<std::ptrdiff_t>(length);
    Bytes message(start, end);
    received_.erase(received_.begin(), end);
    return message;
}

bool ReaderLink::send(std::span<const uint8_t> message) {
    Bytes octets = {static_cast<uint8_t>(message.size() >> 8u), static_cast<uint8_t>(message.size() & 0xFFu)};
    octets.insert(octets.end(), message.begin(), message.end());
    std::span<const uint8_t> rest = octets;
    while (!rest.empty()) {
        const ssize_t sent = ::send(fd_, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        rest = rest.subspan(static_cast<size_t>(sent));
    }
    return true;
}

}  // namespace zelmo

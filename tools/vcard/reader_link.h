// The line to a virtual reader of pcscd (vsmartcard's vpcd): it listens, the card comes to it.
#ifndef ZELMO_VCARD_READER_LINK_H
#define ZELMO_VCARD_READER_LINK_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zelmo {

using Bytes = std::vector<uint8_t>;

/// SIGINT and SIGTERM ask for the end. They are noticed only while this program waits, so that no command is cut off.
class EndRequest {
  public:
    EndRequest();
    bool made() const;
    /// Waits until `fd` can be read, the time is over, or the end is asked for; true in the first case. -1 for no
    /// descriptor; a negative time is endless.
    bool wait(int fd, std::chrono::milliseconds time) const;
};

/// One connection. Messages stand behind their length, two octets, big-endian.
class ReaderLink {
  public:
    /// Throws std::runtime_error when the host is not known.
    ReaderLink(const std::string &host, const std::string &port, const EndRequest &end);
    ReaderLink(const ReaderLink &) = delete;
    ReaderLink &operator=(const ReaderLink &) = delete;
    ~ReaderLink();

    /// False when the reader is not there.
    bool connect();
    /// The reader's next message, however it arrives in pieces; none when the line is gone or the end is asked for.
    std::optional<Bytes> receive();
    /// False when the line is gone. A message has at most 65535 octets.
    bool send(std::span<const uint8_t> message);
    /// Takes the card out.
    void close();

  private:
    bool fill(size_t count);

    const std::string host_, port_;
    const EndRequest &end_;
    int fd_ = -1;
    Bytes received_;
};

}  // namespace zelmo

#endif

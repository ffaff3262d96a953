// zelmo-vcard: puts a virtual card into the virtual reader of a real pcscd.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "faulty_card.h"
#include "reader_link.h"

namespace {

using zelmo::Bytes;
using zelmo::EndRequest;
using zelmo::FaultyCard;
using zelmo::ReaderLink;

struct Options {
    std::string file, host = "localhost", port = "35963";
    std::vector<std::string> faults;
    unsigned delay = 0;
};

// What the reader says besides commands, a message of one octet each.
enum Control : uint8_t { power_off = 0, power_on = 1, reset = 2, tell_atr = 4 };

/// One card in one reader, until somebody ends the program.
class Session {
  public:
    Session(FaultyCard card, ReaderLink &link, const EndRequest &end, std::string place)
        : card_(std::move(card)), link_(link), end_(end), place_(std::move(place)) {}

    void run() {
        while (!end_.made()) {
            if (!link_.connect()) {
                waitForReader();
                continue;
            }
            std::printf("In the reader at %s.\n", place_.c_str());
            std::fflush(stdout);
            told_ = false;
            if (!serve())
                return;
        }
    }

  private:
    void waitForReader() {
        constexpr auto pause = std::chrono::milliseconds(200);
        if (!told_)
            std::fprintf(stderr, "zelmo-vcard: no reader at %s yet; waiting for pcscd\n", place_.c_str());
        told_ = true;
        end_.wait(-1, pause);
    }

    // One connection. False when the card has been taken out for good.
    bool serve() {
        while (const std::optional<Bytes> message = link_.receive()) {
            if (message->size() > 1) {
                if (const auto removal = card_.removal())
                    return stayAway(*removal);
                end_.wait(-1, card_.delay());
                if (!link_.send(card_.transmit(*message)))
                    break;
            } else if (!control(*message)) {
                break;
            }
        }
        link_.close();
        return true;
    }

    bool stayAway(std::chrono::milliseconds time) {
        link_.close();
        std::printf("Taken out.\n");
        std::fflush(stdout);
        if (time.count() < 0)
            return false;
        end_.wait(-1, time);
        return true;
    }

    bool control(const Bytes &message) {
        if (message.empty())
            return true;
        if (message[0] == power_on || message[0] == reset)
            card_.reset();
        return message[0] != tell_atr || link_.send(card_.atr());
    }

    FaultyCard card_;
    ReaderLink &link_;
    const EndRequest &end_;
    const std::string place_;
    bool told_ = false;
};

int run(int argc, char **argv) {
    Options options;
    CLI::App app("Puts a virtual card into pcscd's virtual reader (Debian's vsmartcard-vpcd), until it is interrupted.",
                 "zelmo-vcard");
    app.footer(
        "Examples:\n"
        "  zelmo card new demo.card && zelmo-vcard demo.card\n"
        "  zelmo-vcard --port 35964 other.card          (the second slot of the reader)\n"
        "  zelmo-vcard --fault remove@7:500 --delay 15 demo.card");
    app.add_option("FILE", options.file, "Image file of the card")->required();
    app.add_option("--host", options.host, "Where pcscd runs")->capture_default_str();
    app.add_option("--port", options.port, "Port of the reader's slot")->capture_default_str();
    app.add_option("--delay", options.delay, "Milliseconds that each command takes")->check(CLI::Range(0, 60000));
    app.add_option("--fault", options.faults,
                   "A fault, for tests; any number of them, commands are counted from 1:\n"
                   "remove@N[:MS]  the card is taken out at command N, for good or for a time\n"
                   "reset@N        it loses its power for a moment before command N\n"
                   "status@N:SW    it answers command N with this status word\n"
                   "pieces:N       it gives at most N octets of a file at a time\n"
                   "t0             it speaks T=0 alone")
        ->type_name("FAULT")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.set_version_flag("--version", "zelmo-vcard " ZELMO_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const int code = app.exit(error);
        return code == 0 ? 0 : 2;
    }
    zelmo::Faults faults;
    faults.delay = std::chrono::milliseconds(options.delay);
    for (const std::string &fault : options.faults)
        faults.add(fault);
    const EndRequest end;
    ReaderLink link(options.host, options.port, end);
    Session session(FaultyCard(virtualcard::VirtualCard::load(options.file), std::move(faults)), link, end,
                    options.host + ":" + options.port);
    session.run();
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::invalid_argument &error) {
        std::fprintf(stderr, "zelmo-vcard: %s\n", error.what());
        return 2;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "zelmo-vcard: %s\n", error.what());
        return 1;
    }
}

// Finding, opening and listing a token on the embedded card: the library's own time apart from the card service's, card
// commands, octets read, heap allocations.
#include <benchmark/benchmark.h>
#include <ctime>
#include <stdexcept>
#include <string>

#include "allocations.h"
#include "card_time.h"
#include "directory_data.h"
#include "token/pkcs15_types_functions.h"
#include "zelmop15/pkcs15.h"

namespace {

uint8_t pkcs15_aid[] = {0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
const asn1_OctetString aid_filter[] = {{sizeof pkcs15_aid, pkcs15_aid}, {0, nullptr}};

void expect(uint32_t code, const char *what) {
    if (code != 0)
        throw std::runtime_error(std::string(what) + " fails with code " + std::to_string(code));
}

class OpenCard {
  public:
    explicit OpenCard(const char *token) {
        expect(zelmocrd_OpenCard(("virtual:" + bench::token_file(token)).c_str(), 0, &handle_), "opening the card");
    }
    ~OpenCard() {
        zelmocrd_CloseCard(handle_);
    }
    OpenCard(const OpenCard &) = delete;
    OpenCard &operator=(const OpenCard &) = delete;
    operator CardHandle() const {
        return handle_;
    }

  private:
    CardHandle handle_ = 0;
};

TokenContext *open_token(CardHandle card) {
    uintptr_t cursor = 0;
    uint32_t card_error = 0;
    DIRRecord *record = nullptr;
    expect(pkcs15_ScEnumerateDirectories(card, ENUM_FIRST, aid_filter, &cursor, &record, &card_error), "EF.DIR");
    pkcs15_ScEnumerateDirectories(card, ENUM_CLOSE, aid_filter, &cursor, nullptr, &card_error);
    TokenContext *context = nullptr;
    expect(pkcs15_ScAcquireTokenContext(card, record, &context, &card_error), "acquire");
    asn1_DIRRecord_free(record);
    return context;
}

/// Reads one object as a host that lists it does; 1 when it could be read.
size_t read_object(CardHandle card, TokenContext *context, ObjectReference *reference) {
    void *object = nullptr;
    uint32_t card_error = 0;
    expect(pkcs15_ScGetDFEntry(card, context, reference, FLAG_USE_CACHE, &object, &card_error), "reading an entry");
    char label[64] = "";
    const CommonObjectAttributes *common = pkcs15_GetCommonObjectAttributes(object);
    if (common != nullptr && common->label != nullptr)
        pkcs15_Label2szString(common->label, label, sizeof label);
    benchmark::DoNotOptimize(label[0]);
    expect(pkcs15_ScReleaseDFEntry(card, context, reference, RELEASE_DISCARD, object, &card_error), "releasing it");
    pkcs15_ObjectReferenceFree(reference);
    return 1;
}

size_t list_objects(CardHandle card, TokenContext *context) {
    size_t count = 0;
    for (uint32_t type = 0; type < token::object_types; type++) {
        uintptr_t cursor = 0;
        uint32_t card_error = 0, mode = ENUM_FIRST;
        ObjectReference *reference = nullptr;
        while (pkcs15_ScEnumerateObjects(card, context, type, mode, FLAG_REFRESH_CACHE, &cursor, &reference,
                                         &card_error) == 0) {
            mode = ENUM_NEXT;
            count += read_object(card, context, reference);
        }
    }
    return count;
}

/// Commands by instruction, for the table.
struct Commands {
    double selections = 0, binary_reads = 0, record_reads = 0;

    static void count(const uint8_t *command, uint32_t length, const uint8_t *, uint32_t, double, void *context) {
        Commands &commands = *static_cast<Commands *>(context);
        if (length > 1) {
            commands.selections += command[1] == 0xA4;
            commands.binary_reads += command[1] == 0xB0 || command[1] == 0xB1;
            commands.record_reads += command[1] == 0xB2;
        }
    }
};

void report_card(benchmark::State &state, CardHandle card) {
    Commands commands;
    zelmocrd_Counters counters;
    zelmocrd_GetCounters(card, &counters, 1);
    expect(zelmocrd_SetTrace(card, Commands::count, &commands), "the trace");
    TokenContext *context = open_token(card);
    state.counters["objects"] = static_cast<double>(list_objects(card, context));
    pkcs15_ScReleaseTokenContext(context);
    zelmocrd_SetTrace(card, nullptr, nullptr);
    zelmocrd_GetCounters(card, &counters, 1);
    state.counters["commands"] = static_cast<double>(counters.commands);
    state.counters["selections"] = commands.selections;
    state.counters["binary_reads"] = commands.binary_reads;
    state.counters["record_reads"] = commands.record_reads;
    state.counters["octets_received"] = static_cast<double>(counters.octetsReceived);
}

void acquire_and_list(benchmark::State &state, const char *token) {
    const OpenCard card(token);
    report_card(state, card);
    bench::reset_card_time();
    bench::reset_allocations();
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t processor_start = std::clock();
    for (auto _ : state) {
        TokenContext *context = open_token(card);
        list_objects(card, context);
        pkcs15_ScReleaseTokenContext(context);
    }
    const double processor_us = 1e6 * static_cast<double>(std::clock() - processor_start) / CLOCKS_PER_SEC;
    const std::chrono::duration<double> total = std::chrono::steady_clock::now() - start;
    // The card service's share of the time that passed is its share of the processor's: other programs delay both
    // alike.
    const double card_us = processor_us * (std::chrono::duration<double>(bench::card_time()) / total);
    const auto runs = static_cast<double>(state.iterations());
    state.counters["card_us"] = card_us / runs;
    state.counters["library_us"] = (processor_us - card_us) / runs;
    state.counters["allocations"] = static_cast<double>(bench::allocations().count) / runs;
    state.counters["greatest_allocation"] = static_cast<double>(bench::allocations().greatest);
}
BENCHMARK_CAPTURE(acquire_and_list, transparent, "transparent")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(acquire_and_list, records, "records")->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

// A hit of the directory cache: the lookup alone, and a whole get of an entry beside the bare decoding of its record.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <stdexcept>

#include "allocations.h"
#include "directory_data.h"
#include "token/pkcs15_dircache.h"
#include "token/pkcs15_scard_entry.h"
#include "token/pkcs15_types_functions.h"
#include "zelmop15/pkcs15.h"

namespace {

constexpr uint8_t record_id = 5;
constexpr size_t object_number = 1;  // of the private keys: one that fits a record

const P15TypeFunctions &private_keys = token::P15TypesFunctions[PKCS15_PRIVATE_KEYS];

/// A cache that holds one record, with a reference that points at it.
struct Filled {
    DirectoryCache cache{};
    TokenContext context{};
    ObjectReference reference{};
    bench::Octets record;

    Filled() {
        const bench::DirectoryData data = bench::directory_data(0x4400, 4096);
        const auto &object = data.objects.at(object_number);
        record = {record_id, static_cast<uint8_t>(object.size())};
        record.insert(record.end(), object.begin(), object.end());
        context.dirCache = &cache;
        reference.objectType = PKCS15_PRIVATE_KEYS;
        reference.objectId = record_id;
        reference.getEntry = p15TLVDirectoryFileMethods.getEntry;
        reference.releaseEntry = p15TLVDirectoryFileMethods.releaseEntry;
        pkcs15_DirCachePut(&cache, &reference, record.data(), static_cast<uint32_t>(record.size()));
    }
};

void expect(bool holds, const char *what) {
    if (!holds)
        throw std::runtime_error(what);
}

void report_allocations(benchmark::State &state) {
    state.counters["allocations"] =
        static_cast<double>(bench::allocations().count) / static_cast<double>(state.iterations());
}

void cache_hit(benchmark::State &state) {
    Filled filled;
    uint8_t buffer[PKCS15_MAX_RECORD];
    bench::reset_allocations();
    for (auto _ : state) {
        uint32_t length = sizeof buffer;
        const uint32_t code = pkcs15_DirCacheGet(&filled.cache, &filled.reference, FLAG_USE_CACHE, buffer, &length);
        benchmark::DoNotOptimize(code);
    }
    report_allocations(state);
    expect(std::equal(filled.record.begin(), filled.record.end(), buffer), "no hit");
}
BENCHMARK(cache_hit);

void decode_alone(benchmark::State &state) {
    const Filled filled;
    const uint8_t *body = filled.record.data() + 2;
    const uint8_t *end = filled.record.data() + filled.record.size();
    bench::reset_allocations();
    for (auto _ : state) {
        void *object = nullptr;
        const uint8_t *position = private_keys.decoder(body, end, 0, &object, 0);
        benchmark::DoNotOptimize(position);
        private_keys.free(object);
    }
    report_allocations(state);
}
BENCHMARK(decode_alone);

/// Decodes the record through the cache and releases the object. There is no card: a miss would fail.
void get_entry_hit(benchmark::State &state) {
    Filled filled;
    uint32_t card_error = 0;
    bench::reset_allocations();
    for (auto _ : state) {
        void *object = nullptr;
        expect(pkcs15_ScGetDFEntry(0, &filled.context, &filled.reference, FLAG_USE_CACHE, &object, &card_error) == 0,
               "no hit");
        pkcs15_ScReleaseDFEntry(0, &filled.context, &filled.reference, RELEASE_DISCARD, object, &card_error);
    }
    report_allocations(state);
}
BENCHMARK(get_entry_hit);

}  // namespace

BENCHMARK_MAIN();

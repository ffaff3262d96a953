// Decoding and encoding of directory files of 32 KB, beside libtasn1 on the same octets. Both decode and release, both
// encode every object of the file; what either library made is checked, so that no failure is timed.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>

#include "allocations.h"
#include "directory_data.h"
#include "tasn1.h"
#include "token/pkcs15_types_functions.h"
#include "zelmop15/pkcs15.h"

namespace {

constexpr size_t file_size = 32768;

/// One kind of directory file, with the coders of both libraries.
struct Subject {
    const char *name;
    const char *tasn1_type;
    const P15TypeFunctions &functions;
    bench::DirectoryData data;
};

void expect(bool holds, const char *what) {
    if (!holds)
        throw std::runtime_error(what);
}

List *decode(const Subject &subject) {
    List *list = nullptr;
    const bench::Octets &octets = subject.data.octets;
    const uint8_t *end = octets.data() + octets.size();
    const uint8_t *position =
        pkcs15_DirectoryFile_d(octets.data(), end, subject.functions.decoder, subject.functions.free, &list, 0);
    expect(position == end, "the library does not decode the whole file");
    return list;
}

/// Whether the file holds as many objects as that. Octets are not compared: a condition is read in the published form
/// and written in another.
bool decodes_to(const Subject &subject, const bench::Octets &octets, int32_t count) {
    List *list = nullptr;
    const uint8_t *end = octets.data() + octets.size();
    pkcs15_DirectoryFile_d(octets.data(), end, subject.functions.decoder, subject.functions.free, &list, 0);
    const bool same = list != nullptr && List_len(list) == count;
    List_free(list, subject.functions.free);
    return same;
}

void report_allocations(benchmark::State &state) {
    state.counters["allocations"] =
        static_cast<double>(bench::allocations().count) / static_cast<double>(state.iterations());
}

void report_throughput(benchmark::State &state, const Subject &subject) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(subject.data.octets.size()));
}

void decode_here(benchmark::State &state, const Subject &subject) {
    bench::reset_allocations();
    for (auto _ : state)
        List_free(decode(subject), subject.functions.free);
    report_allocations(state);
    report_throughput(state, subject);
}

void encode_here(benchmark::State &state, const Subject &subject) {
    List *list = decode(subject);
    bench::Octets buffer(file_size);
    bench::reset_allocations();
    for (auto _ : state) {
        const uint32_t length = pkcs15_DirectoryFile_e(buffer.data(), list, subject.functions.encoder);
        benchmark::DoNotOptimize(length);
    }
    report_allocations(state);
    expect(decodes_to(subject, buffer, List_len(list)), "what the library encodes does not decode");
    List_free(list, subject.functions.free);
    report_throughput(state, subject);
}

void decode_tasn1(benchmark::State &state, const Subject &subject, const bench::Tasn1 &tasn1) {
    for (auto _ : state) {
        for (const auto &object : subject.data.objects) {
            asn1_node value = tasn1.decode(subject.tasn1_type, object);
            asn1_delete_structure(&value);
        }
    }
    report_throughput(state, subject);
}

void encode_tasn1(benchmark::State &state, const Subject &subject, const bench::Tasn1 &tasn1) {
    std::vector<asn1_node> values;
    bench::Octets buffer(file_size);
    for (const auto &object : subject.data.objects) {
        values.push_back(tasn1.decode(subject.tasn1_type, object));
        const size_t length = bench::Tasn1::encode(values.back(), buffer);
        expect(std::equal(object.begin(), object.end(), buffer.begin(), buffer.begin() + static_cast<long>(length)),
               "libtasn1 does not encode what it decoded");
    }
    for (auto _ : state)
        for (const asn1_node value : values)
            benchmark::DoNotOptimize(bench::Tasn1::encode(value, buffer));
    for (asn1_node &value : values)
        asn1_delete_structure(&value);
    report_throughput(state, subject);
}

/// Prints as usual and keeps the times, for the ratios.
class Keeper : public benchmark::ConsoleReporter {
  public:
    Keeper() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs)
            times_[run.run_name.function_name] = run.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }
    [[nodiscard]] double ratio(const std::string &task) const {
        return times_.at(task + "/libtasn1") / times_.at(task + "/zelmop15");
    }

  private:
    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char **argv) {
    const Subject subjects[] = {
        {"private_keys", "PKCS15.PrivateKeyType", token::P15TypesFunctions[PKCS15_PRIVATE_KEYS],
         bench::directory_data(0x4400, file_size)},
        {"certificates", "PKCS15.CertificateType", token::P15TypesFunctions[PKCS15_CERTIFICATES],
         bench::directory_data(0x4404, file_size)},
    };
    const bench::Tasn1 tasn1;
    std::vector<std::string> tasks;
    for (const Subject &subject : subjects) {
        const std::string decoding = std::string("decode/") + subject.name,
                          encoding = std::string("encode/") + subject.name;
        benchmark::RegisterBenchmark((decoding + "/zelmop15").c_str(), decode_here, subject);
        benchmark::RegisterBenchmark((decoding + "/libtasn1").c_str(),
                                     [&](benchmark::State &state) { decode_tasn1(state, subject, tasn1); });
        benchmark::RegisterBenchmark((encoding + "/zelmop15").c_str(), encode_here, subject);
        benchmark::RegisterBenchmark((encoding + "/libtasn1").c_str(),
                                     [&](benchmark::State &state) { encode_tasn1(state, subject, tasn1); });
        tasks.insert(tasks.end(), {decoding, encoding});
        std::printf("%s: %zu octets, %zu objects\n", subject.name, subject.data.octets.size(),
                    subject.data.objects.size());
    }
    benchmark::Initialize(&argc, argv);
    Keeper keeper;
    benchmark::RunSpecifiedBenchmarks(&keeper);
    for (const std::string &task : tasks)
        std::printf("%s: %.1f times as fast as libtasn1 %s\n", task.c_str(), keeper.ratio(task),
                    asn1_check_version(nullptr));
}

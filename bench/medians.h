// Comparisons between libraries: every task is repeated, in turn with the others, and its median counts.
#ifndef ZELMO_BENCH_MEDIANS_H
#define ZELMO_BENCH_MEDIANS_H

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// Prints as usual and keeps the medians.
class Medians : public benchmark::ConsoleReporter {
  public:
    Medians() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs)
            if (run.aggregate_name == "median")
                times_[run.run_name.function_name] = run.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }
    /// Runs what has been registered, as often as the command line says.
    void run(int argc, char **argv) {
        std::vector<char *> arguments(argv, argv + argc);
        std::string defaults[] = {"--benchmark_repetitions=9", "--benchmark_enable_random_interleaving=true",
                                  "--benchmark_report_aggregates_only=true"};
        for (std::string &option : defaults)
            arguments.insert(arguments.begin() + 1, option.data());
        auto count = static_cast<int>(arguments.size());
        benchmark::Initialize(&count, arguments.data());
        benchmark::RunSpecifiedBenchmarks(this);
    }
    /// Nanoseconds of a task; 0 when it has not run.
    [[nodiscard]] double of(const std::string &task) const {
        const auto found = times_.find(task);
        return found != times_.end() ? found->second : 0;
    }

  private:
    std::map<std::string, double> times_;
};

}  // namespace bench

#endif

#!/bin/sh
# Builds the benchmarks and runs them all: bench/run.sh [options of Google Benchmark, such as --benchmark_filter=decode]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${ZELMOP15_BENCH_BUILD:-$root/build/bench}
cmake --preset bench -S "$root" -B "$build" > /dev/null
cmake --build "$build" --target bench_token bench_codec bench_cache bench_hash bench_cipher bench_numbers bench_prime > /dev/null
for name in token codec cache hash cipher numbers; do
    printf '\n== %s\n' "$name"
    "$build/bin/bench_$name" --benchmark_counters_tabular=true "$@"
done
printf '\n== prime\n'
"$build/bin/bench_prime"

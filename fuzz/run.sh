#!/bin/sh
# Builds the fuzz targets and runs each for the given time, two at a time.
#
#   fuzz/run.sh SECONDS [TARGET ...]      all targets without a name; SECONDS 0 replays seeds and regressions alone
#
# Exit code 1 when there is a finding: the input is then in build/fuzz/findings, the output in build/fuzz/findings/*.log.
# To repeat one: build/fuzz/fuzz/TARGET FILE. A fixed finding goes to fuzz/regressions/TARGET/.
set -eu
seconds=${1:?usage: fuzz/run.sh SECONDS [TARGET ...]}
shift
root=$(cd "$(dirname "$0")/.." && pwd)
build=${ZELMOP15_FUZZ_BUILD:-$root/build/fuzz}
targets=${*:-fuzz_primitives fuzz_records fuzz_directory fuzz_token fuzz_answers fuzz_apdu fuzz_image \
    fuzz_script fuzz_pin_format fuzz_verify fuzz_x509 fuzz_signature fuzz_profile}

cmake --preset fuzz -S "$root" -B "$build" > /dev/null
# shellcheck disable=SC2086 # one argument a target
cmake --build "$build" --target $targets
python3 "$root/fuzz/make_corpus.py" "$build/seeds"
mkdir -p "$build/findings"

# A card may claim a certificate of 4 GB: room for it is asked for, but is no memory until something is read into it.
# What a target found in earlier runs stays in its corpus folder and is built upon.
one='
target=$1 seconds=$2 root=$3 build=$4
regressions=$root/fuzz/regressions/$target
mkdir -p "$build/corpus/$target"
[ -d "$regressions" ] || regressions=
log=$build/findings/$target.log
if [ "$seconds" = 0 ]; then limit=-runs=0; else limit=-max_total_time=$seconds; fi
if "$build/fuzz/$target" "$limit" -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=8192 -max_len=40000 -print_final_stats=1 \
    -artifact_prefix="$build/findings/$target-" "$build/corpus/$target" "$build/seeds/$target" $regressions \
    > "$log" 2>&1
then
    runs=$(sed -n "s/^stat::number_of_executed_units: *//p" "$log")
    echo "$target: no finding in $runs runs"
else
    echo "$target: FINDING, see $log"
    exit 1
fi'
export UBSAN_OPTIONS=print_stacktrace=1
# shellcheck disable=SC2086
printf '%s\n' $targets | xargs -P 2 -I TARGET sh -c "$one" sh TARGET "$seconds" "$root" "$build"

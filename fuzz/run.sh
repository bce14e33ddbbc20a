#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one for the given
# number of seconds (default 30) on its seed corpus.  New inputs go to the
# build directory, never into fuzz/corpus; a crash, leak, timeout or sanitizer
# report stops the script with a non-zero status and leaves the input under
# <build>/artifacts/<target>/.
#   fuzz/run.sh [seconds] [target...]      (KORLA_FUZZ_BUILD overrides the build dir)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-30}"
shift || true
build="${KORLA_FUZZ_BUILD:-build-fuzz}"
all=(load_yin read_yang validate_rpc validate_notif xpath range_decimal value_check pattern)
targets=("$@")
[ "${#targets[@]}" -eq 0 ] && targets=("${all[@]}")

CC=clang CXX=clang++ cmake -S . -B "$build" -DKORLA_BUILD_FUZZ=ON -DKORLA_BUILD_TESTS=OFF \
    -DKORLA_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target "${targets[@]/#/fuzz_}"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:halt_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}"
for t in "${targets[@]}"; do
    work="$build/corpus/$t"
    art="$build/artifacts/$t"
    mkdir -p "$work" "$art"
    echo "== fuzz_$t for ${seconds}s"
    "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
        -print_final_stats=1 -artifact_prefix="$art/" "$work" "fuzz/corpus/$t" \
        2>&1 | tee "$build/fuzz_$t.log" | grep -E "^(#[0-9]+.*(DONE|pulse))|stat::number_of_executed_units|ERROR|SUMMARY|runtime error" || true
    if ! grep -q "^Done [0-9]* runs" "$build/fuzz_$t.log" && ! grep -q "stat::number_of_executed_units" "$build/fuzz_$t.log"; then
        echo "fuzz_$t: no clean finish, see $build/fuzz_$t.log" >&2
        exit 1
    fi
    if grep -qE "ERROR: |runtime error:|SUMMARY: " "$build/fuzz_$t.log"; then
        echo "fuzz_$t: finding, see $build/fuzz_$t.log and $art" >&2
        exit 1
    fi
done

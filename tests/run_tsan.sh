#!/usr/bin/env bash
# Builds the tests with ThreadSanitizer and runs the concurrency tests; any
# race report fails the run.  Build directory: $1 (default build-tsan).
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build-tsan}"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORLA_TSAN=ON -DKORLA_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j2 --target korla_tests
# The test binary is not a PIE in some configurations; TSan needs its memory
# layout either way, so disable address-space randomisation when possible.
runner=()
if command -v setarch >/dev/null && setarch "$(uname -m)" -R true 2>/dev/null; then
    runner=(setarch "$(uname -m)" -R)
fi
log="$build/tsan.log"
status=0
TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" \
    "${runner[@]}" "$build/tests/korla_tests" --gtest_filter='*Concurrent*:*Thread*' 2>&1 | tee "$log" || status=$?
if grep -q "WARNING: ThreadSanitizer" "$log"; then
    echo "ThreadSanitizer report found" >&2
    exit 1
fi
exit "$status"

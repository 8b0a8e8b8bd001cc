#!/usr/bin/env bash
# Builds and runs every test. With --sanitize, the same tests under address, undefined
# and leak sanitizers, in a build folder of their own.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"

build="$root/build"
flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
if [ "${1:-}" = "--sanitize" ]; then
  build="$root/build-sanitize"
  flags=(-DCMAKE_BUILD_TYPE=Debug -DKORAD_SANITIZE=ON -DKORAD_BENCH=OFF)
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:strict_string_checks=1"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
fi

cmake -S "$root" -B "$build" "${flags[@]}" >/dev/null
cmake --build "$build" -j2
ctest --test-dir "$build" --output-on-failure -j2

#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one from its seed
# corpus for a bounded time. Fails on any crash, leak, timeout or sanitizer
# report. Usage: scripts/fuzz.sh [SECONDS_PER_TARGET]   (default 60)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
./scripts/install-deps.sh
CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTESSIK_BUILD_FUZZERS=ON -DTESSIK_WERROR=ON -DTESSIK_BUILD_TESTS=OFF -DTESSIK_BUILD_TOOLS=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc)"

status=0
for target in build-fuzz/fuzz/*_fuzz; do
  name="$(basename "$target")"
  seeds="fuzz/corpus/${name%_fuzz}"
  work="build-fuzz/corpus/${name%_fuzz}"
  mkdir -p "$work"
  echo "== $name for ${seconds}s (seeds: $seeds)"
  if ! ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 UBSAN_OPTIONS=halt_on_error=1 \
      "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
      -print_final_stats=1 -artifact_prefix="build-fuzz/$name-" "$work" "$seeds" \
      2>"build-fuzz/$name.log"; then
    echo "!! $name found a failure; see build-fuzz/$name.log"
    tail -n 40 "build-fuzz/$name.log"
    status=1
  else
    grep -E '^(stat::number_of_executed_units|stat::average_exec_per_sec|#[0-9]+ +DONE)' \
      "build-fuzz/$name.log" || true
  fi
done
exit "$status"

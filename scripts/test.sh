#!/usr/bin/env bash
# Installs what is missing, builds with AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Debug -DTESSIK_SANITIZE=ON -DTESSIK_WERROR=ON
cmake --build build -j"$(nproc)"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build --output-on-failure -j"$(nproc)"

#!/usr/bin/env bash
# Builds the tests with ThreadSanitizer and runs them: the library's, the
# clients' and the tool's (its concurrent review runner and reviewer tools).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSIK_TSAN=ON -DTESSIK_WERROR=ON >/dev/null
cmake --build build-tsan -j"$(nproc)" --target tessik_tests tessik_client_tests
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build-tsan --output-on-failure -j"$(nproc)" -E '^install'

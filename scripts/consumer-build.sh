#!/usr/bin/env bash
# Builds and tests the way a consumer or packager does: a plain Release
# configure with the defaults (no -Werror, no sanitizers), then every test.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake -S . -B build-consumer -DCMAKE_BUILD_TYPE=Release &&
  cmake --build build-consumer -j"$(nproc)" &&
  ctest --test-dir build-consumer --output-on-failure -j"$(nproc)"

#!/usr/bin/env bash
# Installs what is missing, builds tessik-agents in release mode and reviews
# the example change in examples/ with the four built-in agents, answering
# each from the reply recorded for it in examples/replies/.
#
# The recorded replies give one error verdict on purpose, so the tool exits
# with status 1; this script reports that and succeeds. JOBS sets the build
# parallelism (default: all processors).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DTESSIK_BUILD_TESTS=OFF >/dev/null
cmake --build build-release -j"${JOBS:-$(nproc)}" --target tessik-agents >/dev/null
echo "\$ tessik-agents review --diff examples/change.diff --replies examples/replies --shared examples/shared.json"
status=0
./build-release/tools/tessik-agents review --diff examples/change.diff \
  --replies examples/replies --shared examples/shared.json || status=$?
if [ "$status" -eq 1 ]; then
  echo
  echo "exit status 1: at least one agent gave an error verdict, as the recorded replies intend."
  exit 0
fi
exit "$status"

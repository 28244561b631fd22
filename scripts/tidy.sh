#!/usr/bin/env bash
# Runs clang-tidy (checks in .clang-tidy) over the library and the tool, using
# the compile commands of the sanitized build that scripts/test.sh makes.
# Prints every warning and fails if there is one.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/compile_commands.json ] || ./scripts/test.sh
out=$(run-clang-tidy -p build -j"$(nproc)" -quiet "^$PWD/(core|tools)/" 2>/dev/null | sed 's/\x1b\[[0-9;]*m//g')
warnings=$(grep -E '^/.*(warning|error):' <<<"$out" | sort -u || true)
if [ -n "$warnings" ]; then
  echo "$warnings"
  exit 1
fi
echo "clang-tidy: no warnings in core/ and tools/"

#!/usr/bin/env bash
# Installs the Debian packages the build, tests, benchmarks and fuzzers need.
# Idempotent: does nothing when every package is present, and runs
# `apt-get update` only when something has to be installed.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  libyaml-dev libpcre2-dev libssl-dev libicu-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang clang-format clang-tidy libclang-rt-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
echo "installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"

#!/usr/bin/env bash
# Installs the Debian packages the build, tests, benchmarks and fuzzers need.
# Idempotent: does nothing when every package is present, and runs
# `apt-get update` only when something has to be installed.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  libyaml-dev libpcre2-dev libssl-dev libicu-dev nlohmann-json3-dev libsimdjson-dev
  libcurl4-openssl-dev python3 python3-jsonschema
  libgtest-dev libgmock-dev libbenchmark-dev
  libgit2-dev libcli11-dev
  clang clang-format clang-tidy libclang-rt-dev
)

missing=()
for p in "${packages[@]}"; do
  # Read the status whole: a pipe into `grep -q` could fail under pipefail
  # when grep exits early. A package installed for several architectures
  # prints one status per instance.
  status=$(dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null || true)
  if [[ $status != *"install ok installed"* ]]; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "install-deps: missing packages (${missing[*]}) and not root; install them or run as root" >&2
    exit 1
  fi
  sudo="sudo"
fi
echo "installing: ${missing[*]}"
$sudo apt-get update -qq
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"

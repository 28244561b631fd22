#!/usr/bin/env bash
# Installs the library into temporary prefixes, builds the consumer program
# against each installed package with CMake and with pkg-config, and checks
# that it loads the installed built-in agents.
#
#   run.sh SOURCE_DIR BUILD_DIR [CXXFLAGS] [LDFLAGS]
#
# Two installs are checked:
#   - BUILD_DIR itself (the build under test, whatever its library type and
#     sanitizers; CXXFLAGS/LDFLAGS carry its sanitizer flags to the consumer).
#     The consumer is placed in the prefix's bin/, the way the surrounding
#     program is installed, so that a static library finds its agents too.
#   - a shared, unsanitized build of its own, whose prefix is moved after the
#     consumer was built: the library must find its agents at the new place.
set -euo pipefail

src=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
cxxflags=${3:-}
ldflags=${4:-}
names=$'corvin\nhesper\nperegrin\nwynn'

work=$(mktemp -d "${TMPDIR:-/tmp}/tessik-install.XXXXXX")
trap 'rm -rf "$work"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# Builds the consumer against the package in PREFIX, once through CMake and
# once through pkg-config, into OUT_DIR/consumer-cmake and
# OUT_DIR/consumer-pkgconfig.
build_consumers() {
  local prefix=$1 out=$2
  mkdir -p "$out"
  cmake -S "$src/tests/install" -B "$work/consumer-build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS="$cxxflags" \
    -DCMAKE_EXE_LINKER_FLAGS="$ldflags" >"$work/log" 2>&1 || { cat "$work/log"; fail "consumer configure"; }
  cmake --build "$work/consumer-build" >"$work/log" 2>&1 || { cat "$work/log"; fail "consumer build"; }
  cp "$work/consumer-build/consumer" "$out/consumer-cmake"
  rm -rf "$work/consumer-build"

  local pc
  pc=$(find "$prefix" -name tessik_agents.pc -print -quit)
  [ -n "$pc" ] || fail "no tessik_agents.pc under $prefix"
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$pc")
  local libdir static=()
  libdir=$(pkg-config --variable=libdir tessik_agents)
  [ -e "$libdir/libtessik_agents.a" ] && static=(--static)
  # shellcheck disable=SC2046,SC2086
  c++ -std=c++20 $cxxflags "$src/tests/install/consumer.cpp" -o "$out/consumer-pkgconfig" \
    $(pkg-config --cflags tessik_agents) $ldflags \
    $(pkg-config --libs "${static[@]}" tessik_agents) -Wl,-rpath,"$libdir" ||
    fail "consumer build with pkg-config"
  unset PKG_CONFIG_PATH
}

# Runs one consumer and checks that it read the agents installed in PREFIX.
check_consumer() {
  local exe=$1 prefix=$2 out err rc=0
  out=$("$exe" 2>"$work/stderr") || rc=$?
  [ "$rc" -eq 0 ] || { cat "$work/stderr"; fail "$exe exited with $rc"; }
  err=$(cat "$work/stderr")
  [ -z "$err" ] || fail "$exe wrote to stderr: $err"
  local dir=${out%%$'\n'*}
  dir=${dir#agents_dir=}
  [ "$dir" = "$(cd "$prefix" && pwd -P)/share/tessik_agents/agents" ] ||
    fail "$exe read its agents from '$dir', not from the package in $prefix"
  [ "${out#*$'\n'}" = "$names" ] || fail "$exe printed unexpected agents: ${out#*$'\n'}"
  echo "ok: $exe"
}

# The build under test.
cmake --install "$build" --prefix "$work/tree" --component tessik_agents >/dev/null
build_consumers "$work/tree" "$work/tree/bin"
check_consumer "$work/tree/bin/consumer-cmake" "$work/tree"
check_consumer "$work/tree/bin/consumer-pkgconfig" "$work/tree"

# A shared library in a prefix that moves after the consumers were built.
# Configured like the build under test as far as the optional parts go, but
# only the library is built and installed.
bench=$(sed -n 's/^TESSIK_BUILD_BENCH:BOOL=//p' "$build/CMakeCache.txt")
cmake -S "$src" -B "$work/shared-build" -DCMAKE_BUILD_TYPE=Debug -DBUILD_SHARED_LIBS=ON \
  -DTESSIK_BUILD_TESTS=OFF -DTESSIK_BUILD_TOOLS=OFF -DTESSIK_BUILD_BENCH="${bench:-OFF}" \
  >"$work/log" 2>&1 || { cat "$work/log"; fail "shared configure"; }
cmake --build "$work/shared-build" --target tessik_agents -j2 >"$work/log" 2>&1 ||
  { cat "$work/log"; fail "shared build"; }
cmake --install "$work/shared-build" --prefix "$work/shared" --component tessik_agents >/dev/null
cxxflags=""
ldflags=""
build_consumers "$work/shared" "$work/consumers"
mv "$work/shared" "$work/moved"
libdir=$(dirname "$(find "$work/moved" -name 'libtessik_agents.so' -print -quit)")
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
check_consumer "$work/consumers/consumer-cmake" "$work/moved"
check_consumer "$work/consumers/consumer-pkgconfig" "$work/moved"

#!/usr/bin/env bash
# Installs the library into temporary prefixes, builds the consumer programs
# against each installed package with CMake and with pkg-config, and checks
# that the core consumer loads the installed built-in agents and that the
# clients consumer uses the installed HTTP clients.
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
  cp "$work/consumer-build/clients_consumer" "$out/clients-consumer-cmake"
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
  # shellcheck disable=SC2046,SC2086
  c++ -std=c++20 $cxxflags "$src/tests/install/clients_consumer.cpp" \
    -o "$out/clients-consumer-pkgconfig" $(pkg-config --cflags tessik_clients) $ldflags \
    $(pkg-config --libs "${static[@]}" tessik_clients) -Wl,-rpath,"$libdir" ||
    fail "clients consumer build with pkg-config"
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

# Runs one clients consumer, which prints "ok" and nothing else.
check_clients_consumer() {
  local exe=$1 out rc=0
  out=$("$exe" 2>"$work/stderr") || rc=$?
  [ "$rc" -eq 0 ] || { cat "$work/stderr"; fail "$exe exited with $rc"; }
  [ -z "$(cat "$work/stderr")" ] || fail "$exe wrote to stderr: $(cat "$work/stderr")"
  [ "$out" = "ok" ] || fail "$exe printed: $out"
  echo "ok: $exe"
}

# Only the public headers are installed: no detail/ folder, and each header
# compiles on its own with nothing but the installed include directory.
check_headers() {
  local prefix=$1 inc=$1/include
  local leaked
  leaked=$(cd "$inc" && find . -path '*/detail*' -print)
  [ -z "$leaked" ] || fail "detail headers were installed: $leaked"
  ! grep -rl 'namespace detail' "$inc" >/dev/null || fail "installed headers declare detail names"
  local h
  while IFS= read -r h; do
    echo "#include <${h#"$inc/"}>" | c++ -std=c++20 -fsyntax-only -x c++ -I"$inc" - ||
      fail "installed header ${h#"$inc/"} does not compile on its own"
  done < <(find "$inc" -name '*.hpp' | sort)
  echo "ok: $(find "$inc" -name '*.hpp' | wc -l) public headers, none of them detail"
}

# The build under test.
cmake --install "$build" --prefix "$work/tree" --component tessik_agents >/dev/null
check_headers "$work/tree"
[ -f "$work/tree/share/tessik_agents/agent-definition.schema.json" ] ||
  fail "the definition-file schema was not installed"
[ -f "$work/tree/share/tessik_agents/review-config.schema.json" ] ||
  fail "the configuration-file schema was not installed"
build_consumers "$work/tree" "$work/tree/bin"
check_consumer "$work/tree/bin/consumer-cmake" "$work/tree"
check_consumer "$work/tree/bin/consumer-pkgconfig" "$work/tree"
check_clients_consumer "$work/tree/bin/clients-consumer-cmake"
check_clients_consumer "$work/tree/bin/clients-consumer-pkgconfig"

# A shared library in a prefix that moves after the consumers were built.
# Configured like the build under test as far as the optional parts go, but
# only the library is built and installed.
bench=$(sed -n 's/^TESSIK_BUILD_BENCH:BOOL=//p' "$build/CMakeCache.txt")
cmake -S "$src" -B "$work/shared-build" -DCMAKE_BUILD_TYPE=Debug -DBUILD_SHARED_LIBS=ON \
  -DTESSIK_BUILD_TESTS=OFF -DTESSIK_BUILD_TOOLS=OFF -DTESSIK_BUILD_BENCH="${bench:-OFF}" \
  >"$work/log" 2>&1 || { cat "$work/log"; fail "shared configure"; }
cmake --build "$work/shared-build" --target tessik_agents tessik_clients -j2 >"$work/log" 2>&1 ||
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
check_clients_consumer "$work/consumers/clients-consumer-cmake"
check_clients_consumer "$work/consumers/clients-consumer-pkgconfig"

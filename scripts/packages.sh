# Sourced by the other scripts: makes sure that the packages of Debian 12 that the project needs are there.

# What builds and runs the library and qlinks. libtbb-dev and libfontconfig-dev are named by the CMake files of
# Open CASCADE, whose packages do not ask for them.
build_packages=(
  g++ cmake ninja-build ccache pkg-config git
  libboost-dev libocct-ocaf-dev libocct-data-exchange-dev libtbb-dev libfontconfig-dev
  libsqlite3-dev libcli11-dev nlohmann-json3-dev libfmt-dev
)
# What the tests need besides.
test_packages=(
  clang libgtest-dev libgmock-dev librapidcheck-dev python3 binutils abigail-tools
)

# What the benchmarks need besides; valgrind counts instructions.
bench_packages=(
  libbenchmark-dev valgrind
)

# require_packages NAME...: installs those that are missing. Asks for no network when none is.
require_packages() {
  local missing=() package
  for package in "$@"; do
    if ! dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed; then
      missing+=("$package")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return
  fi
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null || ! sudo -n true 2>/dev/null; then
      echo "missing packages, and neither root nor sudo to install them: apt-get install ${missing[*]}" >&2
      exit 2
    fi
    as_root=(sudo -n)
  fi
  echo "installing ${missing[*]}"
  local log
  log=$(mktemp)
  # The lists of packages are fetched only where those at hand do not do.
  if ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1; then
    if ! { "${as_root[@]}" apt-get update &&
           "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
      tail -n 5 "$log" >&2
      echo "the packages could not be installed; look at the network and the package sources, or run: apt-get install ${missing[*]}" >&2
      rm -f "$log"
      exit 2
    fi
  fi
  rm -f "$log"
}

# build PRESET TESTS: configures and builds in build/PRESET, with the tests (ON) or without (OFF); prints the compiler's
# words only where it fails.
build() {
  local preset=$1 tests=$2 log
  mkdir -p build
  log=build/$preset.log
  echo "building ($preset, output in $log)"
  if ! { cmake --preset "$preset" -DQPD_BUILD_TESTS="$tests" && cmake --build --preset "$preset"; } >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "the build failed; the whole output is in $log" >&2
    exit 1
  fi
}

# build_core PRESET [STEP_READER]: the library and its tests, in build/core_PRESET, without the host; with the reader of
# STEP files that another build made, what the host reads files with as well. Else as build.
build_core() {
  local preset=$1 dir=build/core_$1 host=(-DQPD_BUILD_HOST=OFF)
  if [ $# -gt 1 ]; then
    host=(-DQPD_BUILD_HOST=ON -DQPD_STEP_READER="$PWD/$2")
  fi
  mkdir -p build
  echo "building the library and its tests ($preset, output in $dir.log)"
  if ! { cmake --preset "$preset" -B "$dir" "${host[@]}" && cmake --build "$dir"; } >"$dir.log" 2>&1; then
    tail -n 40 "$dir.log" >&2
    echo "the build failed; the whole output is in $dir.log" >&2
    exit 1
  fi
}

# gtest_programs DIR: the GoogleTest programs among the tests that were built there, one on a line.
gtest_programs() {
  ctest --test-dir "$1" --show-only=json-v1 | python3 -c '
import json, sys
commands = [test.get("command", []) for test in json.load(sys.stdin)["tests"]]
print("\n".join(sorted({c[0] for c in commands if any(a.startswith("--gtest_filter") for a in c)})))'
}

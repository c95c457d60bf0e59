#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# One command for a fresh Debian 12 machine: installs the Debian packages that are missing, builds,
# then runs the demo (./setup.sh demo [demo options]) or every test (./setup.sh test); ./setup.sh docs
# builds the API reference.
set -euo pipefail
cd "$(dirname "$0")"

what=${1:-demo}
shift || true

packages=(cmake ninja-build g++ pkg-config ccache
          qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite qt6-tools-dev libgl-dev
          libsqlite3-dev libpugixml-dev dpkg-dev file poppler-utils clang libclang-rt-14-dev
          libpq-dev postgresql-15 mdbtools-dev libmdb3 mdbtools doxygen abigail-tools
          xvfb xauth dbus-daemon at-spi2-core)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# Every clone compiles the same sources: ccache keys on paths relative to the clone, so that a fresh
# clone reuses what an earlier one compiled.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1

build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build"

case "$what" in
  demo)
    exec "$build/examples/demo/brennvox10-demo" "$@" ;;
  test)
    ctest --test-dir "$build" --output-on-failure "$@"
    # The same suites again under AddressSanitizer and UndefinedBehaviorSanitizer: a memory error
    # that happens not to crash is still a failure. SANITIZE=0 skips this pass.
    if [ "${SANITIZE:-1}" != 0 ]; then
      san="-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined"
      cmake -S . -B "$build-sanitize" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBRENNVOX10_BUILD_BENCH=OFF -DBRENNVOX10_BUILD_DOCS=OFF \
        -DCMAKE_CXX_FLAGS="$san" -DCMAKE_EXE_LINKER_FLAGS="$san" -DCMAKE_SHARED_LINKER_FLAGS="$san" >/dev/null
      cmake --build "$build-sanitize"
      ctest --test-dir "$build-sanitize" --output-on-failure "$@"
    fi
    # The rows read ahead (and packed) on the engine's thread while the caller stores them, from SQLite
    # and from PostgreSQL, under ThreadSanitizer:
    # a race that happens not to corrupt anything is still a failure. TSAN=0 skips this pass.
    if [ "${TSAN:-1}" != 0 ]; then
      ts="-fsanitize=thread -fno-omit-frame-pointer"
      cmake -S . -B "$build-tsan" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBRENNVOX10_BUILD_DEMO=OFF \
        -DBRENNVOX10_BUILD_BENCH=OFF -DBRENNVOX10_BUILD_DESIGNER=OFF -DBRENNVOX10_BUILD_DOCS=OFF \
        -DCMAKE_CXX_FLAGS="$ts" -DCMAKE_EXE_LINKER_FLAGS="$ts" -DCMAKE_SHARED_LINKER_FLAGS="$ts" >/dev/null
      cmake --build "$build-tsan" --target tst_readAhead
      # The suite starts a PostgreSQL server: its child processes only exec the server's programs.
      TSAN_OPTIONS="halt_on_error=1 die_after_fork=0 suppressions=$PWD/tests/support/tsan.supp" \
        ctest --test-dir "$build-tsan" --output-on-failure -R '^tst_readAhead$'
    fi
    # What reads outside input, against libFuzzer for FUZZ_SECONDS each (0 skips), from the seeds in
    # fuzz/corpus; what it finds new goes to a scratch folder, a crash stops the run.
    if [ "${FUZZ_SECONDS:-20}" != 0 ]; then
      fz="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined"
      cmake -S . -B "$build-fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBRENNVOX10_FUZZ=ON \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DBRENNVOX10_BUILD_DEMO=OFF \
        -DBRENNVOX10_BUILD_BENCH=OFF -DBRENNVOX10_BUILD_DESIGNER=OFF -DBUILD_TESTING=OFF -DBRENNVOX10_BUILD_DOCS=OFF \
        -DCMAKE_CXX_FLAGS="$fz" -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
      cmake --build "$build-fuzz" --target fuzzers
      for target in definition connection cell filter pgdialect jetsql lexer; do
        # In the build folder, so that a run stopped by a crash leaves nothing elsewhere.
        found="$build-fuzz/found/$target"
        rm -rf "$found" && mkdir -p "$found"
        # A crash leaves its input in the fuzz build folder, to become a regression seed.
        QT_QPA_PLATFORM=offscreen "$build-fuzz/fuzz/fuzz_$target" -max_total_time="${FUZZ_SECONDS:-20}" \
          -artifact_prefix="$build-fuzz/" -print_final_stats=1 "$found" "fuzz/corpus/$target" 2>&1 | tail -3
        rm -rf "$found"
      done
    fi ;;
  docs)
    # The API reference, from the public headers' doc comments and docs/reference (Doxygen).
    cmake --build "$build" --target docs
    echo "API reference: $PWD/$build/docs/html/index.html" ;;
  bench)
    # All take the same options (--rows, --paths, --reps, --dir); --paths letters name each one's own paths.
    export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
    "$build/bench/bench_loadlist" "$@"
    "$build/bench/bench_interaction" "$@"
    # The demo host driven by mouse and keyboard over a million invoices: a table of its steps' times.
    DEMO_HOST_ROWS=1000000 "$build/examples/demo/tst_demo_host" -silent
    "$build/bench/bench_filter" "$@"
    # Each Jet fixture's tables, cold and warm, beside mdb-export.
    exec "$build/bench/bench_jet" ;;
  *)
    echo "usage: $0 demo|test|bench|docs [options]" >&2; exit 2 ;;
esac

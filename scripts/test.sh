#!/usr/bin/env bash
# Builds and runs the whole test suite: once normally, once under AddressSanitizer and
# UndefinedBehaviorSanitizer, each against SQLite and a PostgreSQL cluster started on loopback;
# then each fuzz target for a short fixed time (scripts/fuzz.sh; TARVO_FUZZ_SECONDS per target).
set -euo pipefail
cd "$(dirname "$0")/.."
"./scripts/bootstrap.sh"
jobs=$(nproc)
pgdir=$(mktemp -d /tmp/tarvo-pg.XXXXXX)
port=$(( 20000 + RANDOM % 20000 ))
trap 'scripts/pg-cluster.sh stop "$pgdir"' EXIT
export TARVO_TEST_PG=$(scripts/pg-cluster.sh start "$pgdir" "$port")
echo "test: PostgreSQL on 127.0.0.1:$port"

run() {  # run BUILD_DIR [cmake options...]
  local dir=$1; shift
  # Ninja compiles the test programs while the library links; a build folder made earlier keeps
  # the generator it was made with.
  local generator=()
  [ -f "$dir/CMakeCache.txt" ] || ! command -v ninja >/dev/null || generator=(-G Ninja)
  cmake -S . -B "$dir" "${generator[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVO_BUILD_BENCH=OFF "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  (cd "$dir" && ctest --output-on-failure -j"$jobs" --timeout 300)
}
# Line tables only: a failure's backtrace still names files and lines, and writing full debug
# information for every test file is a quarter of its compile time.
run build -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG"
if [ "${TARVO_SKIP_SANITIZERS:-0}" != 1 ]; then
  # -O1 with line tables only: the sanitizers find the same faults and the build takes far less time.
  UBSAN_OPTIONS=print_stacktrace=1 LSAN_OPTIONS=suppressions=$PWD/fuzz/lsan.supp run build-asan -DTARVO_SANITIZE=ON \
    -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG" -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG"
fi
if [ "${TARVO_SKIP_FUZZ:-0}" != 1 ]; then
  "./scripts/fuzz.sh" "${TARVO_FUZZ_SECONDS:-15}"
fi

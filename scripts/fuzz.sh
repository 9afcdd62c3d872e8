#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/, clang with ASan and UBSan) and runs each for a fixed time
# from its seed corpus in fuzz/corpus/<target>. A crash, a leak, undefined behaviour, a hang
# (an input running longer than 10 s) or a memory blow-up ends the script with an error and
# leaves the input in build-fuzz/artifacts/.
#   scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]     (default: 15 s, every target)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-15}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(driver_reader data_file fixed_width placeholders)

dir=build-fuzz
cmake -S fuzz -B "$dir" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
if [ $# -gt 0 ]; then
  for t in "${targets[@]}"; do cmake --build "$dir" -j"$(nproc)" --target "${t}_fuzz"; done
else
  cmake --build "$dir" -j"$(nproc)"
fi

mkdir -p "$dir/artifacts"
# Each libFuzzer run is one process on one core: the targets run side by side, one per core,
# each for the full time.
fuzz_one() {  # fuzz_one TARGET: leaves the exit status in $dir/TARGET.status
  local t=$1 work status=0
  work=$(mktemp -d "/tmp/tarvo-fuzz-$t.XXXXXX")
  ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=suppressions=$PWD/fuzz/lsan.supp UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$dir/${t}_fuzz" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=16384 \
    -print_final_stats=1 -artifact_prefix="$dir/artifacts/$t-" "$work" "fuzz/corpus/$t" \
    >"$dir/$t.log" 2>&1 || status=$?
  rm -rf "$work"
  echo "$status" >"$dir/$t.status"
}
parallel=$(nproc)
running=0
for t in "${targets[@]}"; do
  if [ "$running" -ge "$parallel" ]; then wait -n || true; running=$((running - 1)); fi
  echo "fuzz: $t for ${seconds}s"
  fuzz_one "$t" &
  running=$((running + 1))
done
wait
failed=0
for t in "${targets[@]}"; do
  echo -n "fuzz: $t: "
  grep -E '^stat::(number_of_executed_units|new_units_added)' "$dir/$t.log" | tr '\n' ' ' || true
  echo
  status=$(cat "$dir/$t.status")
  if [ "$status" -ne 0 ]; then
    tail -n 60 "$dir/$t.log"
    echo "fuzz: $t FAILED (exit $status); input in $dir/artifacts/" >&2
    failed=1
  fi
done
[ "$failed" -eq 0 ] || exit 1
echo "fuzz: ok"

#!/usr/bin/env bash
# Runs every fuzz target of a build for a fixed time each, one after the other.
#
#   scripts/run-fuzzers.sh BUILD_DIR [SECONDS]
#
# The committed seeds (tests/fuzz/corpus/<target>) are read, never written: new inputs go to a
# working corpus, a temporary one unless VXTRACE_FUZZ_WORKDIR names a directory to keep them
# in across runs. FUZZ_TARGETS="fuzz_decode ..." restricts the targets. Any crash, leak,
# sanitizer report, time-out or broken invariant fails the script; the input that caused it is
# left in BUILD_DIR/fuzz-artifacts/ for a regression test.
set -euo pipefail

if [ $# -lt 1 ]; then
  echo "usage: $0 BUILD_DIR [SECONDS]" >&2
  exit 2
fi
build=$(cd "$1" && pwd)
seconds=${2:-30}
root=$(cd "$(dirname "$0")/.." && pwd)

targets=()
if [ -n "${FUZZ_TARGETS:-}" ]; then
  read -r -a targets <<<"$FUZZ_TARGETS"
else
  for bin in "$build"/tests/fuzz/fuzz_*; do
    [ -x "$bin" ] && [ -f "$bin" ] && targets+=("$(basename "$bin")")
  done
fi
if [ ${#targets[@]} -eq 0 ]; then
  echo "run-fuzzers: no fuzz targets in $build/tests/fuzz (configure with -DVXTRACE_FUZZ=ON)" >&2
  exit 1
fi

artifacts="$build/fuzz-artifacts"
mkdir -p "$artifacts"
if [ -n "${VXTRACE_FUZZ_WORKDIR:-}" ]; then
  workroot=$VXTRACE_FUZZ_WORKDIR
  mkdir -p "$workroot"
else
  workroot=$(mktemp -d)
  trap 'rm -rf "$workroot"' EXIT
fi

# Leaks count as findings; the first sanitizer report ends the run.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

failed=()
for target in "${targets[@]}"; do
  bin="$build/tests/fuzz/$target"
  seeds="$root/tests/fuzz/corpus/$target"
  work="$workroot/$target"
  mkdir -p "$work"
  log="$artifacts/$target.log"
  dirs=("$work")
  [ -d "$seeds" ] && dirs+=("$seeds")
  echo "run-fuzzers: $target for ${seconds}s"
  set +e
  "$bin" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -use_value_profile=1 -artifact_prefix="$artifacts/$target-" "${dirs[@]}" >"$log" 2>&1
  rc=$?
  set -e
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 || true)
  if [ $rc -ne 0 ]; then
    echo "run-fuzzers: $target FAILED (exit $rc); log: $log" >&2
    grep -E '^(==[0-9]+==|==vxfuzz==|SUMMARY|.*runtime error|artifact_prefix|Test unit written)' \
      "$log" | head -n 40 >&2 || true
    failed+=("$target")
  else
    echo "run-fuzzers: $target ok: ${runs:-?} runs, ${speed:-?} exec/s, ${cov:-cov: ?}"
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "run-fuzzers: findings in: ${failed[*]}" >&2
  exit 1
fi

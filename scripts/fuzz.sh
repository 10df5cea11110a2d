#!/usr/bin/env bash
# Builds the libFuzzer targets (preset fuzz: clang, AddressSanitizer, UndefinedBehaviorSanitizer)
# and runs each for a fixed time, two at a time, from the corpus the project makes itself.
#   ./scripts/fuzz.sh [SECONDS [RUNS [TARGET...]]]
# SECONDS per target (default 60); RUNS caps the executions (default: no cap). Inputs
# that crash are written to build/fuzz/crashes/ and make the script fail. The corpus grows
# in build/fuzz/corpus/ from one run to the next. When ../shared/corpus is present, the
# SR-4731 targets also read it (never write to it).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
runs=${2:-0}
shift $(( $# > 2 ? 2 : $# ))
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(sor_file sor_inspect trace_file read_trace ktr_session ktr_file_table ktr_record)

./scripts/setup.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target tarnvik_fuzz_all

out=build/fuzz
rm -rf "$out/corpus-start" "$out/logs"
mkdir -p "$out/corpus" "$out/crashes" "$out/logs"
"$out/fuzz/tarnvik-fuzz-corpus" "$out/corpus-start"

run_one() {
  local t=$1
  local extra=()
  case $t in
    sor_file | sor_inspect) extra+=(-dict=fuzz/sor.dict) ;;
  esac
  mkdir -p "$out/corpus/$t"
  local inputs=("$out/corpus/$t" "$out/corpus-start/$t")
  case $t in
    sor_file | sor_inspect | read_trace) [ -d ../shared/corpus ] && inputs+=(../shared/corpus) ;;
  esac
  [ -d "tests/fuzz_regressions/$t" ] && inputs+=("tests/fuzz_regressions/$t")
  # A 1 KB file must never make the library allocate 256 MB, nor take 10 s.
  "$out/fuzz/fuzz_$t" -max_total_time="$seconds" -runs="$runs" -timeout=10 -malloc_limit_mb=256 \
    -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$out/crashes/$t-" "${extra[@]}" "${inputs[@]}" \
    >"$out/logs/$t.log" 2>&1
}
[ "$runs" -gt 0 ] || runs=-1

failed=0
pids=()
names=()
for t in "${targets[@]}"; do
  run_one "$t" &
  pids+=($!)
  names+=("$t")
  if [ ${#pids[@]} -ge 2 ]; then
    wait "${pids[0]}" || { echo "fuzz_${names[0]}: FAILED (see $out/logs/${names[0]}.log)"; failed=1; }
    pids=("${pids[@]:1}")
    names=("${names[@]:1}")
  fi
done
for i in "${!pids[@]}"; do
  wait "${pids[$i]}" || { echo "fuzz_${names[$i]}: FAILED (see $out/logs/${names[$i]}.log)"; failed=1; }
done

# One line per target: executions, edges covered, corpus size.
for t in "${targets[@]}"; do
  stats=$(grep -E '^#[0-9]+.*(DONE|cov:)' "$out/logs/$t.log" | tail -1 || true)
  execs=$(grep -oE 'stat::number_of_executed_units: [0-9]+' "$out/logs/$t.log" | grep -oE '[0-9]+$' || echo "?")
  printf '%-16s %12s execs  %s\n' "$t" "$execs" "$(echo "$stats" | grep -oE 'cov: [0-9]+ ft: [0-9]+ corp: [0-9]+/[0-9A-Za-z]+' || true)"
done
if [ "$failed" -ne 0 ]; then
  ls -l "$out/crashes" >&2
  exit 1
fi

#!/usr/bin/env bash
# Tarnvik.dll under 64-bit Wine, as a client installs and uses it: registered with
# regsvr32 in a fresh prefix, its ProgIDs in the registry, the script suite (suite.vbs)
# under cscript, the compiled client (tests/com/client) against the simulated KTR 915 on
# COM5, then unregistered, its ProgIDs, classes and type library gone from the registry.
#
# Usage: run_com_tests.sh WINDOWS_BUILD_DIR NATIVE_SIMULATOR SAMPLE.sor
# Exits 0 when every step passed, 77 (skipped) without a simulator, 1 otherwise.
set -uo pipefail

build=$(realpath "$1")
simulator=${2:-}
sample=$(realpath "$3")
here=$(dirname "$(realpath "$0")")

if [[ -z $simulator ]]; then
  echo "SKIPPED: no simulator for the download: configure with" \
       "-DTARNVIK_NATIVE_SIMULATOR=<the native build's tools/ktr915sim/tarnvik-ktr915-sim>"
  exit 77
fi

dll=$build/interface/com/Tarnvik.dll
client=$build/tests/com/ComClient.exe
idl=$build/interface/com/generated/Tarnvik.idl
for f in "$simulator" "$dll" "$client" "$idl" "$sample"; do
  [[ -f $f ]] || { echo "FAILED: missing $f"; exit 1; }
done

export WINEPREFIX=$build/com-wine-prefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
work=$build/com-work
failures=0
fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}
# A host path as Wine's Z: drive shows it.
windows() { local p=${1//\//\\}; echo "Z:$p"; }
elapsed() { echo "$(( $(date +%s%N) / 1000000 - start_ms )) ms"; }

simulator_pid=
cleanup() {
  if [[ -n $simulator_pid ]]; then
    kill "$simulator_pid" 2>/dev/null
    wait "$simulator_pid" 2>/dev/null
  fi
  wineserver -k 2>/dev/null
}
trap cleanup EXIT

# The classes the server registers (its creatable coclasses) and the type library.
mapfile -t classes < <(awk '/^  \[uuid\(/ { attrs = $0 } /^  coclass / && attrs !~ /noncreatable/ {
  match(attrs, /uuid\([^)]*\)/); print $2, substr(attrs, RSTART + 5, RLENGTH - 6) }' "$idl")
library_id=$(sed -n 's/^\[uuid(\([^)]*\)).*/\1/p' "$idl" | head -n 1)
(( ${#classes[@]} > 0 )) && [[ -n $library_id ]] || { echo "FAILED: no classes in $idl"; exit 1; }

# Prints "present KEY" or "absent KEY" for each registry key the server writes, queried
# by reg.exe from one batch file (one Wine process instead of one a key).
registry_state() {
  local batch=$work/keys.bat
  {
    echo "@echo off"
    for entry in "${classes[@]}"; do
      read -r name clsid <<<"$entry"
      for key in "HKCR\\Tarnvik.$name" "HKCR\\CLSID\\{$clsid}"; do
        echo "reg query \"$key\" >nul 2>&1"
        echo "if errorlevel 1 (echo absent $key) else (echo present $key)"
      done
    done
    echo "reg query \"HKCR\\TypeLib\\{$library_id}\" >nul 2>&1"
    echo "if errorlevel 1 (echo absent TypeLib) else (echo present TypeLib)"
  } | sed 's/$/\r/' >"$batch"
  wine cmd /c "$(windows "$batch")" 2>/dev/null | tr -d '\r'
}
expect_registry() {
  local want=$1 state wrong
  state=$(registry_state)
  wrong=$(grep -vc "^$want " <<<"$state")
  if (( $(wc -l <<<"$state") != 2 * ${#classes[@]} + 1 || wrong > 0 )); then
    fail "registry keys not $want:"
    grep -v "^$want " <<<"$state" | head -n 10
  else
    echo "ok: ${#classes[@]} classes' ProgID and CLSID keys and the type library $want"
  fi
}

# The closing line of a client's output must be "N passed, 0 failed" with N >= minimum.
expect_all_passed() {
  local what=$1 minimum=$2 output=$3 last
  last=$(tr -d '\r' <<<"$output" | grep -v '^$' | tail -n 1)
  echo "$what: $last"
  if [[ ! $last =~ ^([0-9]+)\ passed,\ 0\ failed$ ]] || (( BASH_REMATCH[1] < minimum )); then
    fail "$what did not pass all of at least $minimum checks:"
    tr -d '\r' <<<"$output" | grep -v "passed, .* failed$"
  fi
}

start_ms=$(( $(date +%s%N) / 1000000 ))
rm -rf "$WINEPREFIX" "$work"
mkdir -p "$work"
if ! wine wineboot -i >/dev/null 2>&1; then
  echo "FAILED: wineboot -i could not make the prefix $WINEPREFIX"
  exit 1
fi
echo "ok: fresh prefix in $(elapsed)"

installed=$WINEPREFIX/drive_c/Tarnvik
mkdir -p "$installed"
cp "$dll" "$installed/"
if wine regsvr32 /s 'C:\Tarnvik\Tarnvik.dll' >/dev/null 2>&1; then
  echo "ok: registered"
else
  fail "regsvr32 could not register Tarnvik.dll"
fi
expect_registry present

output=$(wine cscript //nologo "$(windows "$here/suite.vbs")" "$(windows "$sample")" "$(windows "$work")" 2>&1)
expect_all_passed "suite.vbs" 50 "$output"
echo "  ($(elapsed))"

"$simulator" "$sample" --synthetic 2 --samples 500 --reply-delay 2 >"$work/simulator.out" 2>"$work/simulator.err" &
simulator_pid=$!
for _ in $(seq 100); do
  [[ -s $work/simulator.out ]] && break
  sleep 0.1
done
pty=$(head -n 1 "$work/simulator.out")
if [[ $pty != /dev/* ]]; then
  fail "the simulator printed no device: $(cat "$work/simulator.err")"
else
  ln -sfn "$pty" "$WINEPREFIX/dosdevices/com5"
  output=$(wine "$client" "$(windows "$sample")" "$(windows "$work")" 5 2>&1)
  status=$?
  expect_all_passed "ComClient" 40 "$output"
  (( status == 0 )) || fail "ComClient exited with $status"
fi
kill "$simulator_pid" 2>/dev/null
wait "$simulator_pid" 2>/dev/null
simulator_pid=
echo "  ($(elapsed))"

if wine regsvr32 /s /u 'C:\Tarnvik\Tarnvik.dll' >/dev/null 2>&1; then
  echo "ok: unregistered"
else
  fail "regsvr32 /u could not unregister Tarnvik.dll"
fi
expect_registry absent

echo "COM tests: $failures failure(s) in $(elapsed)"
(( failures == 0 ))

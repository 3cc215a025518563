#!/usr/bin/env bash
# The command line tool on the built library and the virtual VCI.
# vci_test.sh SOURCE_FOLDER BUILD_FOLDER
set -uo pipefail
PASSBRIDGE_BUILD=$(dirname "$2")
preset=$(basename "$2")
. "$1/scripts/lib.sh"
. "$1/scripts/virtual-vci.sh"
unset PASSBRIDGE_LIBRARY
# LeakSanitizer crashes on the thread-local storage of libraries that were loaded at run time.
export LSAN_OPTIONS=use_tls=0:print_suppressions=0
tool=$(tool_of "$preset") || exit 1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
vci=(--serial 4711 --interface usb)
failures=0

complain() {
  printf 'FAILED: %s\n' "$*" >&2
  head -n 20 "$work/out" | sed 's/^/  out: /' >&2
  sed 's/^/  err: /' "$work/err" >&2
  failures=$((failures + 1))
}

# expect STATUS ARGUMENT...: runs the tool.
expect() { expect_of "$tool" "$@"; }
# expect_of PROGRAM STATUS ARGUMENT...
expect_of() {
  local program=$1 wanted=$2 status=0
  shift 2
  with_virtual_vci "$preset" "$program" "$@" >"$work/out.crlf" 2>"$work/err.crlf" || status=$?
  tr -d '\r' <"$work/out.crlf" >"$work/out"
  tr -d '\r' <"$work/err.crlf" >"$work/err"
  [ "$status" -eq "$wanted" ] || complain "$*: exit status $status instead of $wanted"
}
says() { grep -qE -- "$2" "$work/$1" || complain "nothing in $1 matches $2"; }
# only PATTERN COUNT: so many lines, and all of them match.
only() {
  [ "$(grep -cE -- "$1" "$work/out")" -eq "$2" ] && [ "$(wc -l <"$work/out")" -eq "$2" ] ||
    complain "not $2 lines of $1"
}

check_info() {
  expect 0 info "${vci[@]}"
  says out '^firmware    2\.  3\.  4$'
  says out '^DLL       [0-9]+\.[0-9]+\.[0-9]+$'
  says out '^API       04\.04$'
  says out '^battery   12\.60 V$'
}
check_info
case $preset in
  windows-*) ;;
  *) PASSBRIDGE_LIBRARY=$(dirname "$(library_of "$preset")")/libpassbridge_u32.so check_info ;;
esac

expect 1 info --serial 99 --interface usb
says err '^passbridge: PassThruOpen failed: ERR_DEVICE_NOT_CONNECTED \(0x08\): \('
expect 1 monitor "${vci[@]}" --bitrate 4 --seconds 1
says err '^passbridge: PassThruConnect failed: ERR_'

expect 0 monitor "${vci[@]}" --count 40
only '^\([0-9]{10}\.[0-9]{6}\) can0 (100|110|1A0)#[0-9A-F]{8,16}$' 40
sort -c "$work/out" 2>/dev/null || complain "time goes backwards"
says err '^40 frames in '
expect 0 monitor "${vci[@]}" --29bit --count 2
only ' can0 18FEF100#' 2
expect 0 monitor "${vci[@]}" --id 18FEF100 --id 110 --seconds 1
says out ' can0 18FEF100#'
says out ' can0 110#'
! grep -qE ' can0 (100|1A0)#' "$work/out" || complain "a frame that was not asked for"

expect 0 send "${vci[@]}" 7E0#02010C0000000000 --expect 7E8
only ' can0 7E8#04410C[0-9A-F]{10}$' 1
expect 1 send "${vci[@]}" 7E0#02010C0000000000 --expect 7EF --wait 300
says err '^passbridge: no answer from 7EF within 300 ms$'
expect 0 obd "${vci[@]}" --to 7E0 --wait 2000 engine-speed coolant
only '^7E8  (engine speed: [0-9]+ rpm|coolant temperature: -?[0-9]+ degC)$' 2
expect 0 obd "${vci[@]}" --wait 1000 speed
only '^7E[89]  vehicle speed: [0-9]+ km/h$' 2

# With --virtual the tool needs no settings, heeds none, and leaves none.
# expect_virtual STATUS ARGUMENT...
expect_virtual() {
  local wanted=$1 status=0
  shift
  mkdir -p "$work/home/.config"
  case $preset in
    windows-*) run_under_wine "${preset#windows-}" "$tool" --virtual "$@" ;;
    *) env -u XDG_CONFIG_DIRS -u XDG_CONFIG_HOME -u XDG_RUNTIME_DIR HOME="$work/home" "$tool" --virtual "$@" ;;
  esac >"$work/out.crlf" 2>"$work/err.crlf" || status=$?
  tr -d '\r' <"$work/out.crlf" >"$work/out"
  tr -d '\r' <"$work/err.crlf" >"$work/err"
  [ "$status" -eq "$wanted" ] || complain "--virtual $*: exit status $status instead of $wanted"
}
case $preset in
  windows-*)
    run_under_wine "${preset#windows-}" reg delete 'HKLM\SOFTWARE\QUARN\QUARN_VCI\PDU API Support' /f >/dev/null 2>&1 ;;
esac
settings=$(dirname "$tool")/virtual_settings
[ ! -d "$settings" ] || find "$settings" >"$work/settings"
expect_virtual 0 info
says out '^battery   12\.60 V$'
expect_virtual 0 monitor --count 10
only ' can0 (100|110|1A0)#' 10
expect_virtual 0 monitor --protocol can-ps --pins 6,14 --count 10
only ' can0 (100|110|1A0)#' 10
expect_virtual 0 isotp 7DF#0902 --functional
only '^7E[89]#490201565643[0-9A-F]{28}$' 2
expect_virtual 0 isotp 7E0#36"$(printf '%0200d' 0)"  # several frames there, too
only '^7E8#7F3624$' 1
expect_virtual 0 obd vin faults
says out '^7E8  VIN: VVC1234567N000001$'
says out '^7E8  stored fault codes: P0301 P0420$'
says out '^7E9  stored fault codes: P0700$'
expect_virtual 0 obd --json --to 7E1 supported permanent-faults speed
only '^\{"answers":\[\{"ecu":"7E9","name":"supported","value":\["0D"\]\},\{"ecu":"7E9","name":"permanent-faults","value":\["P0700"\]\},\{"ecu":"7E9","name":"speed","value":[0-9]+,"unit":"km/h"\}\]\}$' 1
expect_virtual 0 init --protocol iso9141
only '^key bytes  0808$' 1
expect_virtual 0 init --fast --address 10
only '^(response   83F110C1E98FBD|key bytes  E98F)$' 2
expect_virtual 1 init --address 44
says err '^passbridge: no five-baud initialisation at address 44: '
expect_virtual 0 obd --protocol iso9141 vin
only '^11  VIN: VVC1234567N000001$' 1
for bus in j1850vpw j1850pwm; do
  expect_virtual 0 obd --protocol "$bus" faults
  only '^10  stored fault codes: P0301 P0420$' 1
done
expect_virtual 0 send --protocol j1850vpw '68 6A F1 03' --expect 486B
only ' j1850vpw 48 6B 10 43 03 01 04 20 00 00$' 1
expect_virtual 0 send --protocol sci-b-trans --sci-mode 10 --wait 300
only ' sci-b-trans 0B 27 FE$' 1
expect_virtual 0 send --protocol gm-uart-ps --pins 9 --become-master F0 F4570100 --expect F4
only ' gm-uart-ps F4 58 01 13 42$' 1
expect_virtual 0 send --protocol sw-can-ps --pins 1 --high-voltage 100#
expect_virtual 1 isotp 242#22F190 --answer 642 --protocol sw-iso15765-ps --pins 1 --wait 300
expect_virtual 0 isotp 242#22F190 --answer 642 --protocol sw-iso15765-ps --pins 1 --high-voltage
only '^642#62F190' 1
VIRTUAL_VCI_SCENARIO=$1/examples/keyword_ecu.json
case $preset in windows-*) VIRTUAL_VCI_SCENARIO=$(as_windows_path "$VIRTUAL_VCI_SCENARIO") ;; esac
export VIRTUAL_VCI_SCENARIO
expect_virtual 0 obd --protocol auto faults
only '^10  stored fault codes: P0301$' 1
says err '^trying ISO 9141, five-baud initialisation: no answer$'
says err '^trying ISO 14230, five-baud initialisation: answered$'
unset VIRTUAL_VCI_SCENARIO
expect_virtual 0 obd --watch --count 2 --to 7E1
says out $'^\x1b\\[1A\x1b\\[J7E9  vehicle speed: '
case $preset in
  windows-*)
    ! run_under_wine "${preset#windows-}" reg query 'HKCU\Software' | grep -q passbridge_virtual ||
      complain "a key of --virtual is left" ;;
  *)
    [ -z "$(find "$work/home" -mindepth 2)" ] || complain "--virtual wrote settings of the user"
    find "$settings" | cmp -s - "$work/settings" || complain "--virtual wrote settings of its own" ;;
esac

# No dialog where there is no screen, and then no VCI. Wine has dialogs without one, that never end.
case $preset in
  windows-*) ;;
  *)
    unset DISPLAY WAYLAND_DISPLAY
    expect_virtual 1 explorer
    says err '^passbridge: no VCI was chosen: PassThruOpen failed: ERR_DEVICE_NOT_CONNECTED'
    # Where there is a program that shows it, the command alone starts it, also if no VCI is the only one on USB.
    if [ -x "$(dirname "$(library_of "$preset")")/passbridge-device-explorer" ]; then
      printf '#!/bin/sh\necho "$WAYLAND_DISPLAY" >"%s/asked"\n' "$work" >"$work/explorer"
      chmod +x "$work/explorer"
      export DISPLAY=:0 PASSBRIDGE_DEVICE_EXPLORER=$work/explorer VIRTUAL_VCI_SCENARIO=$1/examples/many_vcis.json
      expect_virtual 1 info
      [ ! -e "$work/asked" ] || complain "info asks the user"
      expect_virtual 1 explorer
      [ -e "$work/asked" ] || complain "explorer does not ask the user"
      XDG_RUNTIME_DIR=$work WAYLAND_DISPLAY=wayland-7 "$tool" --virtual explorer >/dev/null 2>&1
      grep -qx "$work/wayland-7" "$work/asked" || complain "the dialog's program does not find the screen"
      unset DISPLAY PASSBRIDGE_DEVICE_EXPLORER VIRTUAL_VCI_SCENARIO
    fi ;;
esac

# An application that closes nothing ends all the same, and quietly.
library=$(library_of "$preset")
case $preset in windows-*) library=$(as_windows_path "$library") ;; esac
expect_of "$(built_file "$preset" tests/tools '' leaves_open .exe '')" 0 "$library"
only '^leaving$' 1
[ ! -s "$work/err" ] || complain "something in err"

if [ "$failures" -gt 0 ]; then exit 1; fi

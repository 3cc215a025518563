#!/usr/bin/env bash
# The command line tool as a process: exit statuses, streams, signals, the search for its library.
# process_test.sh FAKE_LIBRARY FOREIGN_LIBRARY LIBRARY_FILE [LAUNCHER...] EXECUTABLE
#   FAKE_LIBRARY    a J2534 library without a vehicle
#   FOREIGN_LIBRARY a library that is there but no J2534 library
#   LIBRARY_FILE    file name of the Passbridge library
set -uo pipefail
fake=$1 foreign=$2 library_file=$3
shift 3
launcher=("${@:1:$#-1}")
tool=${!#}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset PASSBRIDGE_LIBRARY
failures=0

complain() {
  printf 'FAILED: %s\n' "$*" >&2
  sed 's/^/  out: /' "$work/out" >&2
  sed 's/^/  err: /' "$work/err" >&2
  failures=$((failures + 1))
}

# expect STATUS ARGUMENT...: runs the tool.
expect() {
  local wanted=$1 status=0
  shift
  "${launcher[@]}" "$tool" "$@" >"$work/out" 2>"$work/err" || status=$?
  [ "$status" -eq "$wanted" ] || complain "$*: exit status $status instead of $wanted"
}
says() { grep -qF -- "$2" "$work/$1" || complain "no \"$2\" in $1"; }
silent() { [ ! -s "$work/$1" ] || complain "something in $1"; }

expect 1 --library "$work/none.so" info
says err "passbridge: cannot load the J2534 library"
says err none.so
silent out
expect 1 --library "$0" info
says err "passbridge: cannot load the J2534 library"
expect 1 --library "$foreign" info
says err "is no J2534 library: it does not export PassThruOpen"

expect 105 --library "$fake" send 7E0
silent out
expect 106 --library "$fake"
expect 0 --version
says out "passbridge "
silent err

expect 0 --library "$fake" info
says out "API       04.04"
PASSBRIDGE_LIBRARY=$fake expect 0 info
says out "API       04.04"

# A product configuration needs no library.
printf '[MGR]\ndevice_label = Reader\n' >"$work/plain.ini"
(
  cd "$work" || exit 1
  PASSBRIDGE_LIBRARY=none expect 0 product-config encrypt plain.ini sealed.ini
  PASSBRIDGE_LIBRARY=none expect 0 product-config show sealed.ini
  tr -d "\r" <out | cmp - plain.ini || complain "not what was enciphered"
  ! grep -q device_label sealed.ini || complain "not enciphered"
  expect 1 product-config show plain.ini
  says err "plain.ini is no product configuration, or damaged"
  silent out
  expect 1 product-config encrypt none.ini sealed.ini
  says err "cannot read none.ini"
  expect 1 product-config encrypt plain.ini none/sealed.ini
  says err "cannot write none/sealed.ini"
  expect 106 product-config
  exit "$failures"
) || failures=$((failures + $?))

# Without a name the library is the one of the installation: beside the program, or in ../lib.
mkdir -p "$work/bin" "$work/lib"
cp "$tool" "$work/bin/"
cp "$fake" "$work/lib/$library_file"
original=$tool
tool=$work/bin/$(basename "$tool")
expect 0 info
says out "API       04.04"
mv "$work/lib/$library_file" "$work/bin/"
expect 0 info
tool=$original

# monitor_in GROUP: the process of that group that monitors. It is the newest that says so: 64-bit Wine starts a 32-bit
# program through another one with the same arguments. Without any it is the first of the group.
monitor_in() {
  local stat line fields found=$1 pid
  for stat in /proc/[0-9]*/stat; do
    { read -r line <"$stat"; } 2>/dev/null || continue
    read -ra fields <<<"${line##*) }"
    pid=${stat//[!0-9]/}
    if [ "${fields[2]}" = "$1" ] && [ "$pid" -gt "$found" ] && grep -qsa monitor "/proc/$pid/cmdline"; then found=$pid; fi
  done
  echo "$found"
}

# ends_on SIGNAL: a monitor that would run for ever.
ends_on() {
  local pid status=0 waited=0
  : >"$work/out"  # what the last one printed is not waited for
  set -m  # a group of its own; and else the shell has the program ignore SIGINT
  "${launcher[@]}" "$tool" --library "$fake" monitor >"$work/out" 2>"$work/err" &
  pid=$!
  set +m
  until grep -q 100#0102 "$work/out" || [ $((++waited)) -gt 200 ]; do sleep 0.1; done
  kill -s "$1" "$(monitor_in "$pid")"
  wait "$pid" || status=$?
  [ "$status" -eq 0 ] || complain "exit status $status after $1"
  says err "2 frames in "
}
ends_on INT
# Wine ends a program on SIGTERM before the program can see it.
[ ${#launcher[@]} -gt 0 ] || ends_on TERM

if [ "$failures" -gt 0 ]; then exit 1; fi

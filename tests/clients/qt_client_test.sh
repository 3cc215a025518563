#!/usr/bin/env bash
# Qt's CAN tools with their pass-thru plug-in: canbusutil lists the bus, and a Qt program sends and is answered.
# qt_client_test.sh CANBUSUTIL QT_CLIENT
set -euo pipefail
device="$PASSBRIDGE_LIBRARY%J2534-2:SN='4711' CXN='USB'"

# Not -q, which would end before canbusutil has written all.
"$1" -L | grep passthrucan >/dev/null || { echo "no plug-in for pass-thru" >&2; exit 1; }

frames=$(timeout 30 "$1" -l -t -i passthrucan "$device" | head -n 20 || true)
printf '%s\n' "$frames"
count=$(grep -cE '^ +[0-9]+\.[0-9]+ +- - - +(100|110|1A0|18FEF100) +\[[48]\] ( [0-9A-F]{2}){4,8} *$' <<<"$frames" || true)
[ "$count" -eq 20 ] || { echo "only $count of 20 lines are frames of the bus" >&2; exit 1; }

answer=$("$2" "$device")
printf '%s\n' "$answer"
grep -qE '^ *7E8 +\[8\]  04 41 0C( [0-9A-F]{2}){5}$' <<<"$answer" || { echo "no answer from 7E8" >&2; exit 1; }

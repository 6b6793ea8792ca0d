#!/bin/sh
# Runs in the guest: reports.sh ROUNDS STRACE PROGRAM
# As enumerate.sh: "figure reports" and "trace reports". Only the thread that reads is traced, not those of the device.
# Seven rounds, since the library learns in the first ones; the last one counts.
set -eu -o pipefail
rounds=$1 strace=$2 program=$3

"$program" "$rounds" | sed "s|^|figure reports |"
"$strace" -qq -o trace "$program" 7 >/dev/null
# As if there were several threads, so that one reader serves all traces.
sed "s|^|trace reports 1 |" trace

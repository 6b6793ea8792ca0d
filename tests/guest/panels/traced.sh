#!/bin/sh
# Runs in the guest: traced.sh STRACE PROGRAM TIMES
# Each line of the program's output behind "output", each of its system calls behind "trace".
set -eu -o pipefail
"$1" -f -y -qq -o trace "$2" "$3" | sed "s|^|output |"
sed "s|^|trace |" trace

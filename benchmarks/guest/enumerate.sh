#!/bin/sh
# Runs in the guest, with NODES report nodes there: enumerate.sh NODES STRACE LIBRARY HIDAPI FLOOR FOLDER
# FOLDER has our library of hidapi's interface, with which the program of HIDAPI runs once more.
# Prints what the programs print, each line behind "figure enumerate NODES PROGRAM", and their system calls behind
# "trace enumerate NODES PROGRAM", from a run of their own.
set -eu -o pipefail
nodes=$1 strace=$2 library=$3 hidapi=$4 floor=$5 folder=$6

measure() { # NAME PROGRAM
    for process in 1 2 3; do
        "$2" 1 | sed "s|^|figure enumerate $nodes $1 |"
    done
}

trace() { # NAME PROGRAM TIMES
    "$strace" -f -y -qq -o trace "$2" "$3" >/dev/null
    sed "s|^|trace enumerate $nodes $1 |" trace
}

measure library "$library"
measure hidapi "$hidapi"
LD_LIBRARY_PATH=$folder measure interface "$hidapi"
measure floor "$floor"
trace library "$library" 1
LD_LIBRARY_PATH=$folder trace interface "$hidapi" 1
trace floor "$floor" 0
# Hundreds of calls a node, whatever their number: tracing more than a few takes minutes.
[ "$nodes" -gt 10 ] || trace hidapi "$hidapi" 0

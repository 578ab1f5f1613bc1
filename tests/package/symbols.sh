#!/usr/bin/env bash
# symbols.sh DLL        prints what the library exports to programs, readable and sorted
# symbols.sh DLL LIST   fails when a symbol of the list is not exported any more, when one is exported that the list does not
#                       have, or when the library loads a DLL at every program's start that it did not before.
#                       `./dev symbols` writes the list anew.
set -euo pipefail
export LC_ALL=C
tools=x86_64-w64-mingw32
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

# Not what the compiler makes for standard classes, nor what of the inner namespace no public header names: that is for the
# tool and the tests.
exported() {
    "$tools-objdump" -p "$1" | sed -n '/\[Ordinal\/Name Pointer\]/,/^$/s/^\t\[ *[0-9]*\] //p' | "$tools-c++filt" | sort -u |
        awk 'NR == FNR { named[$0]; next }
             /^typeinfo.* for std::/ { next }
             match($0, /^NorvikLibInternal::[A-Za-z0-9_]+/) && !(substr($0, 20, RLENGTH - 19) in named) { next }
             { print }' <(cat "$root"/{JRCmn,IPC,Shared}/*.h | tr -cs 'A-Za-z0-9_' '\n' | sort -u) -
}

# user32, winmm, dbghelp and their like are bound on demand (Cmn_DynamicLibrary.h).
allowed_imports='kernel32 libgcc_s_seh-1 libstdc++-6 libwinpthread-1 msvcrt mswsock ws2_32'

dll=$1
if [ $# = 1 ]; then
    exported "$dll"
    exit
fi

rc=0
missing=$(comm -23 "$2" <(exported "$dll"))
if [ -n "$missing" ]; then
    printf 'Programs that were built with an earlier version miss these symbols. If that is meant, write the list anew\nwith ./dev symbols, and raise the version:\n%s\n' "$missing"
    rc=1
fi
# Without optimisation a constant that all programs have as a value is exported, too.
unlisted=$(comm -13 "$2" <(exported "$dll" | grep -Fxv 'Cmn_BasicString<char>::kMaxLength'))
if [ -n "$unlisted" ]; then
    printf 'These symbols are exported and not listed, so that one could vanish unnoticed. Add them with ./dev symbols:\n%s\n' "$unlisted"
    rc=1
fi
imports=$("$tools-objdump" -p "$dll" | sed -n 's/^\tDLL Name: \(.*\)\.dll$/\1/Ip' | tr A-Z a-z | sort -u)
added=$(comm -13 <(tr ' ' '\n' <<<"$allowed_imports") - <<<"$imports")
if [ -n "$added" ]; then
    printf 'Every program loads these DLLs at its start now; bind what few need with DynamicFunction:\n%s\n' "$added"
    rc=1
fi
exit $rc

#!/usr/bin/env bash
# consumer.sh BUILD COMPILER BOOST WINE: installs the build into a folder of its own, builds tests/consumer with nothing
# but that folder and Boost's headers, by CMake and by the one command of docs/using.md, and runs both.
set -euo pipefail
build=$1 compiler=$2 boost=$3 wine=$4
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../consumer" && pwd)
work=$build/package
installed=$work/installed

fail() { printf 'consumer: %s\n' "$*" >&2; exit 1; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "$1 failed"; }; }
windows_path() { echo "Z:${1//\//\\}"; }

# run_program NAME: with the installed DLLs, and a root folder of its own.
run_program() {
    local root=$work/$1-root output log
    output=$(NORVIKLIB_ROOT=$(windows_path "$root") WINEPATH=$(windows_path "$installed/bin") \
        "$wine" "$work/$1/Consumer.exe" | tr -d '\r') || fail "$1: the program ends with code $?"
    [ "$output" = "$expected" ] || fail "$1: printed"$'\n'"$output"$'\n'"instead of"$'\n'"$expected"
    log=$(cat "$root"/Logs/*.log)
    [[ $log == *"The consumer runs with library $version."* ]] || fail "$1: no trace in the log:"$'\n'"$log"
    [[ $log == *"'text.IsEmpty()' failed in "*"Consumer.cpp("* ]] || fail "$1: no report in the log:"$'\n'"$log"
}

rm -rf "$work"
mkdir -p "$work/by-cmake" "$work/by-hand"
quietly cmake --install "$build" --prefix "$installed"

version=$("$wine" "$installed/bin/norvik.exe" --version | sed 's/^norvik //')
expected="text: library $version
timer
message: over TCP
discovery: -65563"

quietly cmake -G Ninja -S "$source" -B "$work/by-cmake" -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$installed" -DBoost_INCLUDE_DIR="$boost"
quietly cmake --build "$work/by-cmake"
run_program by-cmake

command=("$compiler" -std=c++20 -I "$installed/include" -isystem "$boost" "$source/Consumer.cpp")
quietly "${command[@]}" -DBOOST_ASIO_HAS_PTHREADS=1 -o "$work/by-hand/Consumer.exe" \
    "$installed/lib/libNorvikLib.dll.a" -lws2_32 -lmswsock
run_program by-hand

# Who forgets the definition is told by the compiler, not by a crash.
"${command[@]}" -E -o /dev/null 2>"$work/log" && fail "Boost.Asio's threads are not those of the library"
grep -q "BOOST_ASIO_HAS_PTHREADS=1" "$work/log" || { cat "$work/log"; fail "another error than expected"; }

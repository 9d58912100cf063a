#!/bin/sh
# Builds the client that uses reflection alone, with a linker that drops what
# seems not needed, and asks whether it knows the messages.
# Usage: reflection_only.sh LIBDIR OUTPUT known|unknown COMPILER [OPTION...]
set -eu
libdir=$1 output=$2 expected=$3 compiler=$4
shift 4
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# The options of the case come last, so that they win over --as-needed.
# shellcheck disable=SC2046 # a list of options
"$compiler" "$(dirname "$0")/reflection_only.cc" -o "$output" -std=c++11 \
  -Wl,--as-needed "$@" $(pkg-config --cflags --libs schema)
LD_LIBRARY_PATH="$libdir" "$output" "$expected"

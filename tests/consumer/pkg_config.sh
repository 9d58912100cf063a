#!/bin/sh
# Builds the client with one bare compiler line, and runs it.
# Usage: pkg_config.sh LIBDIR OUTPUT COMPILER [OPTION...]
set -eu
libdir=$1 output=$2
shift 2
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046 # a list of options
"$@" "$(dirname "$0")/program.cc" -o "$output" \
  $(pkg-config --cflags --libs schema)
LD_LIBRARY_PATH="$libdir" "$output"

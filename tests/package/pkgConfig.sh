#!/bin/sh
# SPDX-License-Identifier: MIT
# Usage: pkgConfig.sh COMPILER SOURCE LIBDIR --shared|--static
# Builds the consumer with what pkg-config says of the installed tree, and runs it.
set -e
export PKG_CONFIG_PATH="$3/pkgconfig" LD_LIBRARY_PATH="$3"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
static=
if [ "$4" = --static ]; then
   static=--static
fi
# The flags are words: they are to be split.
# shellcheck disable=SC2046
"$1" -std=c++17 "$2" $(pkg-config $static --cflags --libs tslutil) -o "$work/consumer"
"$work/consumer"

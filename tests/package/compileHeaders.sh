#!/bin/sh
# SPDX-License-Identifier: MIT
# Usage: compileHeaders.sh INCLUDE
# Compiles each installed header alone, twice included, as C++17 and C++20 with g++ and clang++.
set -e
cd "$1"
warnings="-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror"
find tslutil -name '*.h' | while read -r header; do
   for compiler in "g++" "clang++"; do
      for standard in c++17 c++20; do
         echo "$header" $compiler $standard
      done
   done
done | xargs -P "$(nproc)" -n 3 sh -c '
   printf "#include \"%s\"\n#include \"%s\"\n" "$1" "$1" | "$2" -x c++ -std="$3" -fsyntax-only -I. '"$warnings"' - ||
      { echo "$1 does not compile alone: $2 -std=$3" >&2; exit 255; }' sh

#!/bin/sh
# SPDX-License-Identifier: MIT
# Usage: install.sh CMAKE BUILD PREFIX     lays the installed tree anew
set -e
rm -rf "$3"
"$1" --install "$2" --prefix "$3"

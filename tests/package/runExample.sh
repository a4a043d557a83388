#!/bin/sh
# SPDX-License-Identifier: MIT
# Usage: runExample.sh PROGRAM EXPECTED     77, and why, if there can be no network of its own for it
# The example uses the usual port, so it runs in a network of its own, where nothing else can.
inside='ip link set lo up && exec "$0"'
if ! unshare --net true 2>/dev/null; then
   echo "skipped: no network namespaces here"
   exit 77
fi
[ "$(unshare --net sh -c "$inside" "$1")" = "$2" ]

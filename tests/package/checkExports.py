#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Usage: checkExports.py LIBRARY: fails if the library exports a symbol that is not of its interface."""
import re
import subprocess
import sys

# The free functions of the interface whose names do not begin with Dt.
FREE = ("NTErrorString", "setFileOutput", "closeConsole", "printHexToStream", "checkRtiCompilerVersion")
ABOUT = r"(vtable|VTT|typeinfo|typeinfo name|guard variable|(non-)?virtual thunk|covariant return thunk)"
OWN = re.compile(
    rf"^({ABOUT} (for|to) )?Dt\w*(<.*>)?(::.*|\(.*|\[abi.*)?$"
    rf"|^construction vtable for Dt\w*-in-Dt\w*$"
    rf"|^operator\W.*\bDt\w+.*$"
    rf"|^({'|'.join(FREE)})\(.*$"
)

listing = subprocess.run(["nm", "-DC", "--defined-only", sys.argv[1]], check=True, capture_output=True, text=True)
symbols = [line.split(None, 2)[2] for line in listing.stdout.splitlines()]
foreign = [symbol for symbol in symbols if not OWN.match(symbol)]
print(f"{len(symbols)} symbols, {len(foreign)} of them foreign", *foreign, sep="\n   ")
sys.exit(1 if foreign or not symbols else 0)

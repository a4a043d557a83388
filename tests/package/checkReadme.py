#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Usage: checkReadme.py SOURCE: fails unless the first program in README.md is the one that is built."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
shown = re.search(r"```cpp\n(.*?)```", (root / "README.md").read_text(), re.S).group(1)
built = (root / "examples/first.cpp").read_text().split("\n", 1)[1]
if shown != built:
    print("README.md shows another first program than examples/first.cpp, which is, below its first line:", built, sep="\n")
    sys.exit(1)

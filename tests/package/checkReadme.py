#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Usage: checkReadme.py SOURCE INCLUDE COMPILER...: fails unless the first program in README.md is the one that is built, all
other C++ in it compiles with tslutil.h alone, and every public header is named."""
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(sys.argv[1])
readme = (root / "README.md").read_text()
shown, *examples = re.findall(r"```cpp\n(.*?)```", readme, re.S)
built = (root / "examples/first.cpp").read_text().split("\n", 1)[1]
if shown != built:
    sys.exit("README.md shows another first program than examples/first.cpp, which is, below its first line:\n" + built)

unnamed = [header.stem for header in (root / "tslutil").glob("*/tsl*.h") if f"`{header.stem}`" not in readme]
if unnamed:
    sys.exit(f"README.md names no family {unnamed}")

functions = "".join(f"void example{number}()\n{{\n{text}}}\n" for number, text in enumerate(examples))
command = [*sys.argv[3:], "-std=c++17", "-fsyntax-only", "-I", sys.argv[2], "-xc++", "-"]
unit = '#include "tslutil/tslutil.h"\n' + functions
sys.exit(subprocess.run(command, input=unit, text=True).returncode)

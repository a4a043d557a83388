#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Usage: checkUmbrella.py INCLUDE: fails unless tslutil/tslutil.h includes every installed header, once, in order."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
umbrella = root / "tslutil/tslutil.h"
included = re.findall(r'^#include (\S+)', umbrella.read_text(), re.M)
wanted = sorted(f'"{header.relative_to(root)}"' for header in root.rglob("*.h") if header != umbrella)
if included != wanted:
    print("tslutil.h is to include exactly these:", *(f"#include {name}" for name in wanted), sep="\n")
    sys.exit(1)

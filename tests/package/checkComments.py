#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Usage: checkComments.py INCLUDE: fails if a public header leaves a class, an enumeration or a function without a
comment. A comment speaks for all declarations that follow it without an empty line between, and for the
specializations of a template that it explains."""
import pathlib
import re
import sys

TYPE = re.compile(r"^(class|struct|enum)\s+(TSLUTIL_EXPORT\s+)?\w+[^;<]*$")
FUNCTION = re.compile(r"^(\[\[.*\]\]\s*)?TSLUTIL_EXPORT\b.*\(")


def uncommented(lines):
    covered = False
    for number, line in enumerate(lines, 1):
        stripped = line.strip()
        if stripped.startswith("//"):
            covered = True
        elif not stripped:
            covered = False
        elif (TYPE.match(line) or FUNCTION.match(line)) and not covered:
            yield number, stripped


found = 0
for header in sorted(pathlib.Path(sys.argv[1]).rglob("tsl*.h")):
    if header.name in ("tslutil.h", "tslutilExport.h"):
        continue
    for number, line in uncommented(header.read_text().splitlines()):
        print(f"{header}:{number}: no comment says what this is for: {line}")
        found += 1
sys.exit(1 if found else 0)

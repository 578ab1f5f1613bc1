#!/usr/bin/env python3
"""Whether each public header says what a user must know: its purpose, and threads, ownership, errors and units; and whether
each class in it that has another name than the header is described. Prints what is missing; the code is how much that is."""
import pathlib
import re
import sys

CLASS = re.compile(r"^(?:class|struct) (?:NORVIK_API )?(\w+)(?: final)?(?: :.*)?(?: \{.*)?$")
# Macros only.
WITHOUT = {"JRCmn/Cmn_Export.h"}


def missing(path):
    lines = path.read_text(encoding="utf-8").splitlines()
    start = next((i for i, line in enumerate(lines) if line.startswith("//")), None)
    if start is None:
        yield "no comment that opens it"
        return
    opening = []
    for line in lines[start:]:
        if not line.startswith("//"):
            break
        opening.append(line)
    for fact in ("Threads", "Ownership", "Errors", "Units"):
        if not any(re.match(rf"// (\w+, )*{fact}(, \w+)*: ", line) for line in opening) and not any(
            re.match(rf"// .*\b{fact}\b.*: +as ", line) for line in opening
        ):
            yield f"no line for {fact}"
    for number, line in enumerate(lines):
        found = CLASS.match(line)
        if not found or line.endswith(";") or found[1] == path.stem:
            continue
        above = number - 1
        while lines[above].startswith("template"):
            above -= 1
        if not lines[above].startswith("//") and found[1] not in "\n".join(opening):
            yield f"{found[1]} (line {number + 1}) is not described"


count = 0
for name in sys.argv[1:]:
    for what in missing(pathlib.Path(name)) if name not in WITHOUT else ():
        print(f"{name}: {what}")
        count += 1
sys.exit(min(count, 100))

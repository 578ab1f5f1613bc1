#!/usr/bin/env python3
"""Whether each public header says what a user must know: its purpose, a sample, and threads, ownership, errors and units;
whether each class in it that has another name than the header is described; and whether a comment stands in each group of
methods whose names do not say everything. Prints what is missing; the code is how much that is."""
import itertools
import os
import pathlib
import re
import sys

CLASS = re.compile(r"^(?:class|struct) (?:NORVIK_API )?(\w+)(?: final)?(?: :.*)?(?: \{.*)?$")
# What says enough in one word.
SHORT = {"any", "none", "one", "bytes", "milliseconds", "pixels", "percent", "literals"}
# Macros only.
WITHOUT = {"JRCmn/Cmn_Export.h"}
WITHOUT_SAMPLE = {"JRCmn/Cmn_StringArguments.h": "nothing in it is named by a program"}
# A method with arguments that is only declared: what is done with them does not follow from what is seen. Left out are
# constructors, what is said where the method is declared first, and questions whose arguments only say about what.
METHOD = re.compile(r"    (?! |explicit|return)[\w:<>*& ,]+[ *&](?!(?:Get|Is)\w*\([^&*]*\))\w+\((?!\))[^{]*;$")
ELSEWHERE = re.compile(r"\) (const )?(override|= delete|= default);$")
# A heading says something when it is a sentence, too.
COMMENT = re.compile(r"//(?! ----)|// ----.*\.[ \w].*\.$")


def opening_of(lines):
    start = next((i for i, line in enumerate(lines) if line.startswith("//")), len(lines))
    end = next((i for i in range(start, len(lines)) if not lines[i].startswith("//")), len(lines))
    return lines[start:end]


def is_said(fact, opening):
    for line in opening:
        found = re.match(rf"// (?:\w+, )*{fact}(?:, \w+)*: +(.*)", line)
        if found:
            words = re.findall(r"\w[\w']+", found[1])
            return len(words) > 1 or found[1] in SHORT
    return False


def silent_methods(lines):
    """The first method of each group, lines without a gap, in which no comment stands."""
    group, is_public = [], False
    for number, line in enumerate([*lines, ""], 1):
        if re.match(r"(class|struct) .*\{$", line):
            is_public = line.startswith("struct")
        elif re.match(r"(public|protected|private):", line):
            is_public = not line.startswith("private")
        elif line.startswith("}"):
            is_public = False
        elif line.strip() and is_public:
            if group and group[-1][1].endswith(","):
                group[-1] = (group[-1][0], f"{group[-1][1]} {line.strip()}")
            else:
                group.append((number, line))
            continue
        methods = [entry for entry in group if METHOD.match(entry[1]) and not ELSEWHERE.search(entry[1])]
        if methods and not any(COMMENT.search(entry[1]) for entry in group):
            yield methods[0]
        group = []


def missing(name):
    path = pathlib.Path(name)
    lines = path.read_text(encoding="utf-8").splitlines()
    opening = opening_of(lines)
    if not opening:
        yield "no comment that opens it"
    for fact in ("Threads", "Ownership", "Errors", "Units"):
        if not is_said(fact, opening):
            yield f"nothing is said about {fact}"
    if not any(line.startswith("//   ") for line in opening) and name not in WITHOUT_SAMPLE:
        yield "no sample"
    for number, line in enumerate(lines):
        found = CLASS.match(line)
        if not found or line.endswith(";") or found[1] == path.stem:
            continue
        above = number - 1
        while lines[above].startswith("template"):
            above -= 1
        if not lines[above].startswith("//") and found[1] not in "\n".join(opening):
            yield f"{found[1]} (line {number + 1}) is not described"
    for number, line in silent_methods(lines):
        yield f"line {number}: no comment says what this does: {line.strip()}"


os.chdir(pathlib.Path(__file__).resolve().parents[2])
count = 0
for header in sorted(itertools.chain(*(pathlib.Path(folder).glob("*.h") for folder in ("JRCmn", "IPC", "Shared")))):
    for what in missing(header.as_posix()) if header.as_posix() not in WITHOUT else ():
        print(f"{header}: {what}")
        count += 1
sys.exit(min(count, 100))

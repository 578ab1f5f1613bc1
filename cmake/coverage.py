#!/usr/bin/env python3
"""coverage.py BUILD [ctest options]: adds up what the tests have counted.

Prints lines that ran by folder and writes the lines that never did to BUILD/uncovered.txt. After a run of all tests, that is
without ctest options, docs/coverage.md gets the table.
"""
import collections
import datetime
import json
import multiprocessing
import os
import re
import subprocess
import sys

FOLDERS = ["JRCmn", "JRCmn/Internal", "IPC", "Shared", "Shared/Internal", "tools/norvik"]
GCOV = "x86_64-w64-mingw32-gcov-posix"


def read(job):
    """Lines that one object file has, with how often they ran: [(source, line, count)]."""
    counts, notes = job
    if not os.path.exists(counts):  # of an object that never ran
        counts = notes
    elif not os.path.lexists(counts[:-4] + "gcno"):
        os.symlink(notes, counts[:-4] + "gcno")
    output = subprocess.run([GCOV, "--json-format", "--stdout", counts], stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL, check=False).stdout
    return [(source["file"], line["line_number"], line["count"])
            for text in output.splitlines() for source in json.loads(text)["files"]
            if os.path.dirname(source["file"]) in FOLDERS for line in source["lines"]]


def line_counts(build):
    """{source: {line: count}} over all objects and all lanes of cmake/coverage-wine.sh."""
    data = os.path.join(build, "data")
    lanes = [os.path.join(data, name) for name in os.listdir(data) if not name.endswith(".lock")]
    notes = [os.path.join(folder, name) for folder, _, names in os.walk(build) if not folder.startswith(data)
             for name in names if name.endswith(".gcno")]
    result = collections.defaultdict(collections.Counter)
    with multiprocessing.Pool() as pool:
        jobs = [(lane + note[:-4] + "gcda", note) for lane in lanes for note in notes]
        for lines in pool.imap_unordered(read, jobs, 8):
            for source, line, count in lines:
                result[source][line] += count
    return result


def ranges(numbers, known):
    """"3-5, 9": lines without code between two of the numbers do not part them."""
    parts = []
    for number in sorted(numbers):
        if parts and not any(parts[-1][1] < line < number for line in known if line not in numbers):
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in parts)


def table(result):
    rows, all_ran, all_lines = ["| Folder | Lines | Run | |", "|---|---:|---:|---:|"], 0, 0
    for folder in FOLDERS + ["all"]:
        if folder != "all":
            files = [lines for source, lines in result.items() if os.path.dirname(source) == folder]
            count, ran = sum(map(len, files)), sum(n > 0 for lines in files for n in lines.values())
            all_lines, all_ran = all_lines + count, all_ran + ran
        else:
            count, ran = all_lines, all_ran
        rows.append(f"| `{folder}` | {count:,} | {ran:,} | {100 * ran / max(count, 1):.1f} % |")
    return "\n".join(rows)


def main():
    build, options = os.path.abspath(sys.argv[1]), sys.argv[2:]
    result = line_counts(build)
    with open(os.path.join(build, "uncovered.txt"), "w", encoding="utf-8") as out:
        missing = {source: {n for n, count in lines.items() if count == 0} for source, lines in result.items()}
        for source in sorted(missing, key=lambda name: -len(missing[name])):
            if missing[source]:
                out.write(f"{source}: {len(missing[source])} of {len(result[source])}: "
                          f"{ranges(missing[source], result[source])}\n")
    print(table(result))
    print(f"Lines that never ran, the worst files first: {build}/uncovered.txt")
    page = "docs/coverage.md"
    if not options and os.path.exists(page):
        text = open(page, encoding="utf-8").read()
        day = f"{datetime.date.today():%Y-%m-%d}, `./dev coverage`"
        text = re.sub(r"(?s)<!-- table -->.*<!-- end -->", f"<!-- table -->\n{day}:\n\n{table(result)}\n<!-- end -->", text)
        open(page, "w", encoding="utf-8").write(text)


main()

#!/usr/bin/env python3
"""Shows Doxygen a public header as people read it: plain comments before declarations and behind them are documentation.

The comment that opens the header describes the class that the header is named after, otherwise the file: its sample becomes
code, and Threads, Ownership, Errors and Units become paragraphs.
"""
import pathlib
import re
import sys

TRAILING = re.compile(r'((?:[^"]|"[^"]*")*?[,;{}\w)=]) +// ?(\S.*)')
FACT = re.compile(r"(Threads|Ownership|Errors|Units)\b[A-Za-z, ]*: *(.*)")


def escape(text):
    """Doxygen's and HTML's marks as the characters that they are; what stands in backticks is taken as it is."""
    parts = text.split("`")
    parts[::2] = [re.sub(r"([\\\\@<>#%&])", r"\\\1", part) for part in parts[::2]]
    return "`".join(parts)


def opening(comment):
    """The opening comment's lines as documentation."""
    out, in_sample, facts = [], False, False
    for line in comment:
        text = line[2:]
        fact = FACT.match(text.strip())
        is_code = text.startswith("   ") and not facts
        if in_sample and not is_code and text.strip():
            out.append("@endcode")
            in_sample = False
        if fact:
            out += [f"@par {fact[1]}", escape(fact[2])]
            facts = True
        elif is_code:
            if not in_sample:
                out.append("@code{.cpp}")
            in_sample = True
            out.append(text[3:])
        else:
            out.append(text if in_sample else escape(text.strip()))
    if in_sample:
        out.append("@endcode")
    return out


def document(path):
    lines = path.read_text(encoding="utf-8").splitlines()
    start = next((i for i, line in enumerate(lines) if line.startswith("//")), len(lines))
    end = next((i for i in range(start, len(lines)) if not lines[i].startswith("//")), len(lines))
    text = opening(lines[start:end])
    declared = re.compile(rf"^(template <.*> *)?(class|struct|namespace) (NORVIK_API )?{re.escape(path.stem)}\b(?!.*;)")
    home = next((i for i, line in enumerate(lines) if declared.match(line)), None)
    if home is not None and lines[home - 1].startswith("template"):
        home -= 1

    out = ["/** @file", f"Declares {path.stem}." if home is not None else "", "*/"]
    if home is None:
        out = ["/** @file", *text, "*/"]
    for number, line in enumerate(lines):
        if start <= number < end:
            continue
        if number == home:
            own = []  # what stands before the class comes behind what opens the header
            while out[-1].startswith("/// "):
                own.insert(0, out.pop()[4:])
            out += ["/**", *text, "", *own, "*/"]
        stripped = line.lstrip()
        depth = len(line) - len(stripped)
        if stripped.startswith("// ----"):
            line = ""
        elif stripped.startswith("//"):
            line = " " * depth + "///" + escape(stripped[2:]) if depth <= 4 else ""
        else:
            behind = TRAILING.match(line) if depth <= 4 else None
            line = f"{behind[1]} ///< {escape(behind[2])}" if behind else line
        out.append(line)
    return "\n".join(out) + "\n"


def page(path):
    """A page of docs/ without the links to what the reference leaves out."""
    return re.sub(r"\[([^]]*)\]\([^)]*standins/[^)]*\)", r"\1", path.read_text(encoding="utf-8"))


source = pathlib.Path(sys.argv[1])
sys.stdout.reconfigure(encoding="utf-8")
sys.stdout.write(document(source) if source.suffix == ".h" else page(source))

#!/usr/bin/env python3
"""Writes the man pages of the programs from what they say with --help.

usage: scripts/man_tools.py FOLDER_OF_PROGRAMS OUTPUT_FOLDER RELEASE   (see scripts/docs.sh)

Of that text: a line at the margin with indented ones behind it is a heading; two blanks begin an option, whose
description stands two blanks behind it, or at the column of the one before; what stands deeper is a list.
"""
import pathlib
import re
import subprocess
import sys

import man

PROGRAMS = ("stamp-encoder", "stamp-report")
USE = re.compile(f"(?:Usage: |  )(?:{'|'.join(PROGRAMS)}) ")
TERM = re.compile(r"(\S+(?: \S+)*)(?:  +(\S.*))?$")


def options(line):
    """Options as such, not with hyphens."""
    return re.sub(r"(?<![\w\\-])(-+)(?=[a-z])", lambda match: match[1].replace("-", "\\-"), line)


def prose(text):
    return [options(line) for line in man.roff(text)]


def words(text):
    """Words behind a macro, none of which is taken for another or for a delimiter."""
    plain = text.replace("\\", "\\e").replace('"', "\\(dq")
    return options(re.sub(r"(?<!\S)(?=[A-Za-z]{2,3}(?!\S)|[^\w\s\"'<-]+(?!\S))", r"\\&", plain))


def split(line, column):
    """An option or example and its description."""
    term, description = TERM.match(line.strip()).groups()
    if not description and line.startswith("  -") and line[column - 1:column + 1].strip() == line[column:column + 1]:
        return line[:column].strip(), line[column:]
    return term, description or ""


def entries(lines):
    """The terms of a list, each with its description as [paragraph or (term, description)]."""
    indents, found = [len(line) - len(line.lstrip()) for line in lines], []
    column = min((indent for indent in indents if indent > 2), default=0)
    for line, indent in zip(lines, indents):
        if indent == 2:
            term, description = split(line, column)
            found.append((term, [description]))
            continue
        deeper = TERM.match(line.strip())
        if indent > column and deeper[2]:
            found[-1][1].append(deeper.groups())
        elif isinstance(found[-1][1][-1], tuple):
            found[-1][1].append(line.strip())
        else:
            found[-1][1][-1] += " " + line.strip()
    return found


def listed(lines):
    out = [".Bl -tag -width Ds"]
    for term, parts in entries(lines):
        out.append(f".It {words(term)}")
        for part in parts:
            if isinstance(part, tuple):
                out += [".Bl -tag -width Ds -compact", f".It {words(part[0])}", *prose(part[1]), ".El"]
            else:
                out += prose(part.strip()) if part.strip() else []
    return "\n".join([*out, ".El"]).replace(".El\n.Bl -tag -width Ds -compact\n", "").splitlines()


def page(program, text):
    first, _, rest = text.partition("\n")
    uses, description, status = [], [], []
    for block in rest.split("\n\n"):
        lines = [line for line in block.splitlines() if line]
        if not uses:
            uses = [line.partition(program)[2].strip() for line in lines if USE.match(line)]
            lines = [line for line in lines if not USE.match(line)]
        if lines and lines[-1].startswith("  "):
            if not lines[0].startswith(" "):
                description.append(f".Ss {words(lines.pop(0).rstrip(':'))}")
            description += listed(lines)
        elif lines and lines[0].startswith("Exit code: "):
            status = prose(" ".join(lines).removeprefix("Exit code: "))
        elif lines:
            description += [".Pp", *prose(" ".join(lines))]
    synopsis = [line for use in uses for line in (".Nm", options(use))]
    others = [f".Xr {other} 1 ," for other in PROGRAMS if other != program]
    return [*man.header(program, 1, program, first.partition(": ")[2]), ".Sh SYNOPSIS", *synopsis,
            ".Sh DESCRIPTION", *description[1:], ".Sh EXIT STATUS", *status, ".Sh SEE ALSO", *others, ".Xr timecode 7"]


def main():
    programs, output, release = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]) / "man1", sys.argv[3]
    output.mkdir(parents=True, exist_ok=True)
    for program in PROGRAMS:
        text = subprocess.run([programs / program, "--help"], stdout=subprocess.PIPE, check=True, text=True).stdout
        (output / f"{program}.1").write_text("\n".join([f".\\\" timecode {release}", *page(program, text)]) + "\n")
    print(f"{len(PROGRAMS)} pages of programs in {output}")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Writes man pages of the public functions from Doxygen's XML, and the overview from timecode.h's own comment.

usage: scripts/man.py XML_FOLDER OUTPUT_FOLDER RELEASE   (see scripts/docs.sh)
"""
import os
import pathlib
import re
import sys
import textwrap
import time
import xml.etree.ElementTree as ElementTree


def plain(node):
    """The text of a node, as one line of words."""
    return " ".join("".join(node.itertext()).split()) if node is not None else ""


def roff(text):
    """Text as lines of a page: a sentence ends its line, and no line is taken for a macro."""
    lines = []
    for sentence in re.split(r"(?<=[.:;?!]) ", text.replace("\\", "\\e")):
        lines += textwrap.wrap(sentence, 78, break_long_words=False, break_on_hyphens=False)
    return [("\\&" if line[0] in ".'" else "") + line for line in lines]


def quoted(text):
    return '"' + text.replace('"', '\\(dq') + '"'


def header(title, section, name, brief):
    brief = brief.rstrip(".")
    seconds = int(os.environ.get("SOURCE_DATE_EPOCH", time.time()))
    date = time.strftime("%B %-d, %Y", time.gmtime(seconds))
    return [f".Dd {date}", f".Dt {title.upper()} {section}", ".Os", ".Sh NAME", f".Nm {name}",
            f".Nd {brief[0].lower() + brief[1:]}"]


def prose(paragraphs):
    """Paragraphs and lists of a description, without its parameters and result."""
    lines = []
    for para in paragraphs:
        if para.find("parameterlist") is not None or para.find("simplesect") is not None:
            continue
        items = para.findall(".//listitem")
        text = (para.text or "") if items else plain(para)
        if text.strip():
            lines += [".Pp"] + roff(" ".join(text.split()))
        if items:
            lines.append(".Bl -dash -compact")
            for item in items:
                lines += [".It"] + roff(plain(item))
            lines.append(".El")
    return lines


def function_page(function, file_name):
    name, brief = plain(function.find("name")), plain(function.find("briefdescription"))
    details = function.findall("detaileddescription/para")
    lines = header(name, 3, name, re.split(r"(?<=[a-z])[.:;] ", brief)[0])
    library = "libtimecode" if file_name == "timecode.h" else "libtimecode_support"
    lines += [".Sh LIBRARY", f"Time base of a video encoder ({library}, \\-l{library[3:]})", ".Sh SYNOPSIS",
              f".In {file_name}", f".Ft {quoted(plain(function.find('type')))}", f".Fo {name}"]
    for parameter in function.findall("param"):
        words = f"{plain(parameter.find('type'))} {plain(parameter.find('declname'))}".replace("* ", "*").strip()
        lines.append(f".Fa {quoted(words)}")
    lines += [".Fc", ".Sh DESCRIPTION"] + roff(brief) + prose(details)
    parameters = [item for item in function.iter("parameteritem")]
    if parameters:
        lines += [".Pp", "Its arguments:", ".Bl -tag -width Ds"]
        for item in parameters:
            lines += [f".It Fa {plain(item.find('.//parametername'))}"] + roff(plain(item.find("parameterdescription")))
        lines.append(".El")
    result = [sect for sect in function.iter("simplesect") if sect.get("kind") == "return"]
    if result:
        lines += [".Sh RETURN VALUES"] + roff(plain(result[0]))
    return name, lines + [".Sh SEE ALSO", ".Xr timecode 7"]


def overview_page(compound, names):
    lines = header("timecode", 7, "timecode", plain(compound.find("briefdescription")))
    lines += [".Sh DESCRIPTION"] + prose(compound.findall("detaileddescription/para"))[1:] + [".Sh SEE ALSO"]
    ordered = sorted(names, key=str.lower)
    return lines + [f".Xr {name} 3 ," for name in ordered[:-1]] + [f".Xr {ordered[-1]} 3"]


def main():
    source, output, release = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
    pages, public = {}, []
    for path in sorted(source.glob("*_8h.xml")):
        compound = ElementTree.parse(path).getroot().find("compounddef")
        for function in compound.iter("memberdef"):
            if function.get("kind") == "function" and function.get("static") == "no":
                name, lines = function_page(function, plain(compound.find("compoundname")))
                pages[f"man3/{name}.3"] = lines
                if path.name == "timecode_8h.xml":
                    public.append(name)
        if path.name == "timecode_8h.xml":
            pages["man7/timecode.7"] = overview_page(compound, public)
    for name, lines in pages.items():
        path = output / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f".\\\" timecode {release}\n" + "\n".join(line for line in lines if line) + "\n")
    print(f"{len(pages)} pages in {output}")


if __name__ == "__main__":
    main()

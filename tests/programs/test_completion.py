"""Completes command lines of the programs as bash does."""

import subprocess

import pytest
from conftest import SOURCE

COMPLETE = """. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _stamp_tools; echo "${COMPREPLY[@]}" """


@pytest.mark.parametrize("line, offered", [
    pytest.param("stamp-encoder --co", "--copy --codec", id="options"),
    pytest.param("stamp-encoder --codec = h", "h264 hevc", id="words"),
    pytest.param("stamp-encoder --preset ver", "veryfast veryslow", id="begun_words"),
    pytest.param("stamp-encoder --bframes ", "", id="number"),
    pytest.param("stamp-encoder --copy in", "in.ts", id="input"),
    pytest.param("stamp-encoder -o in", "in.ts", id="file_behind_a_letter"),
    pytest.param("stamp-report --pl", "--plot", id="report_options"),
    pytest.param("stamp-report --json in", "in.ts", id="report_file"),
    pytest.param("stamp-report --duration ", "", id="report_number"),
])
def test_completion_offers_what_the_program_takes(build, in_ts, line, offered):
    name, *words = line.split(" ")
    script, program = SOURCE / "apps/completion" / name, build / "bin" / name
    done = subprocess.run(["bash", "-uc", COMPLETE, "bash", script, program, *words],
                          cwd=in_ts.parent, stdout=subprocess.PIPE, check=True, text=True)
    assert done.stdout.strip() == offered

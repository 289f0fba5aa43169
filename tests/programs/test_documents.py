"""Follows the documents word by word: every command in a block of shell is run, or is a step of CI."""

import os
import re
import shutil
import subprocess

import pytest
from conftest import README_PROGRAM, SOURCE
from running import tool

STEPS = (SOURCE / ".ci/run").read_text()
# Before a release, and what starts all the others.
BY_HAND = {"scripts/mutate.py", "scripts/older-tools.sh", "scripts/bench.sh", ".ci/run"}
DOCUMENTS = [SOURCE / "README.md", SOURCE / "CONTRIBUTING.md", *sorted((SOURCE / "docs").glob("*.md"))]
BLOCKS = [pytest.param(block, id=f"{document.name}-{number}") for document in DOCUMENTS for number, block in
          enumerate(re.findall(r"^ *```sh\n(.*?)^ *```", document.read_text(), re.MULTILINE | re.DOTALL), 1)]


def run_elsewhere(line):
    """Whether the command is a step of CI, or takes a person."""
    command = line.split()[0] if line.strip() else ""
    return command in BY_HAND or (command.startswith("scripts/") and command in STEPS)


@pytest.fixture(scope="module")
def clone(build, tmp_path_factory):
    """A copy of the project beside its build, with the file that README speaks of."""
    folder = tmp_path_factory.mktemp("clone")
    names = tool("git", "-C", SOURCE, "ls-files", "-co", "--exclude-standard").splitlines()
    for name in filter(lambda name: (SOURCE / name).exists(), names):
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(SOURCE / name, folder / name)
    (folder / "smallest.c").write_text(README_PROGRAM)
    (folder / "build").mkdir()
    (folder / "build/release").symlink_to(build)
    return folder


@pytest.mark.parametrize("block", BLOCKS)
def test_commands_do_what_they_say(clone, recording, block):
    shutil.copy(recording, clone / "recording.ts")
    lines = block.replace("\\\n", " ").splitlines()
    for line in filter(run_elsewhere, lines):
        assert os.access(clone / line.split()[0], os.X_OK), line
    script = "\n".join(line for line in lines if not run_elsewhere(line))
    done = subprocess.run(["sh", "-euc", script], cwd=clone, env={**os.environ, "HOME": str(clone / "home"),
                                                                 "BENCHMARK_MIN_TIME": "0.001"},
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, text=True, errors="replace")
    assert done.returncode == 0, done.stdout


@pytest.mark.parametrize("document", DOCUMENTS, ids=lambda document: document.name)
def test_files_that_are_named_exist(document):
    """Links, and the project's own paths in code marks."""
    text = document.read_text()
    names = re.findall(r"\]\((?!http)([^)#]+)", text)
    own = re.findall(r"`((?:apps|components|cmake|docs|examples|fuzz|packaging|scripts|tests)/[\w./-]+)`", text)
    missing = [name for name in names if not (document.parent / name).exists()]
    assert not missing + [name for name in own if not (SOURCE / name).exists()]


def test_every_exported_name_is_listed():
    text = (SOURCE / "docs/integration.md").read_text().partition("## Reserved names")[2]
    exported = [name for file in (SOURCE / "tests/exports").glob("*.txt") for name in file.read_text().split()]
    assert sorted(exported) == sorted(re.findall(r"`(\w+)`", text))

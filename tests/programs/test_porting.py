"""Puts a platform's own services beneath the installed library, in each of the ways that docs/porting.md names."""

import os
import re
import shutil
import subprocess
import sys

import pytest
from conftest import README_ANSWER, README_PROGRAM, SOURCE, install, pkg_config
from running import tool

STARTED = "Identified MISP revision as:"  # the first message of every start

# A trace service that says whose it is.
TRACE = r"""
#include <stdio.h>
#include <dbgtrace.h>

void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine,
                   const char *szFormat, ...)
{
    fprintf(stderr, "mine: %s", szFormat);
}
"""


@pytest.fixture
def compiled(libraries, folder):
    """Compiles C, for example the README's program or the trace service above, against what is installed."""
    (folder / "smallest.c").write_text(README_PROGRAM)
    (folder / "trace.c").write_text(TRACE)

    def program(name, *arguments):
        tool("gcc", *arguments, *pkg_config(libraries), "-o", name)
        return folder / name
    return program


def services_of(program, **env):
    """What stands before the first message: the name that its trace service gives. The answer is right in any case."""
    done = subprocess.run(program, env={"TIMECODE_TRACE_LEVEL": "5", **env}, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, check=False, text=True)
    assert done.stdout == README_ANSWER, done.stderr
    return re.search(f"(?:(mine|timecode): )?{STARTED}", done.stderr)[1]


def test_library_in_the_search_path_and_preloaded_object(compiled, build, libraries):
    others = build / "lib/syslog"  # a whole library of other services, that of examples/services
    program = compiled("smallest", "smallest.c")
    preloaded = compiled("trace.so", "-shared", "-fPIC", "trace.c")
    assert services_of(program, LD_LIBRARY_PATH=libraries) is None
    assert services_of(program, LD_LIBRARY_PATH=f"{others}:{libraries}") == "timecode"
    assert services_of(program, LD_LIBRARY_PATH=libraries, LD_PRELOAD=preloaded) == "mine"


def test_library_in_the_search_path_of_the_system(build, folder):
    """As on a board: installed in a root folder of its own, with a folder before the system's in ld.so.conf."""
    install(build, "--prefix", "/usr", DESTDIR=folder)
    installed = next(folder.rglob("libtimecode.so")).parent
    others = folder / "opt"
    shutil.copytree(build / "lib/syslog", others)
    (folder / "smallest.c").write_text(README_PROGRAM)
    tool("gcc", "smallest.c", f"-I{folder}/usr/include/timecode", f"-L{installed}", "-ltimecode",
         f"-Wl,-rpath-link,{installed}", "-o", "smallest")
    for file in re.findall(r"(/\S+) \(", tool("ldd", "smallest", others / "libtimecode_support.so.1")):
        (folder / file[1:]).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(file, folder / file[1:])
    (folder / "etc").mkdir()
    as_root = [] if os.geteuid() == 0 else ["unshare", "-r"]
    for folders, theirs in ("", None), ("/opt\n", "timecode"):
        (folder / "etc/ld.so.conf").write_text(f"{folders}/{installed.relative_to(folder)}\n")
        subprocess.run([*as_root, "/sbin/ldconfig", "-r", folder], check=True)
        assert services_of([*as_root, "/usr/sbin/chroot", folder, "/smallest"]) == theirs


def check_names(*programs):
    """Its exit code, and the names that it finds."""
    done = subprocess.run([SOURCE / "scripts/check-names.sh", *programs], stderr=subprocess.PIPE,
                          check=False, text=True)
    return done.returncode, [line.split()[-1] for line in done.stderr.splitlines()]


@pytest.mark.parametrize("definition, found", [
    ("", []),
    ("int CopyString;", ["CopyString"]),  # exported since the library asks for it
    ("static int CopyString;", []),
    ("extern int *g_hTCLibDbg; int **own = &g_hTCLibDbg;", []),
])
def test_names_that_take_the_place_of_the_library_s(compiled, folder, definition, found):
    main = f"{definition} void TimecodeLib_Shutdown(void); int main(void) {{ TimecodeLib_Shutdown(); return 0; }}\n"
    (folder / "names.c").write_text(main)
    assert check_names(compiled("names", "-no-pie", "names.c")) == (bool(found), found)


def test_definitions_in_the_program(compiled, libraries):
    program = compiled("own", "-rdynamic", "smallest.c", "trace.c")
    assert services_of(program, LD_LIBRARY_PATH=libraries) == "mine"
    assert check_names(program) == (1, ["_DoDbgPrintEx"])
    assert check_names("no_such_program")[0] == check_names()[0] == 2, "nothing was looked at"


def test_mutexes_inherit_priority(compiled, libraries):
    inherit = compiled("inherit.so", "-shared", "-fPIC", SOURCE / "examples/services/priority_inheritance.c")
    script = f"""import ctypes
mutex = (ctypes.c_int * 10)()
ctypes.CDLL(None).pthread_mutex_init(mutex, None)
print(mutex[4] & 32)  # the bit of the C library's own kind of mutex
ctypes.CDLL("{libraries}/libtimecode.so.1")"""
    done = subprocess.run([sys.executable, "-c", script], check=True, text=True, capture_output=True, env={
        "LD_PRELOAD": inherit, "LD_LIBRARY_PATH": libraries, "LD_DEBUG": "bindings"})
    assert done.stdout == "32\n"
    assert re.search(r"libtimecode\.so\.1 .* to \S*inherit\.so .*`pthread_mutex_init'", done.stderr)

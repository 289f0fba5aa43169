"""Picks the project up as its users do: installed files, CMake packages and subprojects, pkg-config, search paths."""

import re
import subprocess
from pathlib import Path

import pytest
from conftest import README_ANSWER, README_PROGRAM, SOURCE, install, pkg_config
from running import tool

SUBPROJECT = f"add_subdirectory({SOURCE} timecode)"
LIBRARIES_ALONE = [f"-DTIMECODE_BUILD_{part}=OFF" for part in ("TESTS", "APPS", "EXAMPLES", "BENCHMARKS")]


@pytest.fixture
def readme_program(folder):
    for name in ("smallest.c", "smallest.cpp"):
        (folder / name).write_text(README_PROGRAM)


@pytest.mark.usefixtures("readme_program")
@pytest.mark.parametrize("compiler", ["gcc -std=c11 -Wextra smallest.c", "g++ -std=c++17 smallest.cpp"])
def test_pkg_config_builds_the_readme_program(libraries, compiler):
    tool(*compiler.split(), "-Wall", "-Werror", "-o", "smallest", *pkg_config(libraries), f"-Wl,-rpath,{libraries}")
    assert tool("./smallest") == README_ANSWER


def test_python_has_the_installed_interface(libraries, monkeypatch, capfd):
    """Each call of the README's program in Python, and refusals as values: nothing is written where no time is."""
    monkeypatch.setenv("PKG_CONFIG_PATH", str(libraries / "pkgconfig"))
    monkeypatch.syspath_prepend(SOURCE / "bindings/python")
    program = re.search(r"^```python\n(.*?)^```", (SOURCE / "README.md").read_text(), re.MULTILINE | re.DOTALL)[1]
    names = {}
    exec(program, names)
    assert capfd.readouterr().out == README_ANSWER
    get_utc, set_utc, lib = names["get_utc"], names["set_utc"], names["lib"]
    assert get_utc(0, 1, 990000) is None and not set_utc(lib.NUM_VIDEO_INPUTS, 1, 0, 0)
    exported = (SOURCE / "tests/exports/libtimecode.txt").read_text().split()
    assert set(exported) <= set(dir(lib)), "a function or variable that Python does not see"


def project(folder, body, *options):
    """Configures a project of one's own in a folder; the exit code of CMake and what it says."""
    (folder / "CMakeLists.txt").write_text(f"cmake_minimum_required(VERSION 3.18)\nproject(mine C CXX)\n{body}")
    done = subprocess.run(["cmake", "-S", folder, "-B", folder / "build", *map(str, options)], check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.returncode, " ".join(done.stdout.split())


@pytest.mark.parametrize("body, options, refusal", [
    ("find_package(timecode 0.2.0 EXACT REQUIRED)", [], None),
    ("find_package(timecode 0.3 REQUIRED)", [], "0.2.0"),
    ("find_package(timecode 0.1 REQUIRED)", [], "0.2.0"),
    ("find_package(timecode 0.2 REQUIRED COMPONENTS video)", [], "none called video"),
    ("find_package(timecode 0.2 REQUIRED OPTIONAL_COMPONENTS video)", [], None),
    (SUBPROJECT, ["-DBUILD_SHARED_LIBS=OFF"], "puts its own services beneath the library"),
    (SUBPROJECT, ["-DTIMECODE_BUILD_APPS=ON", "-DPKG_CONFIG_EXECUTABLE=false"],
     "TIMECODE_BUILD_APPS=OFF leaves them out"),
    (SUBPROJECT, ["-DTIMECODE_BUILD_BENCHMARKS=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON"], "Google Benchmark"),
])
def test_what_cannot_be_had_is_refused_with_its_reason(prefix, folder, body, options, refusal):
    code, said = project(folder, body, f"-DCMAKE_PREFIX_PATH={prefix}", *options)
    assert (code == 0) == (refusal is None), said
    assert refusal is None or refusal in said


# Beside targets of the same plain names, with a standard and a search path of the user's own.
CROWDED = f"""
    foreach(name tests apps benchmarks examples flags header_checks stamp-encoder support_tests library_tests)
        add_custom_target(${{name}})
    endforeach()
    set(CMAKE_CXX_STANDARD 17)
    set(CMAKE_INSTALL_RPATH /opt/mine/lib)
    {SUBPROJECT}"""


@pytest.mark.usefixtures("readme_program")
@pytest.mark.parametrize("body", ["find_package(timecode 0.2 REQUIRED)", CROWDED], ids=["package", "subproject"])
def test_cmake_project_builds_and_installs_the_readme_program(prefix, folder, body):
    code, said = project(folder, f"""{body}
        add_executable(smallest smallest.c)
        target_link_libraries(smallest timecode::timecode timecode::support)
        install(TARGETS smallest)""", "-DCMAKE_BUILD_TYPE=Debug", f"-DCMAKE_PREFIX_PATH={prefix}")
    assert code == 0, said
    tool("cmake", "--build", "build", "-j2")
    assert tool("build/smallest") == README_ANSWER
    install("build", "--prefix", folder / "prefix")
    assert [file.name for file in Path("prefix").rglob("*") if file.is_file()] == ["smallest"]
    assert body != CROWDED or "/opt/mine/lib" in tool("readelf", "-d", "prefix/bin/smallest")


@pytest.mark.parametrize("component, holds, lacks", [
    ("runtime", {"libtimecode.so.1", "libtimecode_support.so.1"}, {"timecode.h", "libtimecode.so", "stamp-encoder"}),
    ("development", {"timecode.h", "libtimecode.so", "timecode.pc", "timecode-config.cmake",
                     "porting.md", "minimal.c"}, {"libtimecode.so.1"}),
    ("tools", {"stamp-encoder"}, {"libtimecode.so.1", "timecode.h"}),
])
def test_components(build, tmp_path, component, holds, lacks):
    install(build, "--prefix", tmp_path, "--component", component)
    names = {file.name for file in tmp_path.rglob("*")}
    assert names >= holds
    assert not names & lacks


def search_paths(folder):
    """The search paths in the project's objects, with None for an object that has none."""
    objects = [file for file in folder.rglob("*") if re.match(r"stamp-|libtimecode", file.name)
               and file.is_file() and file.read_bytes()[:4] == b"\x7fELF"]
    assert objects
    found = (re.search(r"R(?:UN)?PATH.*\[(.*)\]", tool("readelf", "-d", file)) for file in objects)
    return {match and match[1] for match in found}


def test_search_paths(build, prefix, tmp_path):
    """By their own place in a folder of one's own; none in the system's folders, whose own search path decides."""
    own = (search_paths(build / "lib") | search_paths(build / "bin") | search_paths(prefix)) - {None}
    assert all(entry.startswith("$ORIGIN") for path in own for entry in path.split(":"))
    for system in ("/usr", "/usr/local"):
        install(build, "--prefix", system, DESTDIR=str(tmp_path))
        assert search_paths(tmp_path / system[1:]) == {None}


@pytest.fixture(scope="module")
def alone(tmp_path_factory):
    """A build of the libraries alone, which is configured anew for each question."""
    folder = tmp_path_factory.mktemp("alone")

    def configured(*options):
        tool("cmake", "-S", SOURCE, "-B", folder, "-DCMAKE_BUILD_TYPE=Debug", *LIBRARIES_ALONE, *options)
        tool("cmake", "--build", folder, "-j2")
        return folder
    return configured


@pytest.mark.parametrize("prefix, libdir, options, flags", [
    pytest.param("/opt/t", "lib", {}, "-I/opt/t/include/timecode -L/opt/t/lib", id="folder"),
    pytest.param("/usr", "lib", {}, "-I/usr/include/timecode", id="system"),
    pytest.param("/usr", "/opt/lib", {}, "-I/usr/include/timecode -L/opt/lib", id="absolute"),
    pytest.param("/usr", "lib", {"PKG_CONFIG_SYSROOT_DIR": "/board"},
                 "-I/board/usr/include/timecode -L/board/usr/lib", id="sysroot"),
    pytest.param("/opt/t", "lib", {"PKG_CONFIG_SYSROOT_DIR": "/board"},
                 "-I/board/opt/t/include/timecode -L/board/opt/t/lib", id="folder_in_sysroot"),
])
def test_pkg_config(alone, tmp_path, prefix, libdir, options, flags):
    """The prefix is that of the installation, without DESTDIR."""
    built = alone(f"-DCMAKE_INSTALL_LIBDIR={libdir}", "-DCMAKE_INSTALL_PREFIX=/nowhere")
    install(built, "--prefix", prefix, DESTDIR=str(tmp_path))
    libraries = tmp_path / (libdir if libdir[0] == "/" else f"{prefix}/{libdir}")[1:]
    assert pkg_config(libraries, **options) == [*flags.split(), "-ltimecode", "-ltimecode_support"]


def test_one_release_number():
    number = re.search(r'VERSION_STRING "(.*)"', (SOURCE / "components/include/timecode.h").read_text())[1]
    assert f"\n## {number}\n" in (SOURCE / "CHANGELOG.md").read_text()
    assert (SOURCE / "debian/changelog").read_text().startswith(f"timecode ({number}) ")


def test_headers_refuse_32_bits():
    for header in (SOURCE / "components/include").iterdir():
        done = subprocess.run(["gcc", "-m32", "-fsyntax-only", "-x", "c", header], stderr=subprocess.PIPE,
                              check=False, text=True)
        assert "#error" in done.stderr and "is for 64-bit systems" in done.stderr, header


def test_libraries_need_the_c_library_alone(libraries):
    needed = {name for file in libraries.glob("*.so")
              for name in re.findall(r"NEEDED.*\[(.*)\]", tool("readelf", "-d", file))}
    assert needed <= {"libtimecode_support.so.1", "libc.so.6", "libm.so.6"}


def test_objects_are_hardened(prefix, libraries):
    """Buffers and stacks guarded, relocations read-only before the program starts, programs at any address."""
    for file in [*libraries.glob("*.so"), *(prefix / "bin").iterdir()]:
        looks = tool("readelf", "-dlW", file)
        assert "GNU_RELRO" in looks and "BIND_NOW" in looks and "RWE" not in looks, file
        assert "__stack_chk_fail" in tool("nm", "-D", file), file
        assert file.parent.name != "bin" or "PIE" in looks, file
        assert file.name == "libtimecode.so" or "printf_chk" in tool("nm", "-D", file), file

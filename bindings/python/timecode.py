"""The timecode library in Python: every function, type and constant of timecode.h, from the header as it is installed.

lib has the functions and constants, ffi makes their arguments (see cffi); set_utc and get_utc do without. Needs cffi,
pkg-config, a C preprocessor, and the library with its headers where pkg-config finds them. cffi lets other threads run
during a call, so the library's own rules on threads hold in Python too.
"""

import re
import subprocess

import cffi


def _output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout


def _declarations(flags):
    """What the project's own headers declare. Of what they include only struct timespec stands in a declaration."""
    folders = tuple(f'"{flag.removeprefix("-I")}/' for flag in flags)
    kept, own = ["typedef long time_t; struct timespec { time_t tv_sec; long tv_nsec; };"], False
    for line in _output("cpp", "-dD", *flags, "-include", "timecode.h", "/dev/null").splitlines():
        if line.startswith("# "):
            own = line.split(maxsplit=2)[2].startswith(folders)
        elif own and (line[:1] != "#" or re.fullmatch(r"#define \w+ (0x[0-9A-F]+|\d+)", line)):
            kept.append(line)
    attribute, body = r"__attribute__\(\((?:[^()]|\([^()]*\))*\)\)", r"^static inline [^{]*\{.*?^\}"
    return re.sub(f"{attribute}|{body}", "", "\n".join(kept), flags=re.MULTILINE | re.DOTALL)


ffi = cffi.FFI()
ffi.cdef(_declarations(_output("pkg-config", "--cflags-only-I", "timecode").split()))
lib = ffi.dlopen(_output("pkg-config", "--variable=libdir", "timecode").strip() + "/libtimecode.so.1")


def set_utc(number, source, pts, utc, status=0x1F):
    """Queues a UTC time stamp of an input: microseconds since 1970. Tells whether it was queued."""
    return bool(lib.Timecode_SetUTC(number, source, pts, ffi.new("TCPayload *", {"KLVTC": (status, utc)})))


def get_utc(number, source, pts, rate=30, code=29000, switching=False, base=(0, 0)):
    """The record (MISP_UTC) and timecode (vitc_t) of a coded picture, or None where it has no time."""
    utc, timecode = ffi.new("MISP_UTC *"), ffi.new("vitc_t *")
    found = lib.Timecode_GetUTC(number, ffi.new("int *", source), switching, rate, code, pts, *base, utc, timecode,
                                ffi.new("BOOL *"), ffi.new("void **"))
    return (utc, timecode) if found else None

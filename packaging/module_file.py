"""Reads what a compiled module exports and needs, and says what a wheel must not hold."""

from __future__ import annotations

import hashlib
import struct
import subprocess
from collections import defaultdict
from dataclasses import dataclass
from pathlib import Path

from elftools.elf.elffile import ELFFile
from targets import Target

ENTRY = "PyInit_markdown"
# Bytes of the module and its stub together: half as much again as the largest wheel installs.
MAX_SIZE = 400_000
# Parts of the C library, and for macOS of the system's one library: nothing that a user would have to install.
_LIBRARIES = {
    "libc.so.6",
    "libdl.so.2",
    "libm.so.6",
    "libpthread.so.0",
    "ld-linux-x86-64.so.2",
    "ld-linux-aarch64.so.1",
    "libc.musl-x86_64.so.1",
    "libc.musl-aarch64.so.1",
    "/usr/lib/libSystem.B.dylib",
}
# The newest versions of symbols that every target has; those of any other library would be a fault.
_NEWEST = {"GLIBC": (2, 17)}


def _dynamic_symbols(elf: ELFFile) -> tuple[set[str], set[str], dict[str, set[tuple[int, ...]]]]:
    """Return the names exported, the names needed and the versions needed of each library's symbols."""
    exported, needed = set(), set()
    table = elf.get_section_by_name(".dynsym")
    for symbol in table.iter_symbols():
        if symbol.name:
            (needed if symbol["st_shndx"] == "SHN_UNDEF" else exported).add(symbol.name)
    versions: dict[str, set[tuple[int, ...]]] = defaultdict(set)
    if section := elf.get_section_by_name(".gnu.version_r"):
        for _, requirements in section.iter_versions():
            for requirement in requirements:
                family, _, number = requirement.name.partition("_")
                versions[family].add(tuple(int(part) for part in number.split(".")))
    return exported, needed, versions


def exported_by_interpreter(config: dict[str, str]) -> set[str]:
    """Return the names that an interpreter on this machine, of `sysconfig_of`, offers to modules."""
    shared = Path(config["libdir"]) / config["library"]
    path = shared if config["shared"] and shared.exists() else Path(config["executable"]).resolve()
    with path.open("rb") as file:
        return _dynamic_symbols(ELFFile(file))[0]


@dataclass
class _Read:
    """What a module's file says of itself."""

    machine: str
    exported: set[str]
    of_interpreter: set[str]  # the names that it needs of the interpreter
    libraries: set[str]
    newest: str
    faults: list[str]


def _read_elf(path: Path) -> _Read:
    with path.open("rb") as file:
        elf = ELFFile(file)
        exported, needed, versions = _dynamic_symbols(elf)
        dynamic = elf.get_section_by_name(".dynamic").iter_tags()
        libraries = {tag.needed for tag in dynamic if tag.entry.d_tag == "DT_NEEDED"}
        machine = {"x64": "x86_64", "AArch64": "aarch64"}.get(elf.get_machine_arch(), "another machine")
    newest = ", ".join(f"{name} {'.'.join(map(str, max(found)))}" for name, found in versions.items())
    late = [name for name, found in versions.items() if max(found) > _NEWEST.get(name, ())]
    names = {name for name in needed if name.startswith(("Py", "_Py"))}
    return _Read(machine, exported, names, libraries, newest or "none", [f"needs {newest}"] if late else [])


def _is_signed(module: bytes, words: list[str]) -> bool:
    """Return whether a signature without an identity stands at the end and has the hash of every page before it.

    `words` are what llvm-objdump shows of the headers.
    """
    if "LC_CODE_SIGNATURE" not in words:
        return False
    begin = int(words[words.index("LC_CODE_SIGNATURE") + 4])  # after `cmdsize`, its value and `dataoff`
    count, _, offset = struct.unpack_from(">3I", module, begin + 8)
    directory = begin + offset
    hashes, _, _, pages, end = struct.unpack_from(">5I", module, directory + 16)
    size, kind, _, shift = module[directory + 36 : directory + 40]
    expected = [
        hashlib.sha256(module[page : min(page + (1 << shift), end)]).digest()
        for page in range(0, end, 1 << shift)
    ]
    stored = module[directory + hashes :][: pages * size]
    return (count, kind, size, end) == (1, 2, 32, begin) and stored == b"".join(expected)


def _read_mach_o(path: Path, target: Target) -> _Read:
    shown = {
        option: subprocess.check_output(["llvm-objdump", "--macho", f"--{option}", path], text=True)
        for option in ("bind", "dylibs-used", "exports-trie", "lazy-bind", "private-headers", "weak-bind")
    }
    exported = {line.split()[1][1:] for line in shown["exports-trie"].splitlines() if line.startswith("0x")}
    bound = [
        line.split()[-2:]
        for option in ("bind", "lazy-bind")
        for line in shown[option].splitlines()
        if line.startswith("__")
    ]
    # The linker found all other names in the one library that it was given.
    of_interpreter = {name[1:] for library, name in bound if library == "flat-namespace"}
    libraries = {
        line.split(" (")[0].strip() for line in shown["dylibs-used"].splitlines() if line.startswith("\t")
    }
    words = shown["private-headers"].split()
    machine = words[words.index("MH_MAGIC_64") + 1].lower()
    oldest = words[words.index("minos") + 1]
    faults = []
    if f"macosx_{oldest.replace('.', '_')}_" not in target.platform:
        faults.append(f"made for macOS {oldest}")
    if "BUNDLE" not in words:
        faults.append("is no bundle")
    if machine == "arm64" and not _is_signed(path.read_bytes(), words):
        faults.append("is not signed, and its system loads nothing of the kind")
    if any(line.startswith("__") for line in shown["weak-bind"].splitlines()):
        faults.append("takes part in the choice between definitions of several libraries")
    return _Read(machine, exported, of_interpreter, libraries, f"macOS {oldest}", faults)


def read_module(path: Path, target: Target, offered: set[str]) -> tuple[list[str], str]:
    """Return what is wrong with the module at `path`, [] for nothing, and the newest versions that it needs.

    `offered` are the names that the interpreter exports.
    """
    read = _read_elf(path) if target.system == "Linux" else _read_mach_o(path, target)
    faults = read.faults
    if read.machine != target.processor:
        faults.append(f"made for {read.machine}")
    if read.exported != {ENTRY}:
        faults.append(f"exports {', '.join(sorted(read.exported)) or 'nothing'}")
    if not read.of_interpreter:
        faults.append("needs nothing of the interpreter")
    if unknown := read.of_interpreter - offered:
        faults.append(f"needs {', '.join(sorted(unknown))}, which the interpreter does not export")
    if read.libraries - _LIBRARIES:
        faults.append(f"loads {', '.join(sorted(read.libraries - _LIBRARIES))}")
    return faults, read.newest

"""Reads what a compiled module exports and needs, and says what a wheel must not hold."""

from __future__ import annotations

import subprocess
from collections import defaultdict
from pathlib import Path

from elftools.elf.elffile import ELFFile
from targets import Target

ENTRY = "PyInit_markdown"
MAX_SIZE = 400_000  # bytes of the module and its stub together
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


def _mach_o(path: Path) -> tuple[set[str], set[str], set[str], str]:
    """Return the names exported, those needed, the libraries loaded and the oldest system."""
    shown = {
        option: subprocess.check_output(["llvm-objdump", "--macho", option, path], text=True)
        for option in ("--exports-trie", "--bind", "--lazy-bind", "--dylibs-used", "--private-headers")
    }
    subprocess.run(["llvm-objdump", "--macho", "--weak-bind", path], check=True, stdout=subprocess.DEVNULL)
    exported = {line.split()[1] for line in shown["--exports-trie"].splitlines() if line.startswith("0x")}
    needed = {
        line.split()[-1]
        for option in ("--bind", "--lazy-bind")
        for line in shown[option].splitlines()
        if line.startswith("__")
    }
    libraries = {
        line.split(" (")[0].strip() for line in shown["--dylibs-used"].splitlines() if line.startswith("\t")
    }
    words = shown["--private-headers"].split()
    return exported, needed, libraries, words[words.index("minos") + 1]


def read_module(path: Path, target: Target, offered: set[str]) -> tuple[list[str], str]:
    """Return what is wrong with the module at `path`, [] for nothing, and the newest versions that it needs.

    `offered` are the names that the interpreter exports.
    """
    faults = []
    if target.system == "Darwin":
        exported, needed, libraries, oldest = _mach_o(path)
        exported = {name.removeprefix("_") for name in exported}
        needed = {name.removeprefix("_") for name in needed}
        newest = f"macOS {oldest}"
        machine = "right"
    else:
        with path.open("rb") as file:
            elf = ELFFile(file)
            exported, needed, versions = _dynamic_symbols(elf)
            dynamic = elf.get_section_by_name(".dynamic").iter_tags()
            libraries = {tag.needed for tag in dynamic if tag.entry.d_tag == "DT_NEEDED"}
            machine = elf.get_machine_arch()
        newest = ", ".join(f"{name} {'.'.join(map(str, max(found)))}" for name, found in versions.items())
        for name, found in versions.items():
            if max(found) > _NEWEST.get(name, ()):
                faults.append(f"needs {newest}")
        newest = newest or "none"
        if machine != {"x86_64": "x64", "aarch64": "AArch64"}[target.processor]:
            faults.append(f"made for {machine}")
    if exported != {ENTRY}:
        faults.append(f"exports {', '.join(sorted(exported)) or 'nothing'}")
    if unknown := {name for name in needed if name.startswith(("Py", "_Py"))} - offered:
        faults.append(f"needs {', '.join(sorted(unknown))}, which the interpreter does not export")
    if libraries - _LIBRARIES:
        faults.append(f"loads {', '.join(sorted(libraries - _LIBRARIES))}")
    return faults, newest

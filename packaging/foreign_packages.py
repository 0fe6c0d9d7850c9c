"""Installs what the tests need for another kind of machine: wheels where there are any, else compiled by Zig."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
HERE = Path(__file__).resolve().parent
_PIP = (sys.executable, "-m", "pip", "--disable-pip-version-check")
# The sources of 0.5.1 lack the headers and those of 0.5.4 the scanners; both fit together.
_GRAMMAR_SOURCES, _GRAMMAR_HEADERS = "tree-sitter-markdown==0.5.1", "tree-sitter-markdown==0.5.4"
# What the engine's tests import, directly or not; all others of the requirements belong to docmap or to building.
_TESTED_WITH = (
    *("PyYAML", "tree-sitter", "tree-sitter-markdown", "exceptiongroup", "tomli", "typing_extensions"),
    *("pytest", "iniconfig", "packaging", "pluggy", "Pygments"),
)


def run(*command: str | Path, **environment: str) -> None:
    """Run a command that must succeed."""
    subprocess.run(command, check=True, env=os.environ | environment)


def requirements() -> list[str]:
    """Return the pinned requirements of the engine's tests."""
    text = (ROOT / "requirements" / "run.txt").read_text() + (ROOT / "requirements" / "test.txt").read_text()
    return [line for line in text.splitlines() if line.partition("==")[0] in _TESTED_WITH]


def pip_install(site: Path, processor: str, version: str, packages: list[str], libc: str) -> None:
    """Install wheels of another kind of machine into `site`; `libc` is `musllinux_1_2`, or `manylinux` for any."""
    names = [libc] if libc != "manylinux" else ["manylinux2014", "manylinux_2_17", "manylinux_2_28"]
    platforms = [word for name in names for word in ("--platform", f"{name}_{processor}")]
    run(
        *(*_PIP, "install", "-qq", "--no-deps"),
        "--ignore-requires-python",  # pip holds that against the interpreter that runs pip
        *("--target", site, *platforms, "--python-version", version, "--only-binary", ":all:", *packages),
    )


def compile_packages(
    target: str, flags: str, pip: tuple[str | Path, ...], packages: list[str], *options: str | Path
) -> None:
    """Compile packages that have no wheel with Zig and install them with `pip`."""
    compiler = f"{HERE}/zig-cc --target={target} {flags}"
    # LDSHARED too: Debian's own has an option that Zig does not know.
    environment = {"CC": compiler, "LDSHARED": f"{compiler} -shared", "ZIG": zig()}
    # The name of a module that any interpreter loads: what runs pip may not be what loads the module.
    environment["SETUPTOOLS_EXT_SUFFIX"] = ".so"
    names = ",".join(package.partition("==")[0] for package in packages)
    run(
        *(*pip, "install", "-qq", "--no-deps", "--no-binary", names, *options, *packages),
        **environment,
    )


def install_i386(site: Path, version: str, python: Path, include: Path) -> None:
    """Install the requirements, and compile those that have no wheel for i386; `python` is what will load them."""
    compiled = [line for line in requirements() if re.match("tree-sitter|PyYAML", line)]
    wheels = [line for line in requirements() if line not in compiled]
    pip_install(site, "i686", version, wheels, "manylinux")
    folder = site / "grammar"
    download = ("download", "-qq", "--no-deps", "--no-binary", "tree-sitter-markdown", "--dest", folder)
    run(*_PIP, *download, _GRAMMAR_HEADERS)
    archive = next(folder.glob("*.tar.gz"))
    shutil.unpack_archive(archive, folder)
    headers = folder / archive.name.removesuffix(".tar.gz") / "tree-sitter-markdown" / "src"
    flags = f"-isystem {include}/python{version} -isystem {include} -isystem {headers}"
    compiled = [_GRAMMAR_SOURCES if line.startswith("tree-sitter-markdown=") else line for line in compiled]
    compile_packages("x86-linux-gnu.2.31", flags, (*_PIP, "--python", python), compiled)
    shutil.rmtree(folder)


def install_musl(site: Path, processor: str, version: str, native: Path) -> None:
    """Install the requirements; `native` is this machine's interpreter of that version."""
    # tree-sitter has no wheel for musl on ARM.
    compiled = [line for line in requirements() if (processor, line[:13]) == ("aarch64", "tree-sitter==")]
    wheels = [line for line in requirements() if line not in compiled]
    pip_install(site, processor, version, wheels, "musllinux_1_2")
    if compiled:
        pip = (native, "-m", "pip")
        compile_packages(f"{processor}-linux-musl", "", pip, compiled, "--target", site)


def zig() -> str:
    """Return the path of Zig's program."""
    import ziglang

    return str(Path(ziglang.__file__).parent / "zig")

"""Makes the engine's wheels for every kind of machine from this one, and reads each before it counts.

Zig is the compiler, as it brings the C library of each kind of machine in every version. Python's headers come from
the interpreters on this machine. The same sources give the same bytes.
"""

from __future__ import annotations

import argparse
import hashlib
import os
import shutil
import subprocess
import sys
import zipfile
from concurrent.futures import ThreadPoolExecutor
from importlib.metadata import version as metadata_version
from pathlib import Path

import module_file
import ziglang
from headers import make_headers, sysconfig_of
from targets import VERSIONS, Target, chosen

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "wheels"
# Across translation units, sizes fall by half and speed is that of the system's compiler at -O3.
_FLAGS = f"-O2 -g -DNDEBUG -ffunction-sections -fdata-sections -ffile-prefix-map={ROOT}=."


def run(*command: str | Path) -> None:
    """Run a command; its output is seen only when it fails."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode:
        raise SystemExit(f"{' '.join(map(str, command))}\n{done.stdout}")


def interpreters() -> dict[str, dict[str, str]]:
    """Return `sysconfig_of` for every CPython found here with its headers, by version."""
    newer = subprocess.check_output([ROOT / "scripts" / "find-newer-pythons"], text=True).split()
    found = [sysconfig_of(python) for python in (sys.executable, *newer)]
    return {config["version"]: config for config in found if Path(config["include"], "Python.h").exists()}


def build_id(target: Target, version: str) -> str:
    """Return what ties a module to its debug information: a number of 40 digits that all that it is made of gives.

    The checksum of the debug information would not do, since that of Zig's C++ library names the folder in which Zig
    happened to compile it.
    """
    made_of = hashlib.sha1(f"{target} {version} {metadata_version('ziglang')}".encode())
    for path in sorted(path for path in (ROOT / "engines").rglob("*") if path.is_file()):
        made_of.update(path.read_bytes())
    for path in (Path(__file__), ROOT / "CMakeLists.txt"):
        made_of.update(path.read_bytes())
    return made_of.hexdigest()


def compile_module(target: Target, version: str, python: dict[str, str]) -> Path:
    """Compile the module and return its path; it holds its debug information still."""
    folder = BUILD / target.name  # one for all versions: what needs no interpreter is compiled once
    headers = BUILD / "headers" / f"{target.name}-{version}"
    compiler = str(ROOT / "packaging" / "zig-c++")
    make_headers(headers, Path(python["include"]), target, [compiler, f"--target={target.triple}"])
    linux = target.system == "Linux"
    flags = _FLAGS + (" -flto" if linux else "")  # what links for macOS is older than this Clang
    link = f"-Wl,--gc-sections -Wl,--build-id=0x{build_id(target, version)}" if linux else ""
    run(
        *("cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release"),
        *(f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_COMPILER_TARGET={target.triple}"),
        *(f"-DCMAKE_SYSTEM_NAME={target.system}", f"-DCMAKE_SYSTEM_PROCESSOR={target.processor}"),
        *(f"-DCMAKE_CXX_FLAGS_RELEASE={flags}", f"-DCMAKE_MODULE_LINKER_FLAGS={link}"),
        # CMake tries the compiler with a library, as Zig would compile a C++ library for a program.
        *("-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY", f"-DCMAKE_AR={shutil.which('llvm-ar')}"),
        *("-DCMAKE_OSX_SYSROOT=", "-DMARKDOWN_LTO=OFF", "-DMARKDOWN_WERROR=ON"),
        *(f"-DMARKDOWN_SOABI={target.soabi(version)}", f"-DPython_INCLUDE_DIR={headers}"),
        f"-DMARKDOWN_EXTRA_SOURCES={ROOT / 'packaging' / 'no_demangling.cpp'}",
        f"-DPython_EXECUTABLE={python['executable']}",
    )
    run("ninja", "-C", folder, "--quiet")
    return folder / f"markdown.{target.soabi(version)}.so"


def make_metadata() -> Path:
    """Return the folder with the metadata that the build backend writes for any wheel of the engine."""
    folder = BUILD / "metadata"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    program = "import sys; from scikit_build_core.build import prepare_metadata_for_build_wheel as p; p(sys.argv[1])"
    run(sys.executable, "-c", program, folder)
    return next(folder.glob("*.dist-info"))


def make_wheel(target: Target, version: str, module: Path, metadata: Path, dist: Path) -> Path:
    """Pack module and stub into a wheel in `dist`, the debug information into a file in `dist`/debug."""
    interpreter = "cp" + version.replace(".", "")
    tree = BUILD / "trees" / f"{target.name}-{version}"
    shutil.rmtree(tree, ignore_errors=True)
    engines = tree / "quarnel" / "engines"
    engines.mkdir(parents=True)
    (dist / "debug").mkdir(parents=True, exist_ok=True)
    if target.system == "Linux":
        number = build_id(target, version)
        debug = dist / "debug" / ".build-id" / number[:2] / f"{number[2:]}.debug"  # where debuggers look
        debug.parent.mkdir(parents=True, exist_ok=True)
        run("llvm-objcopy", "--only-keep-debug", module, debug)
        run("llvm-objcopy", "--strip-all", module, engines / module.name)
        if "musl" in target.name:  # Zig links with the name that the library has while it is built
            libc = f"libc.musl-{target.processor}.so.1"
            run("patchelf", "--replace-needed", "libc.so", libc, engines / module.name)
    else:
        debug = dist / "debug" / f"{module.name}.{target.name}.dSYM"
        run("dsymutil", "--oso-prepend-path", module.parent, "-o", debug, module)
        run("llvm-strip", "-S", "-x", "-o", engines / module.name, module)  # signs it anew
    shutil.copy(ROOT / "engines" / "markdown" / "markdown.pyi", engines)
    info = tree / metadata.name
    shutil.copytree(metadata, info)
    (info / "RECORD").unlink(missing_ok=True)
    tags = "".join(f"Tag: {interpreter}-{interpreter}-{tag}\n" for tag in target.platform.split("."))
    (info / "WHEEL").write_text(
        f"Wheel-Version: 1.0\nGenerator: quarnel-markdown\nRoot-Is-Purelib: false\n{tags}"
    )
    for path in tree.rglob("*"):
        path.chmod(0o755 if path.is_dir() or path.suffix == ".so" else 0o644)
    run(sys.executable, "-m", "wheel", "pack", "--dest-dir", dist, tree)
    return (
        dist / f"{metadata.name.removesuffix('.dist-info')}-{interpreter}-{interpreter}-{target.platform}.whl"
    )


def faults_of(wheel: Path, target: Target, version: str, offered: set[str]) -> tuple[list[str], int, str]:
    """Return what is wrong with a wheel, the bytes that it installs, and the newest versions that it needs."""
    module = f"quarnel/engines/markdown.{target.soabi(version)}.so"
    with zipfile.ZipFile(wheel) as archive:
        installed = {
            name.filename: name.file_size for name in archive.infolist() if ".dist-info/" not in name.filename
        }
        path = Path(archive.extract(module, BUILD / "read" / wheel.stem))
    faults, newest = module_file.read_module(path, target, offered)
    size = sum(installed.values())
    if installed.keys() != {module, "quarnel/engines/markdown.pyi"}:
        faults.append(f"holds {', '.join(installed)}")
    if size > module_file.MAX_SIZE:
        faults.append(f"installs {size} bytes")
    if target.system == "Linux":
        # It must not look for another machine's libraries among this one's.
        shown = subprocess.run(
            ["auditwheel", "show", "--ldpaths", BUILD / "none", wheel], capture_output=True, text=True
        )
        if f'"{target.platform.split(".")[-1]}"' not in shown.stdout:
            faults.append(f"auditwheel: {shown.stdout} {shown.stderr}")
    return faults, size, newest


def main() -> None:
    """Make and read the wheels that the command line asks for."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--targets", default="", help="names of targets; all when empty")
    parser.add_argument("--versions", default="", help="versions of CPython; all when empty")
    parser.add_argument("--dist", type=Path, default=ROOT / "dist")
    options = parser.parse_args()
    os.environ["ZIG"] = str(Path(ziglang.__file__).parent / "zig")
    if "SOURCE_DATE_EPOCH" not in os.environ:
        os.environ["SOURCE_DATE_EPOCH"] = subprocess.check_output(
            ["git", "log", "-1", "--format=%ct"], cwd=ROOT, text=True
        ).strip()
    os.chdir(ROOT)

    found = interpreters()
    versions = options.versions.split() or VERSIONS
    if missing := [version for version in versions if version not in found]:
        raise SystemExit(f"no CPython {', '.join(missing)} with its headers is found here")
    offered = {version: module_file.exported_by_interpreter(found[version]) for version in versions}
    metadata = make_metadata()
    print(f"{'target':24}{'CPython':9}{'installed':>10}  newest symbol versions", flush=True)

    def make_for(target: Target) -> bool:
        right = True
        for version in versions:
            module = compile_module(target, version, found[version])
            wheel = make_wheel(target, version, module, metadata, options.dist)
            faults, size, newest = faults_of(wheel, target, version, offered[version])
            row = f"{target.name:24}{version:9}{size:10}  {newest}"
            print("\n  wrong: ".join([row, *faults]), flush=True)
            right &= not faults
        return right

    # Zig makes the C++ library of a target one file at a time, so another target keeps the other processors busy.
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        failed = not all(list(pool.map(make_for, chosen(options.targets))))
    if failed:
        raise SystemExit("not every wheel is as it must be")


if __name__ == "__main__":
    main()

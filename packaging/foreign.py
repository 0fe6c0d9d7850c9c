"""Makes an interpreter of another kind of machine, with what the tests need, in a folder of its own.

    foreign.py aarch64 FOLDER             Debian's arm64 CPython, under QEMU
    foreign.py i386 FOLDER                Debian's i386 CPython, which runs on x86-64 as it is
    foreign.py musl-x86_64-3.13 FOLDER    the CPython, linked with musl, that freezes programs in freeze-core
    foreign.py musl-aarch64-3.13 FOLDER   the same for ARM, under QEMU

The packages are unpacked in the folder and not installed. FOLDER/bin/python is then like the interpreter of a virtual
environment; the programs that its tests start run in the same way, as it is also what `sys.executable` names.
"""

from __future__ import annotations

import re
import shutil
import subprocess
import sys
from pathlib import Path

from foreign_packages import HERE, ROOT, install_i386, install_musl, pip_install, requirements, run, zig

# That of this machine's release of Debian; test-foreign and test-release know it as cp311.
_DEBIAN_PYTHON = "3.11"
_DEBIAN_PACKAGES = (
    *("python3.11-minimal", "libpython3.11-minimal", "libpython3.11-stdlib", "python3.11"),
    *("libc6", "libgcc-s1"),
    *("zlib1g", "libexpat1", "libssl3", "libffi8", "libbz2-1.0", "liblzma5", "libuuid1", "libcrypt1"),
)
_DEBIAN_NAMES = {"x86_64": "amd64", "aarch64": "arm64"}
# All of zlib that the interpreter's modules need; `make_musl` compiles it.
_CRC32 = """
unsigned long crc32(unsigned long crc, const unsigned char *bytes, unsigned count) {
  if (!bytes) return 0;
  for (crc = ~crc & 0xffffffff; count; --count) {
    crc ^= *bytes++;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xedb88320 : 0);
  }
  return ~crc & 0xffffffff;
}
"""


def unpack_debian(folder: Path, packages: list[str], suite: str = "") -> None:
    """Download packages, each `name:architecture`, of this machine's release or of `suite`, and unpack them."""
    apt = folder / "apt"
    (apt / "lists" / "partial").mkdir(parents=True)
    (apt / "cache" / "archives" / "partial").mkdir(parents=True)
    architectures = {package.partition(":")[2] for package in packages} | {"amd64"}
    options = [f"APT::Architectures::={name}" for name in sorted(architectures)]
    options += [f"Dir::State::lists={apt}/lists", f"Dir::Cache={apt}/cache", "APT::Sandbox::User=root"]
    if suite:
        configured = "".join(
            path.read_text() for path in Path("/etc/apt").rglob("*") if path.suffix in (".sources", ".list")
        )
        mirror = re.search(r"https?://\S+/debian/?(?=\s)", configured)
        if mirror is None:
            raise SystemExit("no source of Debian's packages is configured")
        (apt / "sources.list").write_text(f"deb {mirror[0]} {suite} main\n")
        options += [f"Dir::Etc::sourcelist={apt}/sources.list", "Dir::Etc::sourceparts=/dev/null"]
    command = ["apt-get", "-qq", *(word for option in options for word in ("-o", option))]
    # A source that has nothing for these architectures is no failure: what is missing shows in the next line.
    subprocess.run([*command, "update"], check=False, stderr=subprocess.DEVNULL)
    subprocess.run([*command, "download", *packages], check=True, cwd=apt)
    for package in apt.glob("*.deb"):
        run("dpkg", "-x", package, folder / "root")
    shutil.rmtree(apt)


def write_program(path: Path, text: str) -> None:
    """Write a program that can be started."""
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    path.chmod(0o755)


def make_debian(folder: Path, architecture: str) -> Path:
    """Make Debian's interpreter and return the folder for its packages."""
    packages = [f"{name}:{architecture}" for name in _DEBIAN_PACKAGES]
    root = folder / "root"
    python = f"{root}/usr/bin/python{_DEBIAN_PYTHON}"
    if architecture == "arm64":
        unpack_debian(folder, [*packages, "qemu-user-static:amd64"])
        start = f'{root}/usr/bin/qemu-aarch64-static -L {root} -0 "$0" {python}'
    else:
        unpack_debian(folder, [*packages, f"libpython{_DEBIAN_PYTHON}-dev:{architecture}"])
        libraries = f"{root}/lib/i386-linux-gnu:{root}/usr/lib/i386-linux-gnu"
        start = f'{root}/lib/ld-linux.so.2 --library-path {libraries} --argv0 "$0" {python}'
    write_program(folder / "bin" / "python", f'#!/bin/sh\nexec {start} "$@"\n')
    (folder / "pyvenv.cfg").write_text(f"home = {root}/usr/bin\ninclude-system-site-packages = false\n")
    return folder / "lib" / f"python{_DEBIAN_PYTHON}" / "site-packages"


def make_musl(folder: Path, processor: str, version: str) -> Path:
    """Make the interpreter that is linked with musl and return the folder for its packages.

    The packages for freezing carry an interpreter without the part of the standard library that is Python: that comes
    from this machine's interpreter of the same version.
    """
    emulator = ""
    if processor == "aarch64":
        unpack_debian(folder, ["qemu-user-static:amd64"])
        emulator = f"{folder}/root/usr/bin/qemu-aarch64-static "
    # Trixie is the first whose musl is new enough for it.
    unpack_debian(folder, [f"musl:{_DEBIAN_NAMES[processor]}"], suite="trixie")
    carrier = "cx_Freeze==7.2.10" if version == "3.10" else "freeze-core==0.8.1"
    pip_install(folder / "carrier", processor, version, [carrier], "musllinux_1_2")
    program = next((folder / "carrier").rglob("bases/console-cpython-*"))
    extensions = next((folder / "carrier").rglob("unicodedata.cpython-*.so")).parent
    library = native_python(version)[1]
    binary = folder / "bin"
    shutil.copytree(
        library, binary / "lib", ignore=shutil.ignore_patterns("lib-dynload", "site-packages", "test")
    )
    shutil.copytree(extensions, binary / "lib", dirs_exist_ok=True)
    for name in ("__startup__", "__init__frozen"):
        shutil.copy(HERE / "musl_startup.py", binary / "lib" / f"{name}.py")
    shutil.copy(program, binary / "frozen")
    # The one library that its modules expect of the system, with all that they need of it.
    (folder / "libz.c").write_text(_CRC32)
    compiler = (zig(), "cc", f"--target={processor}-linux-musl", "-O2", "-shared")
    run(*compiler, folder / "libz.c", "-o", binary / "libz.so.1")
    libraries = ":".join(
        {str(binary), *(str(path.parent) for path in (folder / "carrier").rglob("libintl-*"))}
    )
    write_program(
        binary / "python",
        f"#!/bin/sh\nexec {emulator}{next(folder.rglob(f'{processor}-linux-musl/libc.so'))}"
        f" --library-path {libraries}"
        f' --argv0 {binary}/frozen {binary}/frozen "$@"\n',
    )
    return binary / "lib" / "site-packages"


def native_python(version: str) -> tuple[Path, Path]:
    """Return this machine's interpreter of a version and the folder of its standard library."""
    newer = subprocess.check_output([ROOT / "scripts" / "find-newer-pythons"], text=True).split()
    program = "import sys, sysconfig; print('%d.%d' % sys.version_info[:2], sysconfig.get_path('stdlib'))"
    for python in (sys.executable, *newer):
        found, library = subprocess.check_output([python, "-c", program], text=True).split()
        if found == version:
            return Path(python), Path(library)
    raise SystemExit(f"no CPython {version} is found here")


def main() -> None:
    """Make what the command line names."""
    name, folder = sys.argv[1], Path(sys.argv[2]).resolve()
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    if name == "aarch64":
        site = make_debian(folder, "arm64")
        pip_install(site, "aarch64", _DEBIAN_PYTHON, requirements(), "manylinux")
    elif name == "i386":
        site = make_debian(folder, "i386")
        install_i386(site, _DEBIAN_PYTHON, folder / "bin" / "python", folder / "root" / "usr" / "include")
    elif found := re.fullmatch(r"musl-(x86_64|aarch64)-(3\.\d+)", name):
        site = make_musl(folder, found[1], found[2])
        install_musl(site, found[1], found[2], native_python(found[2])[0])
    else:
        raise SystemExit(__doc__)
    pip = (sys.executable, "-m", "pip", "--disable-pip-version-check", "-qq")
    run(*pip, "install", "--no-deps", "--no-build-isolation", "--target", site, ROOT / "host")
    print(site)


if __name__ == "__main__":
    main()

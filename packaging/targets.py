"""The kinds of machine that wheels are made for."""

from __future__ import annotations

from dataclasses import dataclass, field

VERSIONS = ("3.10", "3.11", "3.12", "3.13")


@dataclass(frozen=True)
class Target:
    """One kind of machine: how Zig calls it, how wheels do, and what its `pyconfig.h` says differently.

    `pyconfig` holds what differs from the file of the interpreter that runs this program, x86-64 with glibc;
    None takes a name out.
    """

    name: str
    triple: str
    platform: str
    system: str
    processor: str
    pyconfig: dict[str, str | None] = field(default_factory=dict)
    candidate: bool = False  # built and read, but run nowhere

    def soabi(self, version: str) -> str:
        """Return what stands between the module's name and `.so`."""
        interpreter = "cpython-" + version.replace(".", "")
        if self.system == "Darwin":
            return f"{interpreter}-darwin"
        # CPython 3.10 does not tell musl from glibc in its own name.
        libc = "musl" if "musl" in self.triple and version != "3.10" else "gnu"
        return f"{interpreter}-{self.processor}-linux-{libc}"


_ARM: dict[str, str | None] = {"HAVE_GCC_ASM_FOR_X64": None, "HAVE_GCC_ASM_FOR_X87": None}
_MAC: dict[str, str | None] = {"SIZEOF_FPOS_T": "8", "SIZEOF_PTHREAD_KEY_T": "8"}

TARGETS = (
    Target(
        "manylinux2014-x86_64",
        "x86_64-linux-gnu.2.17",
        "manylinux2014_x86_64.manylinux_2_17_x86_64",
        "Linux",
        "x86_64",
    ),
    Target(
        "manylinux2014-aarch64",
        "aarch64-linux-gnu.2.17",
        "manylinux2014_aarch64.manylinux_2_17_aarch64",
        "Linux",
        "aarch64",
        _ARM,
    ),
    Target("musllinux_1_2-x86_64", "x86_64-linux-musl", "musllinux_1_2_x86_64", "Linux", "x86_64"),
    Target("musllinux_1_2-aarch64", "aarch64-linux-musl", "musllinux_1_2_aarch64", "Linux", "aarch64", _ARM),
    Target(
        "macos-arm64",
        "aarch64-macos.11.0",
        "macosx_11_0_arm64",
        "Darwin",
        "arm64",
        _ARM | _MAC | {"SIZEOF_LONG_DOUBLE": "8", "ALIGNOF_MAX_ALIGN_T": "8"},
        candidate=True,
    ),
    Target(
        "macos-x86_64",
        "x86_64-macos.10.15",
        "macosx_10_15_x86_64",
        "Darwin",
        "x86_64",
        _MAC,
        candidate=True,
    ),
)


def chosen(names: str) -> list[Target]:
    """Return the targets that `names`, separated by white space, names; "" names all."""
    known = {target.name: target for target in TARGETS}
    if unknown := set(names.split()) - known.keys():
        raise SystemExit(f"no such target: {', '.join(sorted(unknown))}; there are {', '.join(known)}")
    return [known[name] for name in names.split() or known]

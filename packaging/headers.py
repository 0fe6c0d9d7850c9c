"""The interpreter's headers for another kind of machine.

They are the same on every kind but for `pyconfig.h`, so they come from an interpreter of that version on this
machine. What its `pyconfig.h` says of sizes is made right for the target and then held against the target's
compiler.
"""

from __future__ import annotations

import json
import re
import shutil
import subprocess
from pathlib import Path

from targets import Target

# The type that each size in `pyconfig.h` is of.
_TYPES = {
    "SIZEOF_DOUBLE": "double",
    "SIZEOF_FLOAT": "float",
    "SIZEOF_FPOS_T": "fpos_t",
    "SIZEOF_INT": "int",
    "SIZEOF_LONG": "long",
    "SIZEOF_LONG_DOUBLE": "long double",
    "SIZEOF_LONG_LONG": "long long",
    "SIZEOF_OFF_T": "off_t",
    "SIZEOF_PID_T": "pid_t",
    "SIZEOF_PTHREAD_KEY_T": "pthread_key_t",
    "SIZEOF_PTHREAD_T": "pthread_t",
    "SIZEOF_SHORT": "short",
    "SIZEOF_SIZE_T": "size_t",
    "SIZEOF_TIME_T": "time_t",
    "SIZEOF_UINTPTR_T": "uintptr_t",
    "SIZEOF_VOID_P": "void *",
    "SIZEOF_WCHAR_T": "wchar_t",
    "SIZEOF__BOOL": "bool",
    "ALIGNOF_LONG": "long",
    "ALIGNOF_MAX_ALIGN_T": "max_align_t",
    "ALIGNOF_SIZE_T": "size_t",
}


def sysconfig_of(python: str) -> dict[str, str]:
    """Return the paths and names that an interpreter was built with."""
    program = (
        "import json, sys, sysconfig; v = sysconfig.get_config_var;"
        "print(json.dumps({'include': sysconfig.get_path('include'), 'executable': sys.executable,"
        " 'soabi': v('SOABI'), 'shared': v('Py_ENABLE_SHARED'), 'libdir': v('LIBDIR'),"
        " 'library': v('INSTSONAME'), 'version': '%d.%d' % sys.version_info[:2]}))"
    )
    found: dict[str, str] = json.loads(subprocess.check_output([python, "-c", program]))
    return found


def make_headers(folder: Path, include: Path, target: Target, compiler: list[str]) -> None:
    """Fill `folder` with the headers in `include` as they are on `target`, whose C++ compiler is `compiler`.

    Raises SystemExit when a size in `pyconfig.h` is not the compiler's.
    """
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(include, folder)
    config = (folder / "pyconfig.h").read_text()
    for name, value in target.pyconfig.items():
        line = f"#define {name} {value}" if value else f"/* #undef {name} */"
        config = re.sub(rf"^#define {name} .*$", line, config, flags=re.M)
    (folder / "pyconfig.h").write_text(config)
    shutil.copystat(include / "pyconfig.h", folder / "pyconfig.h")  # or everything would be compiled again

    if "#define SIZEOF_LONG " not in config:  # Debian's includes another, which is one processor's alone
        raise SystemExit(
            f"{include}/pyconfig.h states no sizes: name an interpreter that was built from source"
        )
    lines = ["#include <Python.h>", "#include <pthread.h>", "#include <cstddef>", "#include <cstdio>"]
    for name in re.findall(r"^#define ((?:SIZE|ALIGN)OF_\w+) ", config, flags=re.M):
        measure = "alignof" if name.startswith("ALIGN") else "sizeof"
        lines.append(f'static_assert({name} == {measure}({_TYPES[name]}), "{name}");')
    lines.append("static_assert(sizeof(Py_ssize_t) == SIZEOF_SIZE_T && sizeof(Py_UCS4) == 4);")
    check = folder / "check.cpp"
    check.write_text("\n".join(lines) + "\n")
    if subprocess.run(
        [*compiler, "-std=c++20", "-O2", f"-I{folder}", "-c", check, "-o", folder / "check.o"]
    ).returncode:
        raise SystemExit(f"pyconfig.h is wrong for {target.name}")

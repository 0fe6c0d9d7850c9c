"""Writes the bill of materials of a release: bill.py DIST VERSION."""

from __future__ import annotations

import hashlib
import re
import sys
from importlib.metadata import version
from pathlib import Path

import tomli
from cyclonedx.model import HashAlgorithm, HashType
from cyclonedx.model.bom import Bom
from cyclonedx.model.component import Component, ComponentType
from cyclonedx.output.json import JsonV1Dot6
from cyclonedx.schema import SchemaVersion
from cyclonedx.validation.json import JsonStrictValidator
from packageurl import PackageURL

ROOT = Path(__file__).resolve().parent.parent


def main() -> None:
    """Name every file of the release with its hash, what is linked into it, and what it asks for."""
    dist, released = Path(sys.argv[1]), sys.argv[2]
    bom = Bom()
    bom.metadata.component = root = Component(
        name="quarnel-markdown", version=released, type=ComponentType.LIBRARY, bom_ref="release"
    )
    zig = Component(
        name="ziglang",
        version=version("ziglang"),
        type=ComponentType.LIBRARY,
        bom_ref="ziglang",
        description="Its libc++, libc++abi, libunwind and compiler-rt are linked into every compiled module.",
        purl=PackageURL("pypi", None, "ziglang", version("ziglang")),
    )
    asked: dict[str, list[Component]] = {}
    for project in ("pyproject.toml", "docmap/pyproject.toml", "host/pyproject.toml"):
        table = tomli.loads((ROOT / project).read_text())["project"]
        asked[table["name"]] = [
            Component(
                name=match[1],
                type=ComponentType.LIBRARY,
                bom_ref=f"{table['name']} asks for {requirement}",
                description=requirement,
                purl=PackageURL("pypi", None, match[1].lower()),
            )
            for requirement in table.get("dependencies", [])
            if (match := re.match(r"([\w.-]+)", requirement))
        ]
    for path in sorted(dist.iterdir()):
        if path.suffix not in (".whl", ".gz"):
            continue
        hashed = HashType(alg=HashAlgorithm.SHA_256, content=hashlib.sha256(path.read_bytes()).hexdigest())
        file = Component(name=path.name, type=ComponentType.FILE, bom_ref=path.name, hashes=[hashed])
        project_name = path.name.partition(f"-{released}")[0].replace("_", "-")
        linked = [zig] if project_name == "quarnel-markdown" and path.suffix == ".whl" else []
        for component in (file, *linked, *asked[project_name]):
            bom.components.add(component)
        bom.register_dependency(file, [*linked, *asked[project_name]])
        bom.register_dependency(root, [file])
    text = JsonV1Dot6(bom).output_as_string(indent=2) + "\n"
    if fault := JsonStrictValidator(SchemaVersion.V1_6).validate_str(text):
        raise SystemExit(f"the bill of materials is not valid: {fault}")
    (dist / "bill-of-materials.cdx.json").write_text(text)


if __name__ == "__main__":
    main()

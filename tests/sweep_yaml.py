"""Compares the reading of YAML front matter with PyYAML: ``sweep_yaml.py --bodies 1000000 --seed 1``.

Half of the bodies are generated. The other half are mutations of samples and of the front matter below ``--corpus``.
Each body is read by the module and by ``yaml.safe_load``. Prints every difference, and how many bodies the module read
without PyYAML. The exit status is 1 when there is a difference.
"""

from __future__ import annotations

import argparse
import random
import sys
from collections.abc import Iterator
from pathlib import Path
from types import SimpleNamespace
from unittest import mock

import yaml
import yaml_bodies
from quarnel.engines import markdown

FIELDS = markdown._FrontMatter._fields


def loaded_fields(body: str) -> dict[str, object]:
    """What ``_yaml_fields`` has to return for ``body``."""
    try:
        loaded = yaml.safe_load(body)
    except Exception:
        return {}
    return {key: loaded.get(key) for key in FIELDS} if isinstance(loaded, dict) else {}


def field_text(value: object) -> str | None:
    """What ``_front_matter`` has to make of a field's value."""
    if isinstance(value, bool) or not isinstance(value, (str, int, float)):
        return None
    return markdown._plain_text(str(value)) or None


def difference(body: str) -> str | None:
    """How the module's reading of ``body`` differs from PyYAML's, None if it does not."""
    expected = loaded_fields(body)
    fields = markdown._yaml_fields(body, "sweep")
    # Compared by their text, which tells 1, 1.0 and True apart; and a NaN does not equal itself.
    if repr(fields) != repr(expected):
        return f"_yaml_fields({body!r}) is {fields!r}, not {expected!r}"
    front = tuple(front_matter(body))
    expected_front = tuple(field_text(expected.get(key)) for key in FIELDS)
    if front != expected_front:
        return f"_front_matter of {body!r} is {front!r}, not {expected_front!r}"
    return None


def front_matter(body: str) -> tuple[str | None, ...]:
    node = SimpleNamespace(type="minus_metadata", text=f"---\n{body}\n---\n".encode())
    return markdown._front_matter(node, "sweep")


def is_read_natively(body: str) -> bool:
    # `yaml.safe_load` calls `yaml.load`. It must not be replaced itself, because the module calls any replacement.
    with mock.patch("yaml.load", wraps=yaml.load) as load:
        front_matter(body)
    return not load.called


def bodies(count: int, seed: int, corpus: Path | None) -> Iterator[str]:
    rng = random.Random(seed)
    known = list(yaml_bodies.SAMPLES)
    if corpus:
        known += (body for _, body in yaml_bodies.bodies_of(corpus))
    for number in range(count):
        yield yaml_bodies.generated(rng) if number % 2 else yaml_bodies.mutated(rng, rng.choice(known))


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--bodies", type=int, default=100_000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--corpus", type=Path)
    options = parser.parse_args()

    natives = differences = 0
    for body in bodies(options.bodies, options.seed, options.corpus):
        natives += is_read_natively(body)
        found = difference(body)
        if found:
            differences += 1
            print(found)
    seen = f"{options.bodies} bodies, {natives} read without PyYAML"
    print(f"seed {options.seed}: {seen}, {differences} differences")
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())

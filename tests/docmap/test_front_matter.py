import itertools
import json

import yaml
from docmap.front_matter import _read_plain

# What YAML makes something else of, alone or beside another.
PIECES = [
    "k:",
    "  m:",
    "\n",
    "- ",
    " ",
    "x",
    "'y z'",
    "[a, 'b']",
    "true",
    "007",
    "8",
    "2020-02-30",
    ": ",
    " #",
    "é",
]


def loaded(body):
    try:
        fields = yaml.safe_load(body)
    except (yaml.YAMLError, ValueError):
        return None
    return json.loads(json.dumps(fields, default=str)) if isinstance(fields, dict) else {}


def test_plain_front_matter_is_what_yaml_makes_of_it():
    taken = 0
    for pieces in itertools.product(PIECES, repeat=3):
        body = "k: " + "".join(pieces)
        fields = _read_plain(body)
        taken += fields is not None
        assert fields is None or fields == loaded(body), body
    assert taken > 300


def test_nested_front_matter_is_what_yaml_makes_of_it():
    lines = ["a:", "b: 1", "  c:", "  d: x", "- w", "  - z", "    e: []", ""]
    for chosen in itertools.product(lines, repeat=4):
        body = "\n".join(chosen)
        fields = _read_plain(body)
        assert fields is None or fields == loaded(body), body
    assert _read_plain("a:\n  c:\n    e: []\n  d: x\nb:\n- w") is not None

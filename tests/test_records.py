"""Records: the engine makes what a call of the host's record type by keyword makes."""

import abc
import enum
import functools
from dataclasses import dataclass, make_dataclass
from typing import NamedTuple

import pytest
from nodes import document, inline, load_module
from quarnel.engines import markdown

FIELDS = {"name": "b", "line": 1, "kind": markdown.REF_DOC_LINK, "qualifier": "c", "source_fqn": None}
TREE = document(inline("[a](b#c)"))


class Plain:
    def __init__(self, name, line, kind, qualifier, source_fqn):
        self.fields = name, line, kind, qualifier, source_fqn


class Open:
    def __init__(self, *args, rest=(), **fields):
        self.fields = args, rest, list(fields.items())


class Short(Plain):
    def __init__(self, name, line):
        raise AssertionError("never called with five fields")


class Failing:
    def __init__(self, **fields):
        raise LookupError(list(fields))


class Answering:
    def __init__(self, **fields):
        return fields


class New:
    def __new__(cls, **fields):
        return list(fields.items())

    def __init__(self, **fields):
        raise AssertionError("not called for another type's object")


class Abstract(abc.ABC):
    __init__ = Open.__init__

    @abc.abstractmethod
    def method(self): ...


class Meta(type):
    def __call__(cls, **fields):
        return super().__call__(**dict(reversed(fields.items())))


class ByMeta(Open, metaclass=Meta):
    pass


class ByPartial:
    __init__ = functools.partial(lambda *args, **fields: print(args, fields))


class ByStatic:
    __init__ = staticmethod(lambda **fields: None)


class ByClass:
    @classmethod
    def __init__(cls, **fields):
        cls.made = fields


class Overridden(Plain):
    def __getattribute__(self, name):
        if name == "__init__":
            raise AssertionError("looked up on the type only")
        return super().__getattribute__(name)


class Error(Exception):
    def __init__(self, **fields):
        self.fields = list(fields.items())


class Dict(dict):
    pass


class Tuple(NamedTuple):
    name: str
    line: int
    kind: str
    qualifier: str
    source_fqn: str


class Empty:
    pass


TYPES = [
    Plain, Open, Short, Failing, Answering, New, Abstract, ByMeta, ByPartial, ByStatic, ByClass, Overridden, Error, Dict,
    Tuple, Empty, dict, object, int, type, enum.Enum, functools.partial(Plain), lambda **fields: list(fields.items()),
    dataclass(frozen=True, slots=True)(make_dataclass("Data", FIELDS)), make_dataclass("Four", list(FIELDS)[:4]),
]  # fmt: skip


def outcome(make):
    try:
        made = make()
    except Exception as error:
        return type(error), str(error)
    return type(made), getattr(made, "fields", None), repr(made).partition(" at 0x")[0]


@pytest.mark.parametrize(
    "record_type", TYPES, ids=lambda record_type: getattr(record_type, "__name__", "partial")
)
def test_a_record_is_what_a_call_by_keyword_makes(record_type):
    module = load_module(ReferenceInfo=record_type)
    assert outcome(lambda: module.extract_links(TREE, [])[0]) == outcome(lambda: record_type(**FIELDS))


class Key(str):
    """A name in the dict of a class. Comparing it with another name calls `compare`."""

    __hash__ = str.__hash__

    def __eq__(self, other):
        return self.compare()


def test_names_of_a_class_may_fail_to_compare_or_change_its_bases():
    key = Key("__init__")
    key.compare = lambda: False
    other = type("Other", (Open,), {})
    long = Open
    for _ in range(25):
        long = type("Long", (long,), {})
    record_type = type("Record", (long,), {key: None})
    module = load_module(ReferenceInfo=record_type)

    def compare():
        key.compare = lambda: False
        record_type.__bases__ = (other,)
        return False

    key.compare = compare
    [record] = module.extract_links(TREE, [])
    assert record.fields == ((), (), list(FIELDS.items()))
    key.compare = lambda: 1 / 0
    assert outcome(lambda: module.extract_links(TREE, [])) == outcome(lambda: record_type(**FIELDS))


def test_what_replaces_an_init_is_called_from_then_on():
    class Record(Open):
        pass

    module = load_module(ReferenceInfo=Record)
    for init in (Plain.__init__, Failing.__init__, Answering.__init__, object.__init__, Open.__init__):
        Record.__init__ = init
        assert outcome(lambda: module.extract_links(TREE, [])[0]) == outcome(lambda: Record(**FIELDS))

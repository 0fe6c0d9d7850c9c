"""The language engines of the host."""

from pkgutil import extend_path

_found: list[str] = list(extend_path([], __name__))
__path__ = [path for path in _found if path not in __path__] + __path__

"""Stand-in for the host package, for development only; the real host takes its place."""

from pkgutil import extend_path

# The engine's wheel puts its module into `quarnel/engines` of site-packages, and this package lies elsewhere. What is
# found there comes first: this package is asked for what nobody else has.
_found: list[str] = list(extend_path([], __name__))
__path__ = [path for path in _found if path not in __path__] + __path__

"""Stand-in for the host package, for development only; the real host takes its place."""

from pkgutil import extend_path

# The engine's wheel puts its module into `quarnel/engines` of site-packages. When this package is
# installed editable it lies elsewhere, and without this line the engine would not be found.
__path__ = extend_path(__path__, __name__)

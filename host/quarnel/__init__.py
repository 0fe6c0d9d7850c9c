"""Stand-in for the host package, for development only; the real host takes its place."""

from pkgutil import extend_path

# The engine's wheel puts its module into `quarnel/engines` of site-packages. An editable install of this package is in
# another folder; without this line, the engine would not be found there.
__path__ = extend_path(__path__, __name__)

"""Loads the module in a process where the import of the argument fails, and prints the error."""

import importlib.util
import sys

[missing] = sys.argv[1:]
origin = importlib.util.find_spec("quarnel.engines.markdown")
sys.modules[missing] = None
try:
    origin.loader.exec_module(importlib.util.module_from_spec(origin))
except ImportError as error:
    print(type(error).__name__, missing in str(error))

// The module quarnel.engines.markdown: its definition, and the names that it binds.
#pragma once

#include "python/api.h"

PyMODINIT_FUNC PyInit_markdown();

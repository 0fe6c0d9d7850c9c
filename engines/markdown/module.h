// The module quarnel.engines.markdown: its definition, and what executing it binds.
#pragma once

#include "python/api.h"

PyMODINIT_FUNC PyInit_markdown();

// The assertion of the fuzz targets: a claim that does not hold ends the run and is printed with its place.
#pragma once

#include <cstdio>
#include <cstdlib>

#define CHECK(claim)                                                                  \
  do {                                                                                \
    if (!(claim)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #claim); \
      std::abort();                                                                   \
    }                                                                                 \
  } while (false)

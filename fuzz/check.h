// What a fuzz target says of its input: a claim that does not hold ends the run with the place and the claim.
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

// What a fuzz target expects of a result. Unlike assert() it counts in every kind of build.
#pragma once

#include <cstdio>
#include <cstdlib>

#define REQUIRE(condition)                                                         \
  do {                                                                             \
    if (!(condition)) {                                                            \
      std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                \
    }                                                                              \
  } while (false)

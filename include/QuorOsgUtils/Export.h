#pragma once

/// Exports a symbol from the shared library; all other symbols are hidden.
#if defined(_WIN32)
#  if defined(QUOR_OSG_UTILS_BUILDING)
#    define QUOR_OSG_UTILS_EXPORT __declspec(dllexport)
#  else
#    define QUOR_OSG_UTILS_EXPORT __declspec(dllimport)
#  endif
#else
#  define QUOR_OSG_UTILS_EXPORT __attribute__((visibility("default")))
#endif

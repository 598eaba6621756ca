#pragma once

/// Exports a symbol from the shared library; all other symbols are hidden. Empty for the static library, whose CMake
/// target and pkg-config file define QUOR_OSG_UTILS_STATIC.
#if defined(QUOR_OSG_UTILS_STATIC)
#  define QUOR_OSG_UTILS_EXPORT
#elif defined(_WIN32)
#  if defined(QUOR_OSG_UTILS_BUILDING)
#    define QUOR_OSG_UTILS_EXPORT __declspec(dllexport)
#  else
#    define QUOR_OSG_UTILS_EXPORT __declspec(dllimport)
#  endif
#else
#  define QUOR_OSG_UTILS_EXPORT __attribute__((visibility("default")))
#endif

// Precompiled for the tests, where QUOR_PRECOMPILED_HEADERS is on.
#pragma once

// On Windows the engine's headers bring those of the system, whose macros (near, far) and functions
// (OpenFile) clash with names in tests.
#if !defined(_WIN32)
#  include "Engine.h"
#endif

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

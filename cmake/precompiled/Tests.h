// Precompiled for the tests if QUOR_PRECOMPILED_HEADERS is on.
#pragma once

// On Windows, OpenSceneGraph's headers include windows.h, whose macros (near, far) and functions (OpenFile) conflict
// with names in tests.
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

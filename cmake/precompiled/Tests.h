// Precompiled for the tests, where QUOR_PRECOMPILED_HEADERS is on.
#pragma once

#include "Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

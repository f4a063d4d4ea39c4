// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

// What nearly every test needs, compiled once for all test programs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/Deadline.h"
#include "support/Named.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

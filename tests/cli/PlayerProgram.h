// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <nlohmann/json.hpp>

#include "support/Test.h"

namespace oxa::test {

// oxaplayer with these arguments, to be run as a process.
ProcessRunner player(const std::vector<std::string>& arguments);
ProcessResult runPlayer(const std::vector<std::string>& arguments);

// The lines of a text, without their ends.
std::vector<std::string> linesOf(const std::string& text);

// The objects of a --json output; a line that is not JSON fails the test and is left out.
std::vector<nlohmann::json> eventsOf(const std::string& text);
// Those with that name.
std::vector<nlohmann::json> eventsNamed(const std::vector<nlohmann::json>& events,
                                        const std::string& name);

}  // namespace oxa::test

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace oxaplayer {

// For a terminal or a file of lines: control characters, which would steer it, are shown as '?'.
std::string printable(const std::string& text);

// The same for a line of the platform's log, which may hold colours: they stay if `colour`, and
// are left out otherwise.
std::string logText(const std::string& text, bool colour);

// The letter of a priority of the platform's log, as logcat shows it.
char priorityLetter(int priority);

}  // namespace oxaplayer

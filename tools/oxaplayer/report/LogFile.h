// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace oxaplayer {

// The platform's log in a file, as `logcat -v threadtime` shows it:
// "11-23 00:50:01.123  4711  4712 D OxaMuxer: text". Lines are added to a file that exists. Any
// thread may write; what the disk does not take is lost.
class LogFile {
  public:
    // Where lines go from now on; open until the process ends. False with errno set.
    bool open(const std::string& path);
    // `text` may have several lines, each of which gets the front of its own.
    void write(int priority, const std::string& tag, const std::string& text) const;

  private:
    int mDescriptor = -1;
};

}  // namespace oxaplayer

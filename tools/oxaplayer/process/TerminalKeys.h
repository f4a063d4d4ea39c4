// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <string>
#include <thread>

namespace oxaplayer {

// Single keys from the terminal at standard input, without Return and without being shown. The
// terminal gets its settings back when this is destroyed, and also when a signal stops or ends the
// process. One in a process.
class TerminalKeys {
  public:
    // `onKey` is called on a thread of its own with what a key sends: " ", "q", "\033[A".
    explicit TerminalKeys(std::function<void(const std::string& key)> onKey);
    ~TerminalKeys();
    TerminalKeys(const TerminalKeys&) = delete;
    TerminalKeys& operator=(const TerminalKeys&) = delete;

    // Whether there is a terminal, and this process has it.
    static bool isPossible();
    // For the last moment of a process; harmless without any. Safe in signal handlers.
    static void restore();

  private:
    void read() const;

    const std::function<void(const std::string& key)> mOnKey;
    int mWakeUp = -1;  // readable when the thread is to end
    std::thread mThread;
};

}  // namespace oxaplayer

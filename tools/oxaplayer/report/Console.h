// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <mutex>
#include <string>

namespace oxaplayer {

// Standard error as people read it: whole lines, and below them one bar that is redrawn in place
// when it is a terminal. One console for the process; calls may come from any thread and block only
// on standard error itself.
class Console {
  public:
    static Console& instance();

    // How much is shown: errors always are.
    enum class Level { kErrors, kNormal, kNone };
    void setLevel(Level level);

    void error(const std::string& command, const std::string& text);
    // A whole line, with its end, that begins with the program's name; before there is a bar.
    void usageError(const std::string& line);
    // Shown at that level only.
    void warning(const std::string& command, const std::string& text, Level level = Level::kNormal);
    void note(const std::string& text);

    // Redraws the bar; call it only on a terminal. An empty text takes it away.
    void setBar(const std::string& text);

    // Sends the platform's log here (`verbose`) or nowhere.
    void routePlatformLog(bool verbose);

    bool isTerminal() const { return mTerminal; }
    bool hasColour() const { return mColour; }
    // Whether standard output may be coloured, which can be a terminal when standard error is none.
    static bool outputHasColour();
    // Columns of the terminal at this moment, 80 where it does not say.
    static int columns();

  private:
    Console();
    void writeLineLocked(const std::string& line);
    void writeLogLine(const std::string& line);

    const bool mTerminal;
    const bool mColour;
    std::mutex mLock;
    Level mLevel = Level::kNormal;  // guarded by mLock
    std::string mBar;               // guarded by mLock
};

// The whole text to a descriptor, however often the kernel takes only a part. False with errno set
// when it cannot be written.
bool writeFully(int descriptor, const std::string& text);

}  // namespace oxaplayer

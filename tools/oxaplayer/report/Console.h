// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Mutex.h>

#include <optional>
#include <string>

#include "report/LogFile.h"

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
    // Whole lines, with their end; before there is a bar. The program's name in front is coloured.
    void usageError(const std::string& line);
    // Shown at that level only.
    void warning(const std::string& command, const std::string& text, Level level = Level::kNormal);
    void note(const std::string& text);

    // Redraws the bar; call it only on a terminal. An empty text takes it away.
    void setBar(const std::string& text);

    // Sends the platform's log here (`show`), into a file, both or nowhere; once, before there are
    // other threads. False with errno set when the file cannot be written.
    bool routePlatformLog(bool show, const std::optional<std::string>& file);

    bool isTerminal() const { return mTerminal; }
    bool hasColour() const { return mColour; }
    // Whether standard output may be coloured, which can be a terminal when standard error is none.
    static bool outputHasColour();
    // Columns of the terminal at this moment, 80 where it does not say.
    static int columns();

  private:
    Console();
    void writeLineLocked(const std::string& line) REQUIRES(mLock);
    template <typename Line>
    static void takeLog(const Line* line, const char* text);
    template <typename Line>
    static void takeLog(const Line* line);
    void writeLog(int priority, const std::string& tag, const std::string& text);

    const bool mTerminal;
    const bool mColour;
    bool mShowsLog = false;
    std::optional<LogFile> mLogFile;
    android::Mutex mLock;
    Level mLevel GUARDED_BY(mLock) = Level::kNormal;
    std::string mBar GUARDED_BY(mLock);
};

// The whole text to a descriptor, however often the kernel takes only a part. False with errno set
// when it cannot be written.
bool writeFully(int descriptor, const std::string& text);

}  // namespace oxaplayer

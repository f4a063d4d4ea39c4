// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/Console.h"

#include <android/log.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "report/LogText.h"

namespace oxaplayer {

namespace {

constexpr char kRed[] = "\033[1;31m";
constexpr char kYellow[] = "\033[33m";
constexpr char kPlain[] = "\033[0m";
constexpr char kClearLine[] = "\r\033[K";

bool isCapableTerminal(int descriptor) {
    const char* terminal = getenv("TERM");
    return isatty(descriptor) && terminal != nullptr && strcmp(terminal, "dumb") != 0;
}

// https://no-color.org: set to anything but an empty text.
bool isColourRefused() {
    const char* refusal = getenv("NO_COLOR");
    return refusal != nullptr && *refusal != '\0';
}

template <typename... What>
void dropLog(const What*...) {}

}  // namespace

bool writeFully(int descriptor, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
        if (written >= 0) {
            done += written;
        } else if (errno == EAGAIN) {
            pollfd ready = {descriptor, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

Console& Console::instance() {
    static Console* console = new Console;  // outlives every thread that may still log
    return *console;
}

Console::Console()
    : mTerminal(isCapableTerminal(STDERR_FILENO)), mColour(mTerminal && !isColourRefused()) {}

bool Console::outputHasColour() {
    return isCapableTerminal(STDOUT_FILENO) && !isColourRefused();
}

void Console::setLevel(Level level) {
    android::Mutex::Autolock lock(mLock);
    mLevel = level;
}

void Console::error(const std::string& command, const std::string& text) {
    android::Mutex::Autolock lock(mLock);
    if (mLevel == Level::kNone) return;
    const std::string prefix = command.empty() ? "oxaplayer: " : "oxaplayer: " + command + ": ";
    writeLineLocked(mColour ? kRed + prefix + kPlain + printable(text) : prefix + printable(text));
}

void Console::usageError(const std::string& line) {
    const std::string prefix = "oxaplayer:";
    android::Mutex::Autolock lock(mLock);
    if (mColour && line.compare(0, prefix.size(), prefix) == 0) {
        writeFully(STDERR_FILENO, kRed + prefix + kPlain + line.substr(prefix.size()));
    } else {
        writeFully(STDERR_FILENO, line);
    }
}

void Console::warning(const std::string& command, const std::string& text, Level level) {
    android::Mutex::Autolock lock(mLock);
    if (mLevel != level) return;
    const std::string prefix = "oxaplayer: " + command + ": warning: ";
    writeLineLocked(mColour ? kYellow + prefix + kPlain + printable(text)
                            : prefix + printable(text));
}

void Console::note(const std::string& text) {
    android::Mutex::Autolock lock(mLock);
    if (mLevel == Level::kNormal) writeLineLocked(printable(text));
}

void Console::setBar(const std::string& text) {
    android::Mutex::Autolock lock(mLock);
    if (mLevel != Level::kNormal || (text.empty() && mBar.empty())) return;
    mBar = text;
    writeFully(STDERR_FILENO, kClearLine + mBar);
}

int Console::columns() {
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

void Console::writeLineLocked(const std::string& line) {
    if (mBar.empty()) {
        writeFully(STDERR_FILENO, line + "\n");
    } else {
        writeFully(STDERR_FILENO, kClearLine + line + "\n" + mBar);
    }
}

void Console::writeLog(int priority, const std::string& tag, const std::string& text) {
    if (mLogFile) mLogFile->write(priority, tag, text);
    if (!mShowsLog) return;
    const std::string front = std::string(1, priorityLetter(priority)) + " " + tag + ": ";
    android::Mutex::Autolock lock(mLock);
    writeLineLocked(logText(front + text, mColour));
}

// The platform's logger is called with a line and its text, later releases' with one structure.
template <typename Line>
void Console::takeLog(const Line* line, const char* text) {
    instance().writeLog(line->priority, line->tag != nullptr ? line->tag : "", text);
}

template <typename Line>
void Console::takeLog(const Line* line) {
    takeLog(line, line->message);
}

bool Console::routePlatformLog(bool show, const std::optional<std::string>& file) {
    if (file && !mLogFile.emplace().open(*file)) return false;
    mShowsLog = show;
    __android_log_set_minimum_priority(show || file ? ANDROID_LOG_VERBOSE : ANDROID_LOG_FATAL);
    if (show || file) {
        __android_log_set_logger(takeLog);
    } else {
        // A fatal assertion still prints its own text before the process ends.
        __android_log_set_logger(dropLog);
    }
    return true;
}

}  // namespace oxaplayer

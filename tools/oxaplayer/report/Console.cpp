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

char priorityLetter(int priority) {
    static constexpr char kLetters[] = "??VDIWEF";
    return priority >= 2 && priority <= 7 ? kLetters[priority] : '?';
}

// What comes from a file may be shown, but not steer the terminal.
std::string printable(std::string text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) text[i] = '?';
        // The other control characters, U+0080 to U+009F, as UTF-8 has them.
        if (byte >= 0x80 && byte < 0xA0 && i > 0 && text[i - 1] == '\xC2') text[i] = '\xBF';
    }
    return text;
}

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
    std::lock_guard<std::mutex> lock(mLock);
    mLevel = level;
}

void Console::error(const std::string& command, const std::string& text) {
    std::lock_guard<std::mutex> lock(mLock);
    if (mLevel == Level::kNone) return;
    const std::string prefix = command.empty() ? "oxaplayer: " : "oxaplayer: " + command + ": ";
    writeLineLocked(mColour ? kRed + prefix + kPlain + printable(text) : prefix + printable(text));
}

void Console::usageError(const std::string& line) {
    const size_t prefix = line.find(' ');
    std::lock_guard<std::mutex> lock(mLock);
    if (mColour && prefix != std::string::npos) {
        writeFully(STDERR_FILENO, kRed + line.substr(0, prefix) + kPlain + line.substr(prefix));
    } else {
        writeFully(STDERR_FILENO, line);
    }
}

void Console::warning(const std::string& command, const std::string& text, Level level) {
    std::lock_guard<std::mutex> lock(mLock);
    if (mLevel != level) return;
    const std::string prefix = "oxaplayer: " + command + ": warning: ";
    writeLineLocked(mColour ? kYellow + prefix + kPlain + printable(text)
                            : prefix + printable(text));
}

void Console::note(const std::string& text) {
    std::lock_guard<std::mutex> lock(mLock);
    if (mLevel == Level::kNormal) writeLineLocked(printable(text));
}

void Console::setBar(const std::string& text) {
    std::lock_guard<std::mutex> lock(mLock);
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

void Console::writeLogLine(const std::string& line) {
    std::lock_guard<std::mutex> lock(mLock);
    writeLineLocked(printable(line));
}

void Console::routePlatformLog(bool verbose) {
    __android_log_set_minimum_priority(verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_FATAL);
    if (verbose) {
        __android_log_set_logger([](const __android_logger_data* data, const char* message) {
            instance().writeLogLine(std::string(1, priorityLetter(data->priority)) + " " +
                                    (data->tag != nullptr ? data->tag : "") + ": " + message);
        });
    } else {
        // A fatal assertion still prints its own text before the process ends.
        __android_log_set_logger([](const __android_logger_data*, const char*) {});
    }
}

}  // namespace oxaplayer

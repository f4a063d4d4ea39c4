// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/LogFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <sstream>

#include "report/Console.h"
#include "report/LogText.h"

namespace oxaplayer {

bool LogFile::open(const std::string& path) {
    mDescriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    return mDescriptor >= 0;
}

void LogFile::write(int priority, const std::string& tag, const std::string& text) const {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    char date[32];
    strftime(date, sizeof(date), "%m-%d %H:%M:%S", &local);
    char front[80];
    snprintf(front, sizeof(front), "%s.%03ld %5d %5d %c ", date, now.tv_nsec / 1'000'000, getpid(),
             gettid(), priorityLetter(priority));
    constexpr size_t kTagWidth = 8;
    std::string paddedTag = printable(tag);
    if (paddedTag.size() < kTagWidth) paddedTag.resize(kTagWidth, ' ');
    std::string lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines += front + paddedTag + ": " + logText(line, false) + "\n";
    writeFully(mDescriptor, lines);
}

}  // namespace oxaplayer

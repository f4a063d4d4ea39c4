// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/Report.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>

#include "report/Console.h"

namespace oxaplayer {

namespace {

constexpr int64_t kLineIntervalUs = 5'000'000;
constexpr int64_t kEventIntervalUs = 1'000'000;

// Whether `intervalUs` has passed since `*lastUs`; the first call starts the interval.
bool isDue(int64_t nowUs, int64_t intervalUs, int64_t* lastUs) {
    if (*lastUs == 0) *lastUs = nowUs;
    if (nowUs - *lastUs < intervalUs) return false;
    *lastUs = nowUs;
    return true;
}

}  // namespace

Report::Report(const std::string& command, const CommonOptions& common, int eventDescriptor)
    : mCommand(command) {
    Console& console = Console::instance();
    if (common.json) mEvents = EventWriter(eventDescriptor);
    if (common.json && eventDescriptor == STDERR_FILENO) {
        console.setLevel(Console::Level::kNone);
    } else if (common.quiet) {
        console.setLevel(Console::Level::kErrors);
    }
}

void Report::event(const std::string& name, const Json& fields) {
    mEvents.write(name, fields);
}

std::optional<Failure> Report::lostEvents() const {
    if (mEvents.error() == 0) return std::nullopt;
    return Failure{FailureKind::kOutput,
                   std::string("cannot write events: ") + strerror(mEvents.error())};
}

void Report::note(const std::string& text) {
    Console::instance().note(text);
}

void Report::warning(const std::string& text) {
    mEvents.write("warning", {{"text", text}});
    Console::instance().warning(mCommand, text);
}

void Report::damage(uint64_t count) {
    const std::string times = formatCount(static_cast<int64_t>(count), "time");
    Console::instance().warning(mCommand, "the input is damaged (" + times + ")",
                                Console::Level::kErrors);
}

void Report::error(const Failure& failure) {
    mEvents.write("error",
                  {{"exit", static_cast<int>(exitCodeOf(failure.kind))}, {"text", failure.text}});
    Console::instance().error(mCommand, failure.text);
}

void Report::progress(const Progress& progress) {
    show(formatProgressBar(progress, Console::columns(), Console::instance().hasColour()),
         formatProgressLine(progress), progressFields(progress));
}

void Report::status(const std::string& line, const Json& fields) {
    const auto room = static_cast<size_t>(std::max(Console::columns() - 1, 0));
    show(line.substr(0, room), line, fields);
}

void Report::show(const std::string& bar, const std::string& line, const Json& fields) {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    const int64_t nowUs = std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count();
    Console& console = Console::instance();
    if (console.isTerminal()) {
        console.setBar(bar);
    } else if (isDue(nowUs, kLineIntervalUs, &mLastLineUs)) {
        console.note(line);
    }
    if (isDue(nowUs, kEventIntervalUs, &mLastEventUs)) mEvents.write("progress", fields);
}

void Report::endProgress() {
    Console::instance().setBar("");
}

std::optional<Failure> printAnswer(const std::string& text) {
    if (writeFully(STDOUT_FILENO, text)) return std::nullopt;
    return Failure{FailureKind::kOutput,
                   std::string("cannot write to standard output: ") + strerror(errno)};
}

}  // namespace oxaplayer

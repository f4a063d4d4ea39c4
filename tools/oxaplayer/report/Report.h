// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "frame/Command.h"
#include "report/Events.h"
#include "report/ExitCode.h"
#include "report/ProgressText.h"

namespace oxaplayer {

// What a command tells its user: lines and a bar on standard error, events for programs. One thread
// reports.
class Report {
  public:
    // `eventDescriptor` is where events go with --json. When that is standard error, nothing else
    // is written there.
    Report(const std::string& command, const CommonOptions& common, int eventDescriptor);

    // Whether there are events at all.
    bool hasEvents() const { return mEvents.isOpen(); }
    // Nothing, or why not all events were written.
    std::optional<Failure> lostEvents() const;
    void event(const std::string& name, const Json& fields);
    void note(const std::string& text);
    void warning(const std::string& text);
    // The sum of the warnings about damage, for those who see none: half a film is no small thing.
    void damage(uint64_t count);
    void error(const Failure& failure);
    // Shows it as often as its reader can follow; call it a few times a second.
    void progress(const Progress& progress);
    // The same for a job that is not done in percent.
    void status(const std::string& line, const Json& fields);
    // Takes the bar away; before the last words.
    void endProgress();

  private:
    void show(const std::string& bar, const std::string& line, const Json& fields);

    const std::string mCommand;
    EventWriter mEvents;
    int64_t mLastLineUs = 0;
    int64_t mLastEventUs = 0;
};

// Writes what a command answers to standard output. Nothing, or why it cannot be written.
std::optional<Failure> printAnswer(const std::string& text);

}  // namespace oxaplayer

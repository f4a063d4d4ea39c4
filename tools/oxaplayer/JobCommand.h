// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <optional>

#include "Command.h"
#include "EventQueue.h"
#include "Events.h"
#include "OutputFile.h"
#include "Report.h"

namespace oxaplayer {

// A command that works for a while, tells how it goes, and can be interrupted: the frame around
// what such a command does.
class JobCommand : public Command {
  public:
    ExitCode run(const CommonOptions& common) final;

  protected:
    explicit JobCommand(const char* name) : mName(name) {}

    // All of the work; Interrupted comes through the queue. An output that failed is discarded
    // afterwards.
    virtual std::optional<Failure> work() = 0;
    // The fields of the result event, without "exit".
    virtual Json result() const = 0;
    // Whether standard output carries the output, so that events have to go elsewhere.
    virtual bool usesStandardOutput() const { return false; }
    // What hangs cannot be waited for: the process ends without its threads.
    virtual bool hasStalled() const { return false; }

    std::shared_ptr<EventQueue> mQueue;
    std::unique_ptr<Report> mReport;
    OutputFile mOutput;

  private:
    const char* const mName;
};

}  // namespace oxaplayer

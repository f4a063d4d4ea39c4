// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

#include "copy/CopyRun.h"
#include "files/InputFile.h"
#include "files/OutputFile.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// A job that copies samples, from its options to its result: what all of them share.
class CopyWork {
  public:
    virtual ~CopyWork() = default;
    CopyWork(const CopyWork&) = delete;
    CopyWork& operator=(const CopyWork&) = delete;

    Result run();

  protected:
    // Outlive the object.
    CopyWork(const OutputOptions& options, JobContext& context)
        : mOptions(options), mContext(context), mOutput(&context.cancelled()) {}

    // Checks and opens what is read; nothing, or what is wrong. From here on the output is opened.
    virtual std::optional<Failure> openInputs() = 0;
    // What the listener is told; also sets what the output says of itself.
    virtual JobStart started(Container container) const = 0;
    virtual CopyRun::Work work(const OutputFile& output, Container container) = 0;

    JobContext& context() const { return mContext; }

  private:
    std::optional<Failure> doWork();
    std::optional<Failure> copy();
    std::optional<Failure> complete(const CopyRun& run);
    void summarize(const CopyRun& run);

    const OutputOptions& mOptions;
    JobContext& mContext;
    Container mContainer = Container::kMpeg2Ts;
    OutputFile mOutput;
    Result mResult;
};

// Opens the file for copying, as far as the session's choice leaves it. Nothing when its samples
// can be copied; otherwise why not (kInput).
std::optional<Failure> openForCopy(const InputFile& file, bool pictures, bool sound,
                                   host::CopyInput* input, bool keepsClock = false);

}  // namespace oxa::jobs

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Transcode.h"

#include <utility>

#include "encode/EncodeSetup.h"
#include "run/BatchScheduling.h"
#include "run/JobContext.h"
#include "tracks/PartChoice.h"
#include "tracks/SourceTracks.h"
#include "transcode/TranscodeRun.h"
#include "transcode/TranscodeSource.h"
#include "transcode/TranscodeWork.h"
#include "transcode/VerifyOutput.h"

namespace oxa::jobs {

namespace {

constexpr char kPq[] = "smpte2084";
constexpr char kHlg[] = "arib-std-b67";

// One transcoding from its options to its result.
class TranscodeWork {
  public:
    TranscodeWork(const TranscodeOptions& options, JobContext& context)
        : mOptions(options),
          mContext(context),
          mSource(options, context),
          mOutput(&context.cancelled()) {}

    Result run() {
        if (auto failure = work()) {
            mResult.failure = *failure;
            mOutput.discard();
        }
        return mResult;
    }

  private:
    std::optional<Failure> work();
    void tellToneMapping();
    std::optional<Failure> transcode();
    std::optional<Failure> complete(const TranscodeRun& run);
    void summarize(const TranscodeRun& run);

    const TranscodeOptions& mOptions;
    JobContext& mContext;
    TranscodeSource mSource;
    OutputFile mOutput;
    Result mResult;
};

std::optional<Failure> TranscodeWork::work() {
    if (auto failure = mSource.open()) return failure;
    if (auto failure =
                openOutput(mOptions, mSource.container(), WriteWay::kWhenComplete, &mOutput)) {
        return failure;
    }
    if (mOptions.verify && (mOptions.outputDescriptor >= 0 || !mOutput.bytes())) {
        return Failure{FailureKind::kOptions, "only an output that is a file can be verified"};
    }
    mContext.listener().onStart(mSource.started());
    tellToneMapping();
    return transcode();
}

void TranscodeWork::tellToneMapping() {
    const std::string transfer = mSource.video() != nullptr ? mSource.video()->color.transfer : "";
    if (transfer != kPq && transfer != kHlg) return;
    mContext.listener().onWarning(std::string("the picture is in HDR (") +
                                  (transfer == kPq ? "PQ" : "HLG") +
                                  ") and becomes BT.709, with its highlights toned down");
}

std::optional<Failure> TranscodeWork::transcode() {
    setRates(mOptions, mSource.target().channelCount);
    TranscodeRun run({mSource.input(), mOutput, mSource.container(), mSource.video(),
                      mSource.audio(), mSource.target(), mOptions.strict},
                     mContext);
    auto failure = run.run();
    mResult.damaged = run.damaged();
    if (failure) return failure;
    if (mOptions.verify && !run.wasShortened() && run.hasOutput()) {
        const std::string& output = mOutput.currentName();
        if (auto failure = verifyOutput(mSource, output, mContext.cancelled())) return failure;
        mResult.verified = true;
    }
    // The output is read, too.
    forgetPart();
    return complete(run);
}

std::optional<Failure> TranscodeWork::complete(const TranscodeRun& run) {
    if (!run.wasShortened()) {
        if (!run.hasOutput()) {
            return Failure{FailureKind::kInput,
                           "'" + mOptions.input + "' has nothing that can be decoded"};
        }
        auto failure = completeOutput(mOptions, false, &mOutput);
        summarize(run);
        return failure;
    }
    if (!run.hasOutput()) return cancelledFailure();
    if (auto failure = completeOutput(mOptions, true, &mOutput)) return failure;
    summarize(run);
    return cancelledFailure();
}

void TranscodeWork::summarize(const TranscodeRun& run) {
    mResult.files = {mOutput.currentName()};
    mResult.total = run.total();
    mResult.soundSec = run.soundUs() / 1e6;
    // The file itself knows best; what went through a pipe can only be counted.
    mResult.durationSec = run.endUs() / 1e6;
    if (mResult.total.bytes && mOptions.outputDescriptor < 0) {
        mResult.durationSec = fileLengthSec(mOutput.currentName()).value_or(mResult.durationSec);
    }
}

}  // namespace

Result transcode(const TranscodeOptions& options, JobContext& context) {
    const BatchScheduling throughput;
    return TranscodeWork(options, context).run();
}

Transcode::Transcode(TranscodeOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

Result Transcode::work(JobContext& context) {
    return transcode(mOptions, context);
}

}  // namespace oxa::jobs

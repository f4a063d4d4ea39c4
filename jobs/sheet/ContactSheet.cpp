// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/ContactSheet.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "encode/EncodeSetup.h"
#include "files/FileDescriptor.h"
#include "run/FaultRelay.h"
#include "run/FaultWarnings.h"
#include "sheet/SheetPicture.h"
#include "sheet/StillGrabber.h"
#include "tracks/TrackChoice.h"
#include "transcode/TargetFormat.h"

namespace oxa::jobs {

namespace {

constexpr int32_t kMostPerSide = 20;
constexpr int32_t kNarrowestSheet = 64;
constexpr int32_t kNarrowestCell = 16;
constexpr int32_t kHighestSheet = 32768;

std::string sizeText(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::optional<Failure> checkLayout(const ContactSheetOptions& options) {
    const auto check = [](const char* name, int value, int lowest,
                          int highest) -> std::optional<Failure> {
        if (value >= lowest && value <= highest) return std::nullopt;
        return wrongOption(name, std::to_string(value),
                           std::to_string(lowest) + " to " + std::to_string(highest));
    };
    auto failure = check("columns", options.columns, 1, kMostPerSide);
    if (!failure) failure = check("rows", options.rows, 1, kMostPerSide);
    if (!failure) failure = check("width", options.width, kNarrowestSheet, kHighestPictureSide);
    return failure;
}

std::optional<Failure> checkName(const ContactSheetOptions& options) {
    const std::string extension = extensionOf(options.output);
    if (options.outputDescriptor >= 0 || extension.empty() || extension == ".png") {
        return std::nullopt;
    }
    return Failure{FailureKind::kOptions,
                   "'" + options.output + "': a contact sheet is a PNG, name it .png"};
}

// One sheet from its options to its result.
class SheetWork {
  public:
    SheetWork(const ContactSheetOptions& options, JobContext& context)
        : mOptions(options),
          mContext(context),
          mLayout{options.columns, options.rows, options.width},
          mBeginUs(nowUs()),
          mInput(&context.cancelled()),
          mOutput(&context.cancelled()) {}

    Result run();
    Size size() const { return mWritten; }
    const std::vector<Still>& stills() const { return mStills; }

  private:
    std::optional<Failure> work();
    std::optional<Failure> chooseCell();
    std::optional<Failure> grab(StillGrabber* grabber);
    std::optional<Failure> write(const SheetPicture& sheet);
    void showProgress(int done);

    const ContactSheetOptions& mOptions;
    JobContext& mContext;
    const SheetLayout mLayout;
    const int64_t mBeginUs;
    InputFile mInput;
    OutputFile mOutput;
    TrackChoice mTracks;
    Size mCell = {0, 0};
    Size mWritten = {0, 0};
    std::vector<Still> mStills;
    Result mResult;
};

Result SheetWork::run() {
    auto failure = work();
    const bool isWritten = mWritten.width > 0;
    if (mContext.cancelled() && !isWritten) failure = cancelledFailure();
    if (failure) {
        mResult.failure = *failure;
        mOutput.discard();
    } else if (mResult.damaged > 0) {
        mContext.listener().onDamage(mResult.damaged);
    }
    mResult.total.elapsedSec = (nowUs() - mBeginUs) / 1e6;
    return mResult;
}

std::optional<Failure> SheetWork::work() {
    if (auto failure = checkLayout(mOptions)) return failure;
    if (auto failure = checkName(mOptions)) return failure;
    if (auto failure = mInput.open(mOptions.input)) return failure;
    if (auto failure = chooseTracks(mInput, Only::kVideo, {}, mContext, &mTracks)) return failure;
    if (auto failure = chooseCell()) return failure;
    if (auto failure = refuseInput(mInput, mOptions.output, mOptions.outputDescriptor)) {
        return failure;
    }
    if (auto failure =
                mOutput.open(mOptions.output, mOptions.replaceOutput, mOptions.outputDescriptor)) {
        return failure;
    }
    mContext.listener().onStart({tracksOf(mTracks), {}});
    StillGrabber grabber(mInput, *mTracks.video, mCell, mContext.cancelled());
    if (auto failure = grab(&grabber)) return failure;
    if (mContext.cancelled()) return std::nullopt;
    SheetPicture sheet(mLayout, mCell);
    for (size_t i = 0; i < mStills.size(); ++i) {
        if (sheet.place(static_cast<int>(i), mStills[i].path, mStills[i].timeUs)) continue;
        return Failure{FailureKind::kFailed, "cannot read '" + mStills[i].path + "'"};
    }
    return write(sheet);
}

// The cells have the shape of the picture as it is to be seen.
std::optional<Failure> SheetWork::chooseCell() {
    mCell = mLayout.cellFor(uprightSize(*mTracks.video));
    const int64_t sheetHeight = static_cast<int64_t>(mLayout.rows) * mCell.height;
    if (mCell.width >= kNarrowestCell && mCell.height >= kNarrowestCell &&
        mCell.height <= kHighestPictureSide && sheetHeight <= kHighestSheet) {
        return std::nullopt;
    }
    return Failure{FailureKind::kOptions, std::to_string(mLayout.columns) + " columns and " +
                                                  std::to_string(mLayout.rows) +
                                                  " rows of pictures of " + sizeText(mCell) +
                                                  " make no sheet"};
}

std::optional<Failure> SheetWork::grab(StillGrabber* grabber) {
    if (auto failure = grabber->grab(
                mLayout.cells(), [this](int done) { showProgress(done); }, &mStills)) {
        return failure;
    }
    FaultWarnings warnings(
            [this](const std::string& text) { mContext.listener().onWarning(text); });
    while (const auto event = mContext.queue()->pop(0)) {
        if (const auto* fault = std::get_if<host::Fault>(&*event)) warnings.add(*fault);
    }
    warnings.summarize();
    mResult.damaged = warnings.damaged();
    return std::nullopt;
}

void SheetWork::showProgress(int done) {
    Progress progress;
    progress.pictures = done;
    progress.totalPictures = mLayout.cells();
    progress.percent = 100.0 * done / mLayout.cells();
    progress.elapsedSec = (nowUs() - mBeginUs) / 1e6;
    mContext.listener().onProgress(progress);
}

std::optional<Failure> SheetWork::write(const SheetPicture& sheet) {
    const std::vector<uint8_t> png = sheet.encode();
    if (png.empty()) {
        return Failure{FailureKind::kFailed, "the sheet is too large for this computer"};
    }
    if (!writeFully(mOutput.descriptor(), png.data(), png.size())) {
        return Failure{FailureKind::kOutput,
                       "cannot write '" + mOptions.output + "': " + strerror(errno)};
    }
    if (auto failure = mOutput.finish()) return failure;
    mWritten = sheet.size();
    mResult.files = {mOutput.currentName()};
    mResult.total.pictures = static_cast<int64_t>(mStills.size());
    mResult.total.totalPictures = mLayout.cells();
    mResult.total.bytes = static_cast<int64_t>(png.size());
    return std::nullopt;
}

}  // namespace

ContactSheet::ContactSheet(ContactSheetOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

Result ContactSheet::work(JobContext& context) {
    const FaultRelay faults(context.session(), context.queue());
    SheetWork sheet(mOptions, context);
    Result result = sheet.run();
    mSize = sheet.size();
    for (const Still& still : sheet.stills())
        mTimesUs.push_back(still.timeUs);
    return result;
}

}  // namespace oxa::jobs

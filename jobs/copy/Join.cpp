// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Join.h"

#include <utility>

#include "copy/CopyWork.h"
#include "copy/JoinWork.h"
#include "encode/EncodeSetup.h"
#include "tracks/SourceTags.h"
#include "tracks/SourceTracks.h"

namespace oxa::jobs {

namespace {

constexpr char kStandardInput[] = "-";

std::optional<Failure> openFile(const JoinOptions& options, const std::string& name,
                                InputFile* file) {
    if (name == kStandardInput) {
        return Failure{FailureKind::kOptions, "'-': standard input is no part, name a file"};
    }
    if (auto failure = file->open(name)) return failure;
    return refuseInput(*file, options.output, options.outputDescriptor);
}

std::optional<Failure> openPart(const JoinOptions& options, size_t number, CopyTask::Part* part) {
    InputFile file;
    part->path = options.parts[number];
    part->input = std::make_unique<host::CopyInput>();
    if (auto failure = openFile(options, part->path, &file)) return failure;
    return openForCopy(file, true, !options.sound, part->input.get(), options.sound.has_value());
}

// Parts are opened one at a time, once to be checked and once to be copied.
class JoinWork : public CopyWork {
  public:
    JoinWork(const JoinOptions& options, const host::OutputTags* tags, JobContext& context)
        : CopyWork(options, context), mOptions(options), mTags(tags) {}

  private:
    std::optional<Failure> openInputs() override;
    JobStart started(Container container) const override;
    CopyRun::Work work(const OutputFile& output, Container container) override;
    std::optional<Failure> checkParts();
    std::optional<Failure> openSound();
    std::optional<Failure> listTracks();

    const JoinOptions& mOptions;
    const host::OutputTags* const mTags;  // null: those of the parts
    TrackChoice mTracks;
    std::optional<host::InputDescription> mFirst;  // part
    std::unique_ptr<host::CopyInput> mSound;
    int64_t mDurationUs = 0;
};

std::optional<Failure> JoinWork::openInputs() {
    if (mOptions.parts.empty()) return Failure{FailureKind::kOptions, "there is no part"};
    if (auto failure = checkParts()) return failure;
    if (auto failure = openSound()) return failure;
    return listTracks();
}

std::optional<Failure> JoinWork::checkParts() {
    CopyTask::Part first;
    for (size_t number = 0; number < mOptions.parts.size(); ++number) {
        if (context().cancelled()) return cancelledFailure();
        CopyTask::Part part;
        if (auto failure = openPart(mOptions, number, &part)) return failure;
        mDurationUs += part.input->durationUs();
        if (number == 0) {
            first = std::move(part);
            continue;
        }
        const std::string difference = part.input->differenceFrom(*first.input);
        if (difference.empty()) continue;
        return Failure{FailureKind::kInput,
                       "'" + part.path + "' cannot follow '" + first.path + "': " + difference};
    }
    return std::nullopt;
}

std::optional<Failure> JoinWork::openSound() {
    if (!mOptions.sound) return std::nullopt;
    InputFile file;
    if (auto failure = openFile(mOptions, *mOptions.sound, &file)) return failure;
    mSound = std::make_unique<host::CopyInput>();
    return openForCopy(file, false, true, mSound.get(), true);
}

std::optional<Failure> JoinWork::listTracks() {
    for (const bool isVideo : {true, false}) {
        const bool isElsewhere = !isVideo && mOptions.sound;
        InputFile file;
        std::vector<Track> tracks;
        if (auto failure = file.open(isElsewhere ? *mOptions.sound : mOptions.parts.front())) {
            return failure;
        }
        if (auto failure = readTracks(file, &tracks)) return failure;
        const auto description = host::inputDescription();
        if (isVideo) {
            mFirst = description;
            // A part's own are not those of the whole.
            if (mFirst) mFirst->chapters.clear();
        } else if (isElsewhere && mFirst && description) {
            mFirst->chapters = description->chapters;
        }
        (isVideo ? mTracks.video : mTracks.audio) = firstOf(tracks, isVideo);
    }
    return std::nullopt;
}

// What the first part says is taken to be true of the whole; the sound that is of the whole has its
// chapters.
JobStart JoinWork::started(Container container) const {
    if (mTags != nullptr) {
        host::setOutputTags(*mTags);
    } else if (mFirst) {
        host::setOutputTags(keptTags(*mFirst, mTracks, {}, container));
    }
    return {tracksOf(mTracks), container, {}};
}

CopyRun::Work JoinWork::work(const OutputFile& output, Container container) {
    const auto openOne = [options = mOptions](size_t number, CopyTask::Part* part) {
        return openPart(options, number, part);
    };
    return {{output.descriptor(), container, mOptions.parts.size(), openOne, std::move(mSound)},
            output,
            mDurationUs};
}

}  // namespace

Result joinFiles(const JoinOptions& options, const host::OutputTags* tags, JobContext& context) {
    return JoinWork(options, tags, context).run();
}

Join::Join(JoinOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

Result Join::work(JobContext& context) {
    return joinFiles(mOptions, nullptr, context);
}

}  // namespace oxa::jobs

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "parts/FilmPlanning.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "encode/EncodeSetup.h"
#include "parts/FilmCuts.h"

namespace oxa::jobs {

namespace {

constexpr int32_t kMostParts = 1000;
constexpr int64_t kShortestLengthUs = 1'000'000;
constexpr int64_t kShortestPartUs = 200'000;
constexpr char kStandardStream[] = "-";

// The last part is not shorter than half of the others.
std::vector<int64_t> targets(int64_t filmUs, int64_t partUs) {
    std::vector<int64_t> times;
    partUs = std::max({partUs, kShortestPartUs, filmUs / kMostParts});
    for (int64_t timeUs = partUs; timeUs <= filmUs - partUs / 2; timeUs += partUs)
        times.push_back(timeUs);
    return times;
}

std::optional<Failure> checkDivision(const PlanOptions& options) {
    if (options.parts.has_value() == options.partLengthUs.has_value()) {
        return Failure{FailureKind::kOptions, "name either the number of parts or their length"};
    }
    if (!isWithin(options.parts, 1, kMostParts)) {
        return wrongOption("parts", std::to_string(*options.parts), "1 to 1000");
    }
    if (options.partLengthUs.value_or(kShortestLengthUs) < kShortestLengthUs) {
        return wrongOption("part-length", std::to_string(*options.partLengthUs / 1e6),
                           "a second or more");
    }
    return std::nullopt;
}

std::vector<InputPart> dividedAt(const std::vector<int64_t>& cutsUs, const InputPart& film) {
    std::vector<InputPart> parts(1, film);
    for (const int64_t cutUs : cutsUs) {
        parts.back().endUs = cutUs;
        parts.push_back(film);
        parts.back().startUs = cutUs;
    }
    return parts;
}

// Why there are fewer parts than wanted; empty when there are not.
std::string whyFewer(const FilmCuts& film, size_t parts, int64_t partUs) {
    const auto wanted =
            static_cast<size_t>((film.lengthUs() + partUs / 2) / std::max<int64_t>(partUs, 1));
    if (parts >= wanted) return "";
    return "made in " + std::to_string(parts) + " instead of " + std::to_string(wanted) +
           " parts: there are not more places to cut";
}

}  // namespace

std::optional<Failure> planFilm(const TranscodeOptions& options, const TranscodeSource& source,
                                const PartLength& partLength, JobContext& context, FilmPlan* plan) {
    plan->parts = {options.part};
    plan->hasPictures = source.video() != nullptr;
    if (!plan->hasPictures) return std::nullopt;
    if (source.audio() != nullptr) plan->sound = options.part;
    const FilmCuts film(options, source, context.cancelled());
    const int64_t partUs = partLength(film.lengthUs());
    const std::vector<int64_t> cuts = film.near(targets(film.lengthUs(), partUs));
    const bool isSteady = film.areSteady(cuts);
    if (context.cancelled()) return cancelledFailure();
    std::string why = "its clock jumps: it is made in one part";
    if (isSteady) {
        plan->parts = dividedAt(cuts, options.part);
        why = whyFewer(film, plan->parts.size(), partUs);
    }
    if (!why.empty()) context.listener().onWarning("'" + options.input + "': " + why);
    return std::nullopt;
}

std::optional<Failure> refuseNoFiles(const TranscodeOptions& options) {
    if (options.input == kStandardStream) {
        return Failure{FailureKind::kOptions,
                       "standard input cannot be read in parts, name a file"};
    }
    struct stat status;
    const bool isOther = stat(options.output.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    if (options.outputDescriptor < 0 && options.output != kStandardStream && !isOther) {
        return std::nullopt;
    }
    return Failure{FailureKind::kOptions,
                   "'" + options.output + "' is no file, and parts make one"};
}

TranscodeOptions optionsOfPart(const TranscodeOptions& film, const InputPart& part, Only only,
                               const std::string& path) {
    TranscodeOptions options = film;
    options.part = part;
    options.only = only;
    options.output = path;
    options.container = Container::kMp4;
    options.replaceOutput = true;
    options.indexFirst = false;
    return options;
}

namespace {

std::optional<Failure> makePlan(const PlanOptions& options, JobContext& context, FilmPlan* plan) {
    if (auto failure = checkDivision(options)) return failure;
    if (auto failure = refuseNoFiles(options)) return failure;
    TranscodeSource source(options, context);
    if (auto failure = source.open()) return failure;
    context.listener().onStart(source.started());
    const auto partLength = [&](int64_t filmUs) {
        return options.parts ? filmUs / *options.parts : *options.partLengthUs;
    };
    return planFilm(options, source, partLength, context, plan);
}

}  // namespace

Plan::Plan(PlanOptions options, JobListener* listener)
    : Job(listener), mOptions(std::move(options)) {}

Result Plan::work(JobContext& context) {
    Result result;
    FilmPlan plan;
    if (const auto failure = makePlan(mOptions, context, &plan)) {
        result.failure = *failure;
    } else {
        mPlan = plan;
    }
    return result;
}

}  // namespace oxa::jobs

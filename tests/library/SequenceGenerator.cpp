// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/SequenceGenerator.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

#include "library/FacadeModel.h"

namespace oxa::test {

namespace {

constexpr int kShortest = 5;
constexpr int kLongest = 40;
constexpr double kAsidePart = 0.15;

using Random = std::mt19937_64;

bool canGoOn(const FacadeModel& model) {
    if (model.runs()) return true;
    for (int name = Call::kInitiate; name <= Call::kStart; ++name) {
        const bool isStep = name <= Call::kTargetFormat || name >= Call::kPrepare;
        if (isStep && model.allows({static_cast<Call::Name>(name)})) return true;
    }
    return false;
}

// How often a call is made compared with the others that are allowed: what leads on is preferred,
// since most of what can go wrong needs a player that runs.
double weightOf(const Call& call, const FacadeModel& model) {
    const Call::Name name = call.name;
    const bool runs = model.runs();
    if (name == Call::kCreate && model.isCreated()) return 0.1;
    if (name == Call::kCreate) return call.value == kBothStreams ? 4 : 1;
    const char* job = getenv("OXA_SEQUENCE_JOB");
    if (name == Call::kInitiate && job != nullptr)
        return textOf(call) == std::string("initiate ") + job ? 1 : 0;
    if (name == Call::kInitiate && (call.value == kIdleFile || call.value >= kNameless)) return 0.3;
    if (name == Call::kInitiate)
        return call.value == kRecordUsb || call.value == kRecordHdmi ? 3 : 1.5;
    if (name == Call::kDataSource || name == Call::kCameraSource) return 3;
    if (name == Call::kAudioSource || name == Call::kSurface || name == Call::kPrepare) return 12;
    if (name == Call::kStart) return 5;
    const bool mayBeNext = model.next() == Call::kMuxer || model.next() == Call::kTargetFormat;
    if (name == Call::kMuxer && mayBeNext) return call.value < kNoSuchFolder ? 2 : 0.3;
    // One that is refused must leave the recording that runs as it is.
    if (name == Call::kMuxer && call.value >= kNoSuchFolder) return model.mustRecord() ? 0.4 : 0.02;
    if (name == Call::kMuxer) return runs ? 0.15 : 0.02;
    if (name == Call::kTargetFormat) return runs ? 0.15 : 5;
    const bool isReady = runs || model.next() == Call::kStart;
    if (name == Call::kTranscode && isLive(model.job())) return isReady ? 3 : 0.5;
    if (name == Call::kTranscode) return 0.1;
    if (name == Call::kStop) return runs ? 1.2 : model.isInitiated() ? 0.2 : 2;
    if (name == Call::kCleanup && !canGoOn(model)) return 4;
    if (name == Call::kCleanup) return model.isInitiated() ? 0.2 : 2;
    if (name == Call::kUntilRecorded || name == Call::kUntilEnded) return 4;
    if (name == Call::kUntilFinished) return 1;
    if (name == Call::kLateWakers) return model.isCreated() ? 0.2 : 6;
    return call.isEvent() ? 0.2 : 0.3;
}

Call choose(const FacadeModel& model, Random* random) {
    Sequence allowed;
    std::vector<double> weights;
    for (const Call& call : allCalls()) {
        if (!model.allows(call)) continue;
        allowed.push_back(call);
        weights.push_back(weightOf(call, model));
    }
    return allowed[std::discrete_distribution<size_t>(weights.begin(), weights.end())(*random)];
}

bool isAside(const Call& call, Random* random) {
    const bool may = call.name == Call::kStop || call.name == Call::kCleanup ||
                     call.name == Call::kTranscode;
    return may && std::bernoulli_distribution(kAsidePart)(*random);
}

// A sequence of calls that the model allows. False: not at this place.
struct Walk {
    FacadeModel model;
    Sequence sequence;

    bool add(const Call& call) {
        if (!model.allows(call)) return false;
        model.take(call);
        sequence.push_back(call);
        return true;
    }
    bool addPair(const Call& aside, const Call& next) {
        if (!model.allowsAside(aside, next)) return false;
        model.takeAside(aside, next);
        sequence.insert(sequence.end(), {aside, next});
        return true;
    }
};

Sequence generate(uint64_t seed) {
    Random random(seed);
    const size_t length = std::uniform_int_distribution<size_t>(kShortest, kLongest)(random);
    Walk walk;
    while (walk.sequence.size() < length) {
        Call call = choose(walk.model, &random);
        call.aside = isAside(call, &random);
        const Call next = choose(walk.model, &random);
        call.isPaired() ? walk.addPair(call, next) : walk.add(call);
    }
    return walk.sequence;
}

// Without the calls that the model does not allow at their place.
Sequence allowedOf(const Sequence& sequence) {
    Walk walk;
    for (size_t i = 0; i < sequence.size(); ++i) {
        Call call = sequence[i];
        if (call.isPaired()) {
            const bool hasNext = i + 1 < sequence.size() && !sequence[i + 1].aside;
            if (hasNext && walk.addPair(call, sequence[i + 1])) {
                ++i;
                continue;
            }
            call.aside = false;
        }
        walk.add(call);
    }
    return walk.sequence;
}

}  // namespace

rc::Gen<Sequence> sequences() {
    return [](const rc::Random& random, int /* size */) {
        rc::Random source = random;
        return rc::shrinkable::shrinkRecur(generate(source.next()), [](const Sequence& sequence) {
            return rc::seq::map(rc::shrink::removeChunks(sequence), allowedOf);
        });
    };
}

}  // namespace oxa::test

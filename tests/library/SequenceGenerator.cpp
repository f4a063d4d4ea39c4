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

// How often a call is made compared with the others that are allowed: what
// leads on is preferred, since most of what can go wrong needs a player that
// runs.
double weightOf(const Call& call, const FacadeModel& model) {
    const bool runs = model.runs();
    switch (call.name) {
        case Call::kCreate:
            if (model.isCreated()) return 0.1;
            return call.value == kBothStreams ? 4 : 1;
        case Call::kInitiate:
            if (const char* job = getenv("OXA_SEQUENCE_JOB")) {
                return textOf(call) == std::string("initiate ") + job ? 1 : 0;
            }
            if (call.value == kIdleFile || call.value >= kNameless) return 0.3;
            return call.value == kRecordUsb || call.value == kRecordHdmi ? 3 : 1.5;
        case Call::kDataSource:
        case Call::kCameraSource:
            return 3;
        case Call::kAudioSource:
        case Call::kSurface:
        case Call::kPrepare:
            return 12;
        case Call::kStart:
            return 5;
        case Call::kMuxer:
            if (model.awaitsMuxer()) return call.value < kNoSuchFolder ? 3.5 : 0.5;
            return runs ? 0.15 : 0.02;
        case Call::kTargetFormat:
            return runs ? 0.15 : 5;
        case Call::kTranscode:
            if (runs && model.isLive()) return 3;
            if (model.isLive()) return model.allows({Call::kStart}) ? 3 : 0.5;
            return 0.1;
        case Call::kStop:
            return runs ? 1.2 : model.isInitiated() ? 0.2 : 2;
        case Call::kCleanup:
            if (!canGoOn(model)) return 4;
            return model.isInitiated() ? 0.2 : 2;
        case Call::kUntilRecorded:
        case Call::kUntilEnded:
            return 4;
        case Call::kUntilFinished:
            return 1;
        case Call::kLateWakers:
            return model.isCreated() ? 0.2 : 6;
        default:
            return call.name >= Call::kCameraLost ? 0.2 : 0.3;
    }
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

Sequence generate(uint64_t seed) {
    Random random(seed);
    const int length = std::uniform_int_distribution<int>(kShortest, kLongest)(random);
    FacadeModel model;
    Sequence sequence;
    while (static_cast<int>(sequence.size()) < length) {
        Call call = choose(model, &random);
        call.aside = isAside(call, &random);
        const Call next = choose(model, &random);
        if (call.aside && call.name != Call::kCleanup) {
            if (!model.allowsAside(call, next)) continue;
            sequence.push_back(call);
            sequence.push_back(next);
            model.takeAside(call, next);
        } else {
            sequence.push_back(call);
            model.take(call);
        }
    }
    return sequence;
}

}  // namespace

Sequence allowedOf(const Sequence& sequence) {
    FacadeModel model;
    Sequence allowed;
    for (size_t i = 0; i < sequence.size(); ++i) {
        Call call = sequence[i];
        if (!model.allows(call)) continue;
        const bool isPair = call.aside && call.name != Call::kCleanup;
        if (isPair && i + 1 < sequence.size() && model.allowsAside(call, sequence[i + 1])) {
            Call next = sequence[++i];
            next.aside = false;
            model.takeAside(call, next);
            allowed.push_back(call);
            allowed.push_back(next);
            continue;
        }
        if (isPair) call.aside = false;
        model.take(call);
        allowed.push_back(call);
    }
    return allowed;
}

rc::Gen<Sequence> sequences() {
    return [](const rc::Random& random, int /* size */) {
        rc::Random source = random;
        return rc::shrinkable::shrinkRecur(
                allowedOf(generate(source.next())), [](const Sequence& sequence) {
                    return rc::seq::map(rc::shrink::removeChunks(sequence), allowedOf);
                });
    };
}

}  // namespace oxa::test

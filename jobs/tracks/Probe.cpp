// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Probe.h"

#include <oxa/host/InputDescription.h>
#include <oxa/host/Session.h>

#include <utility>

#include "tracks/SourceTracks.h"

namespace oxa::jobs {

namespace {

LeftOut::Kind kindOf(const host::InputStream& stream) {
    switch (stream.kind) {
        case host::InputStream::Kind::kPicture:
            return LeftOut::Kind::kPicture;
        case host::InputStream::Kind::kSound:
            return LeftOut::Kind::kSound;
        case host::InputStream::Kind::kSubtitle:
            return LeftOut::Kind::kSubtitle;
        case host::InputStream::Kind::kData:
            break;
    }
    return LeftOut::Kind::kData;
}

void tellAll(host::InputDescription description, ProbeResult* result) {
    result->metadata = std::move(description.metadata);
    for (const host::InputChapter& chapter : description.chapters)
        result->chapters.push_back({chapter.startUs, chapter.endUs, chapter.title});
    for (const host::InputStream& stream : description.streams) {
        if (stream.track) continue;
        result->leftOut.push_back(
                {kindOf(stream), stream.codec, languageOf(stream), stream.whyLeftOut});
    }
}

}  // namespace

ProbeResult probe(const std::string& name) {
    const host::Session session;
    const host::SessionScope scope(session);
    ProbeResult result;
    InputFile input;
    host::setThoroughInput(true);
    auto failure = input.open(name);
    if (!failure) failure = readTracks(input, &result.tracks);
    if (failure) {
        result.failure = *failure;
    } else if (auto description = host::inputDescription()) {
        tellAll(std::move(*description), &result);
    }
    return result;
}

}  // namespace oxa::jobs

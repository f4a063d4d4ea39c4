// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "oxa/jobs/Plan.h"
#include "oxa/jobs/Transcode.h"

namespace oxa::jobs {

// What the parts of a film are made from, into how many and how: what has to be the same for parts
// that are there already to be of use. As lines of a text file, of a name and a value each.
class PartList {
  public:
    PartList() = default;
    // `input` is open. The rest of the options, such as the output's name, may be another.
    PartList(const TranscodeOptions& options, int input);

    // `threads`: most of a codec, of which an encoder's pictures depend. Both stay what they were
    // for a job that goes on, however many parts it encodes at once.
    void setPlan(const FilmPlan& plan, unsigned threads);
    const FilmPlan& plan() const { return mPlan; }
    unsigned threads() const { return mThreads; }

    std::string text() const;
    // Takes plan and threads from a text; false when it is not one of this program.
    bool readPlan(const std::string& text, const TranscodeOptions& options);
    // What `text` says that was made in another way, for people: "quality was 23, is 28"; empty
    // when nothing was.
    std::string differenceFrom(const std::string& text) const;

  private:
    std::vector<std::pair<std::string, std::string>> mValues;
    FilmPlan mPlan;
    unsigned mThreads = 0;
};

}  // namespace oxa::jobs

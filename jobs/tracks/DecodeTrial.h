// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/NuMediaExtractor.h>

#include <optional>

#include "files/InputFile.h"
#include "oxa/jobs/InputPart.h"
#include "oxa/jobs/Track.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// Finds out which tracks of a file can be decoded. A player that was given a track which never
// decodes would wait for it in vain.
class DecodeTrial {
  public:
    // `opened` has read `input` and has no track selected: opening it again would cost time.
    // `input` and `cancelled` outlive the object.
    DecodeTrial(const InputFile& input, const android::sp<android::NuMediaExtractor>& opened,
                const CancelFlag& cancelled);

    // Whether at least one picture or one piece of sound of `track` comes out of its decoder; reads
    // as far as needed for that. Blocks until then, for at most 30 s in which nothing comes out,
    // and until the job is cancelled.
    bool canDecode(const Track& track);
    // The same for a part of what `opened` reads, by one sample: the one from which the part's
    // pictures are decoded. False when that does not tell.
    bool canDecodeIn(const InputPart& part, const Track& track);

  private:
    bool moveTo(const Track& track);
    bool hasSampleIn(const InputPart& part) const;
    bool openAnew();

    const InputFile& mInput;
    const CancelFlag& mCancelled;
    android::sp<android::NuMediaExtractor> mExtractor;
    std::optional<size_t> mSelected;
};

}  // namespace oxa::jobs

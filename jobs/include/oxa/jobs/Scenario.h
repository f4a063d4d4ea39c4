// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// Something that happens to the simulated HDMI receiver or to its sound service.
struct ScenarioStep {
    enum class Kind {
        kUnplug,  // the signal is gone
        kPlug,
        kStall,  // neither picture nor sound comes, though the plug is in
        kResume,
        kSize,       // `size`
        kFrameRate,  // `number`: pictures a second, 1 to 120; not more than the source has
        kInterlaced,
        kProgressive,
        kLoseSound,  // while the picture goes on
        kRestoreSound,
        kSampleRate,     // `number`: Hz, 8,000 to 192,000
        kChannels,       // `number`: 1 to 8, whatever the client asks for
        kDriverRight,    // the driver's files about the signal
        kDriverWrong,    // they say what cannot be
        kDriverMissing,  // there are none
        kSlowService,    // `delayUs`: each call takes so much longer; 0: no longer
        kKillService,
        kStartService,
    };

    int64_t timeUs = 0;  // since the beginning
    Kind kind = Kind::kUnplug;
    Size size = {0, 0};
    int32_t number = 0;
    int64_t delayUs = 0;
};

// In the order in which it happens.
using Scenario = std::vector<ScenarioStep>;

// A scenario as people write it: lines of a time and an event, such as "5s unplug" or "12s size
// 1280x720" (docs/television.md has all of them), in any order; '#' begins a comment. Nothing when
// `scenario` is all of it; otherwise kOptions, with `name`, the number of every line that is wrong,
// and why.
std::optional<Failure> parseScenario(const std::string& text, const std::string& name,
                                     Scenario* scenario);
// The same of a file; one that cannot be read is kInput. Blocks while it is read.
std::optional<Failure> readScenario(const std::string& path, Scenario* scenario);

// The event as it is written, without its time: "size 1280x720".
std::string scenarioText(const ScenarioStep& step);

}  // namespace oxa::jobs

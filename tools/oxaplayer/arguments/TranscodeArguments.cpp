// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/TranscodeArguments.h"

#include "arguments/Arguments.h"
#include "arguments/ParsedOption.h"

namespace oxaplayer {

void addTranscodeOptions(CLI::App& app, TranscodeOptions* options) {
    app.add_option("INPUT", options->input, "A media file")->required()->type_name("");
    addPartOptions(app, &options->part);
    addEncodeOptions(app, options);
    app.add_option_function<std::string>(
               "--deinterlace",
               [options](const std::string& text) {
                   options->deinterlace = parseWholeNumber(text, 0, 2);
                   if (!options->deinterlace && text != "auto") {
                       throw CLI::ValidationError("--deinterlace '" + text +
                                                  "': expected auto, 0, 1 or 2");
                   }
               },
               "0 off, 1 keep the frame rate, 2 double it (default: auto, 1 for a file that says "
               "it is interlaced)")
            ->type_name("auto|0|1|2");
    addIndexOption(app, options);
    addParsedOption(app, "--max-size", &options->maxSize, parseMaxSize, "WxH|NAME",
                    "Make a larger picture fit into this size, such as 1280x720 or 720p, in its "
                    "shape",
                    "WxH, from 16 to 8192, or a name from 240p to 2160p");
    app.get_option("--max-size")->excludes(app.get_option("--size"));
    addParsedOption(app, "--profile", &options->profile, parseProfile, "NAME",
                    "AVC profile (default: the encoder's choice)", "baseline, main or high");
    addParsedOption(app, "--level", &options->level, parseLevel, "N.N",
                    "AVC level (default: the encoder's choice)", "a level from 1.0 to 5.2");
    addParsedOption(app, "--audio-rate", &options->audioRate, parseAacSampleRate, "HZ",
                    "Sample rate of the sound (default: the source's)",
                    "a rate that AAC has, from 8000 to 96000");
    addParsedOption(
            app, "--audio-channels", &options->audioChannels,
            [](const std::string& text) { return parseWholeNumber(text, 1, 6); }, "N",
            "Channels of the sound (default: the source's, at most 6)", "1 to 6");
    app.add_flag_callback(
            "--no-metadata", [options] { options->keepsMetadata = false; },
            "Leave out title, artist, date, comment, languages and chapters");
    app.add_flag("--strict", options->strict, "Fail, and leave nothing, if INPUT is damaged");
    app.add_flag("--verify", options->verify,
                 "Compare the output with INPUT before it takes its name");
}

}  // namespace oxaplayer

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/TranscodeCommand.h"

#include "arguments/Arguments.h"
#include "arguments/ParsedOption.h"

namespace oxaplayer {

CLI::App* TranscodeCommand::define(CLI::App& app) {
    CLI::App* transcode = app.add_subcommand(
            "transcode", "Turn a file into AVC and AAC in MP4 or an MPEG transport stream");
    transcode->add_option("INPUT", mOptions.input, "A media file")->required()->type_name("");
    addPartOptions(*transcode, &mOptions.part);
    addEncodeOptions(*transcode, &mOptions);
    addIndexOption(*transcode, &mOptions);
    addParsedOption(*transcode, "--max-size", &mOptions.maxSize, parseMaxSize, "WxH|NAME",
                    "Make a larger picture fit into this size, such as 1280x720 or 720p, in its "
                    "shape",
                    "WxH, from 16 to 8192, or a name from 240p to 2160p");
    transcode->get_option("--max-size")->excludes(transcode->get_option("--size"));
    addParsedOption(*transcode, "--profile", &mOptions.profile, parseProfile, "NAME",
                    "AVC profile (default: the encoder's choice)", "baseline, main or high");
    addParsedOption(*transcode, "--level", &mOptions.level, parseLevel, "N.N",
                    "AVC level (default: the encoder's choice)", "a level from 1.0 to 5.2");
    addParsedOption(*transcode, "--audio-rate", &mOptions.audioRate, parseAacSampleRate, "HZ",
                    "Sample rate of the sound (default: the source's)",
                    "a rate that AAC has, from 8000 to 96000");
    addParsedOption(
            *transcode, "--audio-channels", &mOptions.audioChannels,
            [](const std::string& text) { return parseWholeNumber(text, 1, 6); }, "N",
            "Channels of the sound (default: the source's, at most 6)", "1 to 6");
    transcode->add_flag_callback(
            "--no-metadata", [this] { mOptions.keepsMetadata = false; },
            "Leave out title, artist, date, comment, languages and chapters");
    transcode->add_flag("--strict", mOptions.strict,
                        "Fail, and leave nothing, if INPUT is damaged");
    transcode->add_flag("--verify", mOptions.verify,
                        "Compare the output with INPUT before it takes its name");
    return transcode;
}

std::unique_ptr<Job> TranscodeCommand::makeJob() {
    mOptions.outputDescriptor = takeStandardOutput();
    return std::make_unique<Transcode>(mOptions, this);
}

}  // namespace oxaplayer

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/DecodedFile.h"

#include <sstream>

#include "support/MediaReader.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {

namespace {

Sound readSound(const std::string& path, int sampleRate, int channels) {
    const std::string bytes = readFile(path);
    Sound sound;
    sound.sampleRate = sampleRate;
    sound.channels = channels;
    sound.samples.resize(bytes.size() / sizeof(float));
    std::memcpy(sound.samples.data(), bytes.data(), sound.samples.size() * sizeof(float));
    return sound;
}

}  // namespace

int channelsOf(const std::string& layout) {
    AVChannelLayout known = {};
    av_channel_layout_from_string(&known, layout.c_str());
    const int channels = known.nb_channels;
    av_channel_layout_uninit(&known);
    return channels;
}

DecodedFile decodeByPeer(const DifficultFile& file, const std::string& path,
                         const std::string& look) {
    auto folder = std::make_unique<TempDir>();
    // Nothing here is longer; a wild time can make hours.
    std::vector<std::string> command = {"-t", "70", "-i", path};
    if (isTransportStream(path)) command = joined({"-f", kTransportStream}, command);
    const std::string sound = folder->file("sound");
    if (file.pictureCount != 0) {
        std::ostringstream filters;
        filters << look << (look.empty() ? "" : ",") << "scale=" << file.width << ":" << file.height
                << ":flags=bicubic,format=yuv420p";
        command = joined(command, {"-map", "0:v:0", "-vf", filters.str(), "-fps_mode",
                                   "passthrough", "-f", "rawvideo", folder->file("pictures")});
    }
    if (file.hasSound) {
        std::ostringstream filters;
        filters << "aresample=" << file.sampleRate << ":async=1:min_hard_comp=0.002:first_pts=0,"
                << "aformat=channel_layouts=" << file.layout;
        command = joined(command, {"-map", "0:a:0", "-af", filters.str(), "-f", "f32le", sound});
    }
    ProcessRunner(ffmpeg(command)).run();
    Sound heard = readSound(sound, file.sampleRate, channelsOf(file.layout));
    return {std::move(folder), file.width, file.height, std::move(heard)};
}

}  // namespace oxa::test

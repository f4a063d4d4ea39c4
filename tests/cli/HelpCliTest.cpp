// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/EncoderPreset.h>

#include <filesystem>
#include <regex>
#include <set>

#include "arguments/Arguments.h"
#include "cli/PlayerProgram.h"

namespace oxa::test {
namespace {

using Words = std::set<std::string>;

// What `pattern` finds at the beginnings of lines of a help text.
Words wordsOfHelp(std::vector<std::string> command, const std::string& pattern) {
    command.push_back("--help");
    Words words;
    const std::regex regex(pattern);
    const auto parsed = oxaplayer::parseArguments(command, oxaplayer::makeCommands());
    for (const std::string& line : linesOf(parsed.standardOutput)) {
        std::smatch match;
        if (std::regex_search(line, match, regex)) words.insert(match[1]);
    }
    return words;
}

Words optionsOf(const std::vector<std::string>& command) {
    return wordsOfHelp(command, "^ +(?:-[a-zA-Z],)?(--[a-z-]+)");
}

Words commands() {
    Words words = wordsOfHelp({}, "^  ([a-z][a-z-]+)  ");
    EXPECT_GE(words.size(), 6u);
    return words;
}

// What the shell offers for the last of these words; with its devices if a program lists some.
Words completions(const std::vector<std::string>& words, const std::string& program = "oxaplayer") {
    const std::vector<std::string> command = {
            "bash", "-c",
            "source \"$0\" && COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1)) && _oxaplayer && "
            "printf '%s\\n' \"${COMPREPLY[@]}\"",
            OXA_PLAYER_COMPLETION, program};
    const auto lines = linesOf(runOrDie(joined(command, words)).out);
    return {lines.begin(), lines.end()};
}

// Completion and manual say what the program itself says, so that neither is forgotten when a
// command or an option comes or goes.
TEST(Help, completionOffersEveryCommandAndOption) {
    EXPECT_EQ(completions({""}), commands());
    EXPECT_EQ(completions({"--"}), optionsOf({}));
    Words common = optionsOf({});
    common.erase("--version");
    for (const std::string& command : commands()) {
        Words options = optionsOf({command});
        options.insert(common.begin(), common.end());
        EXPECT_EQ(completions({command, "--"}), options) << command;
    }
}

TEST(Help, completionOffersValues) {
    EXPECT_EQ(completions({"transcode", "x.mkv", "--format", ""}), (Words{"mp4", "ts"}));
    EXPECT_EQ(completions({"play", "--display", "w"}), (Words{"window"}));
    Words presets = completions({"transcode", "--preset", ""});
    for (const std::string& preset : presets)
        EXPECT_TRUE(host::setEncoderPreset(preset)) << preset;
    presets.insert("auto");
    EXPECT_EQ(completions({"record", "--preset", ""}), presets);
}

// The shell splits a source at its colons, and wants to hear only what follows the last one.
TEST(Help, completionOffersTheDevicesThatAreThere) {
    const TempDir folder;
    const std::string program = folder.file("oxaplayer");
    ASSERT_TRUE(writeFile(program,
                          "#!/bin/sh\n[ \"$*\" = \"camera --list\" ] || exit 2\n"
                          "echo 'v4l2:/dev/video0  camera: A Webcam (/dev/video0)'\n"
                          "echo 'alsa:plughw:CARD=Cam,DEV=0  sound: A Webcam'\n"));
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    const std::string camera = "v4l2:/dev/video0";
    const std::string sound = "alsa:plughw:CARD=Cam,DEV=0";
    const auto offered = [&](const std::vector<std::string>& words) {
        return completions(joined({"record"}, words), program);
    };
    Words sources = offered({"--usb", ""});
    EXPECT_EQ(sources.count(camera) + sources.count(sound) + sources.count("lavfi:"), 3u);
    sources = offered({"--audio", ""});
    EXPECT_EQ(sources.count(camera), 0u);
    EXPECT_EQ(sources.count("none") + sources.count(sound), 2u);
    EXPECT_EQ(offered({"--usb", "v4"}), Words{camera});
    EXPECT_EQ(offered({"--usb", "v4l2", ":"}), Words{"/dev/video0"});
    EXPECT_EQ(offered({"--usb", "=", "v4l2", ":", "/d"}), Words{"/dev/video0"});
    EXPECT_EQ(offered({"--audio", "alsa", ":", "plughw", ":", "CARD", "=", "C"}),
              Words{"Cam,DEV=0"});
}

TEST(Help, manualNamesEveryCommandAndOption) {
    const std::string manual =
            std::regex_replace(readFile(OXA_PLAYER_MANUAL), std::regex("\\\\-"), "-");
    Words options = optionsOf({});
    for (const std::string& command : commands()) {
        EXPECT_TRUE(std::regex_search(manual, std::regex("oxaplayer " + command + "\\\\fR")))
                << command;
        const Words own = optionsOf({command});
        options.insert(own.begin(), own.end());
    }
    for (const std::string& option : options) {
        EXPECT_TRUE(std::regex_search(manual, std::regex("\n\\.B.* " + option + "[ \n]")))
                << option;
    }
}

}  // namespace
}  // namespace oxa::test

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/PlanCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "arguments/Arguments.h"
#include "arguments/OutputName.h"
#include "arguments/ParsedOption.h"
#include "arguments/TranscodeArguments.h"

namespace oxaplayer {

namespace {

constexpr char kSound[] = "sound";
// What a part has of its own, and what only the film has.
const std::vector<std::string> kNotOfParts = {"parts",    "part-length", "start",  "end",
                                              "duration", "only",        "output", "format",
                                              "force",    "faststart"};
const std::vector<std::string> kOfFilm = {"format", "force", "faststart"};

// "90" or "14.014".
std::string secondsText(int64_t us) {
    char text[32];
    snprintf(text, sizeof(text), "%lld.%06lld", static_cast<long long>(us / 1'000'000),
             static_cast<long long>(us % 1'000'000));
    std::string seconds = text;
    seconds.erase(seconds.find_last_not_of('0') + 1);
    if (seconds.back() == '.') seconds.pop_back();
    return seconds;
}

// A name that is no option, whatever it begins with.
std::string nameWord(const std::string& path) {
    return shellWord(path.front() == '-' ? "./" + path : path);
}

std::string withMark(const std::string& path, const std::string& mark) {
    const size_t dot = path.rfind('.');
    return path.substr(0, dot) + "." + mark + path.substr(dot);
}

}  // namespace

std::string shellWord(const std::string& text) {
    const bool isPlain = !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
        return std::isalnum(static_cast<unsigned char>(letter)) ||
               std::strchr("_@%+=:,./-", letter) != nullptr;
    });
    if (isPlain) return text;
    std::string quoted = "'";
    for (const char letter : text)
        quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    return quoted + "'";
}

CLI::App* PlanCommand::define(CLI::App& app) {
    CLI::App* plan = app.add_subcommand(
            "plan", "Print the commands that make one film in parts, one a line");
    addParsedOption(
            *plan, "--parts", &mOptions.parts,
            [](const std::string& text) { return parseWholeNumber(text, 1, 1000); }, "N",
            "How many parts", "1 to 1000");
    addParsedOption(*plan, "--part-length", &mOptions.partLengthUs, parseDuration, "T",
                    "How long a part is, instead", "a time such as 90, 1:30.5 or 10m, above 0");
    plan->get_option("--parts")->excludes(plan->get_option("--part-length"));
    addTranscodeOptions(*plan, &mOptions);
    plan->final_callback([this, plan] { remember(*plan); });
    return plan;
}

std::optional<Failure> PlanCommand::check() {
    const bool isTs = mOptions.container == Container::kMpeg2Ts;
    if (mOptions.input.find('\n') != std::string::npos ||
        mOptions.output.find('\n') != std::string::npos) {
        return Failure{FailureKind::kOptions, "a name with two lines has no place in one"};
    }
    return nameInFolder(mOptions.input, isTs ? ".ts" : ".mp4", &mOptions.output);
}

std::unique_ptr<Job> PlanCommand::makeJob() {
    auto plan = std::make_unique<Plan>(mOptions, this);
    mPlan = plan.get();
    return plan;
}

void PlanCommand::onStart(const JobStart& start) {
    announceStart({{"input", mOptions.input}, {"output", mOptions.output}});
    announceLeftBehind(start.leftBehind);
}

std::string PlanCommand::answerOf(const Result& /*result*/) const {
    std::string lines;
    for (const std::string& command : commands())
        lines += command + "\n";
    return lines;
}

Json PlanCommand::fieldsOf(const Result& result) const {
    return result.ok() ? Json{{"commands", commands()}} : Json::object();
}

std::vector<std::string> PlanCommand::commands() const {
    std::vector<std::string> lines;
    if (mPlan == nullptr || mPlan->plan().parts.empty()) return lines;
    const FilmPlan& plan = mPlan->plan();
    const size_t digits = std::to_string(plan.parts.size()).size();
    std::vector<std::string> parts;
    if (plan.sound) lines.push_back(transcoding(*plan.sound, "audio", pathOf(kSound)));
    for (const InputPart& part : plan.parts) {
        std::string number = std::to_string(parts.size() + 1);
        number.insert(0, digits - number.size(), '0');
        parts.push_back(pathOf(number));
        lines.push_back(transcoding(part, plan.hasPictures ? "video" : "audio", parts.back()));
    }
    lines.push_back(joining(parts));
    return lines;
}

// A part has its name when it is complete, and only then: one that was interrupted has not.
std::string PlanCommand::transcoding(const InputPart& part, const std::string& only,
                                     const std::string& path) const {
    const std::string work = withMark(path, "work");
    std::string line = "oxaplayer transcode " + nameWord(mOptions.input) + " -o " + nameWord(work) +
                       " --force --only " + only;
    if (part.startUs > 0) line += " --start " + secondsText(part.startUs);
    if (part.endUs) line += " --end " + secondsText(*part.endUs);
    return line + given(kNotOfParts, false) + " && mv " + nameWord(work) + " " + nameWord(path);
}

std::string PlanCommand::joining(const std::vector<std::string>& parts) const {
    std::string line = "oxaplayer join";
    for (const std::string& part : parts)
        line += " " + nameWord(part);
    if (mPlan->plan().sound) line += " --sound " + nameWord(pathOf(kSound));
    return line + " -o " + nameWord(mOptions.output) + given(kOfFilm, true);
}

std::string PlanCommand::given(const std::vector<std::string>& names, bool areMeant) const {
    std::string words;
    for (const auto& [name, text] : mGiven) {
        const bool isNamed = std::find(names.begin(), names.end(), name) != names.end();
        if (isNamed == areMeant) words += text;
    }
    return words;
}

void PlanCommand::remember(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() == 0 || option->get_lnames().empty()) continue;
        const std::string name = option->get_lnames().front();
        const bool hasValue = option->get_items_expected_max() > 0;
        mGiven.emplace_back(
                name, " --" + name + (hasValue ? " " + shellWord(option->results().back()) : ""));
    }
}

// "film.1.mp4" of "film.ts": parts keep the times of their pictures in MP4 alone.
std::string PlanCommand::pathOf(const std::string& part) const {
    const size_t dot = mOptions.output.rfind('.');
    const size_t slash = mOptions.output.rfind('/');
    const bool hasExtension =
            dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
    return (hasExtension ? mOptions.output.substr(0, dot) : mOptions.output) + "." + part + ".mp4";
}

}  // namespace oxaplayer

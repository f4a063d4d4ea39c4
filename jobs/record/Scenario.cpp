// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Scenario.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>

#include "files/InputFile.h"
#include "oxa/jobs/Values.h"

namespace oxa::jobs {

namespace {

using Kind = ScenarioStep::Kind;
using Words = std::vector<std::string>;

constexpr int64_t kLargestFile = 1 << 20;
constexpr int64_t kLongestDelayUs = 60'000'000;

enum class Value { kNone, kSize, kNumber, kDelay };

// One event as it is written.
struct Form {
    Kind kind;
    Value value;
    const char* words;
    const char* expected = "";
    int32_t lowest = 0;
    int32_t highest = 0;
};

constexpr Form kForms[] = {
        {Kind::kUnplug, Value::kNone, "unplug"},
        {Kind::kPlug, Value::kNone, "plug"},
        {Kind::kStall, Value::kNone, "stall"},
        {Kind::kResume, Value::kNone, "resume"},
        {Kind::kSize, Value::kSize, "size", "WxH, both even, from 16 to 8192, or a name"},
        {Kind::kFrameRate, Value::kNumber, "rate", "a whole number from 1 to 120", 1, 120},
        {Kind::kInterlaced, Value::kNone, "interlaced"},
        {Kind::kProgressive, Value::kNone, "progressive"},
        {Kind::kLoseSound, Value::kNone, "lose-sound"},
        {Kind::kRestoreSound, Value::kNone, "restore-sound"},
        {Kind::kSampleRate, Value::kNumber, "sample-rate", "Hz from 8000 to 192000", 8000, 192000},
        {Kind::kChannels, Value::kNumber, "channels", "a whole number from 1 to 8", 1, 8},
        {Kind::kDriverRight, Value::kNone, "driver ok"},
        {Kind::kDriverWrong, Value::kNone, "driver wrong"},
        {Kind::kDriverMissing, Value::kNone, "driver missing"},
        {Kind::kSlowService, Value::kDelay, "service slow", "a time up to 60s, such as 500ms"},
        {Kind::kKillService, Value::kNone, "kill-service"},
        {Kind::kStartService, Value::kNone, "start-service"},
};

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

Words wordsOf(const std::string& line) {
    std::istringstream stream(line.substr(0, line.find('#')));
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

// Like a time, or in milliseconds.
std::optional<int64_t> parseDelay(const std::string& text) {
    const bool isShort = text.size() > 2 && text.compare(text.size() - 2, 2, "ms") == 0;
    if (!isShort) return parseTime(text);
    const auto ms = parseWholeNumber(text.substr(0, text.size() - 2), 0, INT32_MAX);
    return ms ? std::optional<int64_t>(*ms * int64_t{1000}) : std::nullopt;
}

bool readValue(const Form& form, const std::string& text, ScenarioStep* step) {
    if (form.value == Value::kSize) {
        const auto size = parseSize(text);
        if (size) step->size = *size;
        return size.has_value();
    }
    if (form.value == Value::kNumber) {
        const auto number = parseWholeNumber(text, form.lowest, form.highest);
        step->number = number.value_or(0);
        return number.has_value();
    }
    const auto delayUs = parseDelay(text);
    step->delayUs = delayUs.value_or(0);
    return delayUs && *delayUs <= kLongestDelayUs;
}

// The form whose words stand behind the time; null for none.
const Form* formOf(const Words& words, size_t* length) {
    for (const Form& form : kForms) {
        const Words own = wordsOf(form.words);
        *length = own.size() + 1;
        if (words.size() >= *length && std::equal(own.begin(), own.end(), words.begin() + 1)) {
            return &form;
        }
    }
    return nullptr;
}

// What is wrong with a line that has words; empty for nothing.
std::string readLine(const Words& words, ScenarioStep* step) {
    const auto timeUs = parseTime(words[0]);
    if (!timeUs) return quoted(words[0]) + " is no time such as 5s or 1:30";
    if (words.size() == 1) return "nothing happens";
    size_t length = 0;
    const Form* const form = formOf(words, &length);
    if (form == nullptr) {
        const bool isHalf = words.size() > 2;
        return "there is no event " + quoted(words[1] + (isHalf ? " " + words[2] : ""));
    }
    step->timeUs = *timeUs;
    step->kind = form->kind;
    if (form->value != Value::kNone) {
        const std::string text = length < words.size() ? words[length] : "";
        if (!readValue(*form, text, step)) {
            return std::string(form->words) + " " + quoted(text) + ": expected " + form->expected;
        }
        ++length;
    }
    return length < words.size() ? quoted(words[length]) + " is spare" : "";
}

}  // namespace

std::optional<Failure> parseScenario(const std::string& text, const std::string& name,
                                     Scenario* scenario) {
    scenario->clear();
    std::string wrong;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const Words words = wordsOf(line);
        if (words.empty()) continue;
        ScenarioStep step;
        const std::string cause = readLine(words, &step);
        if (!cause.empty()) {
            wrong +=
                    (wrong.empty() ? ", line " : "; line ") + std::to_string(number) + ": " + cause;
        }
        scenario->push_back(step);
    }
    std::stable_sort(
            scenario->begin(), scenario->end(),
            [](const ScenarioStep& a, const ScenarioStep& b) { return a.timeUs < b.timeUs; });
    if (wrong.empty()) return std::nullopt;
    return Failure{FailureKind::kOptions, "scenario " + quoted(name) + wrong};
}

std::optional<Failure> readScenario(const std::string& path, Scenario* scenario) {
    InputFile file;
    if (auto failure = file.openPath(path)) return failure;
    const auto cannotRead = [&](const char* cause) {
        return Failure{FailureKind::kInput, "cannot read " + quoted(path) + ": " + cause};
    };
    if (file.size() > kLargestFile) return cannotRead(strerror(EFBIG));
    std::string text(file.size(), '\0');
    const ssize_t size = pread(file.descriptor(), text.data(), text.size(), 0);
    if (size < 0) return cannotRead(strerror(errno));
    text.resize(size);
    return parseScenario(text, path, scenario);
}

std::string scenarioText(const ScenarioStep& step) {
    const Form& form = *std::find_if(std::begin(kForms), std::end(kForms),
                                     [&](const Form& known) { return known.kind == step.kind; });
    std::string words = form.words;
    switch (form.value) {
        case Value::kNone:
            break;
        case Value::kSize:
            return words + " " + std::to_string(step.size.width) + "x" +
                   std::to_string(step.size.height);
        case Value::kNumber:
            return words + " " + std::to_string(step.number);
        case Value::kDelay:
            return words + " " + std::to_string(step.delayUs / 1000) + "ms";
    }
    return words;
}

}  // namespace oxa::jobs

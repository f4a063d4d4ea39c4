// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/PresetChoice.h"

#include <oxa/host/EncoderSpeed.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <utility>
#include <vector>

namespace oxa::jobs {

namespace fs = std::filesystem;

namespace {

// From the slowest on.
constexpr std::array<const char*, 3> kCandidates = {"veryfast", "superfast", "ultrafast"};
constexpr int64_t kBudgetUs = 100'000;  // of each that is measured
constexpr size_t kMostLines = 100;

size_t placeOf(const std::string& preset) {
    return std::find(kCandidates.begin(), kCandidates.end(), preset) - kCandidates.begin();
}

// Empty where the user has none.
std::string cacheFile() {
    const char* const cache = getenv("XDG_CACHE_HOME");
    const char* const home = getenv("HOME");
    if (cache != nullptr && cache[0] == '/') return std::string(cache) + "/oxaplayer/presets";
    if (home != nullptr && home[0] == '/') return std::string(home) + "/.cache/oxaplayer/presets";
    return {};
}

std::string processor() {
    constexpr char kModel[] = "model name";
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const size_t colon = line.find(": ");
        if (line.compare(0, sizeof(kModel) - 1, kModel) == 0 && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "a processor";
}

// What a line begins with, which ends with the preset.
std::string keyOf(Size size, int32_t frameRate) {
    return std::to_string(size.width) + "x" + std::to_string(size.height) + " " +
           std::to_string(frameRate) + " fps, " +
           std::to_string(std::thread::hardware_concurrency()) + " of " + processor() + ": ";
}

std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; lines.size() < 2 * kMostLines && std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

}  // namespace

PresetChoice::PresetChoice()
    : PresetChoice(cacheFile(), [](Size size, const std::string& preset) {
          return host::measureEncoder(size.width, size.height, preset, kBudgetUs);
      }) {}

PresetChoice::PresetChoice(std::string file, Measure measure)
    : mFile(std::move(file)), mMeasure(std::move(measure)) {}

std::string PresetChoice::choose(Size size, int32_t frameRate) const {
    if (const auto known = remembered(size, frameRate)) return *known;
    std::string preset = measure(size, frameRate);
    write(keyOf(size, frameRate), preset);
    return preset;
}

std::string PresetChoice::measure(Size size, int32_t frameRate) const {
    const int64_t mostUs = 2 * 1'000'000 / (3 * std::max(1, frameRate));
    for (const char* const preset : kCandidates) {
        if (preset == kCandidates.back() || mMeasure(size, preset) <= mostUs) return preset;
    }
    return kCandidates.back();
}

std::optional<std::string> PresetChoice::remembered(Size size, int32_t frameRate) const {
    const std::string key = keyOf(size, frameRate);
    for (const std::string& line : linesOf(mFile)) {
        std::string preset = line.substr(std::min(line.size(), key.size()));
        const bool isKnown = placeOf(preset) < kCandidates.size();
        if (isKnown && line.compare(0, key.size(), key) == 0) return preset;
    }
    return std::nullopt;
}

void PresetChoice::forget(Size size, int32_t frameRate) const {
    write(keyOf(size, frameRate), "");
}

// The latest stands first. As a whole, so that nobody reads half of it; where it cannot be written
// the next time measures again.
void PresetChoice::write(const std::string& key, const std::string& preset) const {
    if (mFile.empty()) return;
    std::error_code ignored;
    fs::create_directories(fs::path(mFile).parent_path(), ignored);
    std::vector<std::string> lines = linesOf(mFile);
    const auto isOld = [&key](const std::string& line) {
        return line.compare(0, key.size(), key) == 0;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isOld), lines.end());
    if (!preset.empty()) lines.insert(lines.begin(), key + preset);
    lines.resize(std::min(lines.size(), kMostLines));
    const std::string fresh = mFile + "." + std::to_string(getpid());
    std::ofstream file(fresh, std::ios::trunc);
    for (const std::string& line : lines)
        file << line << "\n";
    file.close();
    fs::rename(fresh, mFile, ignored);
    if (!file || ignored) fs::remove(fresh, ignored);
}

std::optional<std::string> fasterPreset(const std::string& preset) {
    const size_t place = placeOf(preset);
    if (place == kCandidates.size()) return kCandidates.front();
    if (place + 1 == kCandidates.size()) return std::nullopt;
    return kCandidates[place + 1];
}

bool isFasterPreset(const std::string& preset, const std::string& than) {
    const size_t place = placeOf(preset);
    const size_t other = placeOf(than);
    return place < kCandidates.size() && (other == kCandidates.size() || place > other);
}

}  // namespace oxa::jobs

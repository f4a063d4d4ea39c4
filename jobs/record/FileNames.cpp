// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/FileNames.h"

#include <cstdio>
#include <cstring>
#include <iomanip>
#include <sstream>

#include "encode/EncodeSetup.h"

namespace oxa::jobs {

namespace {

// All but those that give white space.
constexpr char kConversions[] = "aAbBcCdDeFgGhHIjmMpPrRsSTuUVwWxXyYzZ%";

// "film-7.mp4" for "film.mp4".
std::string withSuffix(const std::string& name, const std::string& suffix) {
    const size_t place = name.size() - extensionOf(name).size();
    return name.substr(0, place) + "-" + suffix + name.substr(place);
}

}  // namespace

std::optional<Failure> FileNames::check(const std::string& pattern) {
    for (size_t i = pattern.find('%'); i != std::string::npos; i = pattern.find('%', i + 2)) {
        const char conversion = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
        if (conversion != '\0' && strchr(kConversions, conversion) != nullptr) continue;
        return Failure{FailureKind::kOptions,
                       "output '" + pattern + "': '" + pattern.substr(i, 2) +
                               "' is no part of a time, a percent sign is written %%",
                       Hint::kOtherValue};
    }
    return std::nullopt;
}

bool FileNames::isNumbered() const {
    return mHasSeveral && mPattern.find('%') == std::string::npos;
}

std::string FileNames::nameAt(time_t now) const {
    if (isNumbered()) {
        char number[16];
        snprintf(number, sizeof(number), "%03d", mNumber);
        return withSuffix(mPattern, number);
    }
    tm local = {};
    localtime_r(&now, &local);
    std::ostringstream name;
    name << std::put_time(&local, mPattern.c_str());
    return name.str();
}

std::string FileNames::first(time_t now) {
    mNumber = 1;
    std::string name = nameAt(now);
    mUsed.insert(name);
    return name;
}

std::string FileNames::next(time_t now, const IsTaken& isTaken) {
    ++mNumber;
    std::string name = nameAt(now);
    for (int i = 1; mUsed.count(name) > 0 || isTaken(name); ++i) {
        if (isNumbered()) ++mNumber;
        name = isNumbered() ? nameAt(now) : withSuffix(nameAt(now), std::to_string(i));
    }
    mUsed.insert(name);
    return name;
}

}  // namespace oxa::jobs

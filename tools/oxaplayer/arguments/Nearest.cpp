// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/Nearest.h"

#include <algorithm>

namespace oxaplayer {

namespace {

// How many letters to put in, leave out, change or exchange with their neighbour.
size_t slipsBetween(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> slips(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                slips[i][j] = i + j;
                continue;
            }
            const size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
            slips[i][j] = std::min(
                    {slips[i - 1][j] + 1, slips[i][j - 1] + 1, slips[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                slips[i][j] = std::min(slips[i][j], slips[i - 2][j - 2] + 1);
            }
        }
    }
    return slips[a.size()][b.size()];
}

}  // namespace

std::string nearestWord(const std::string& typed, const std::vector<std::string>& words) {
    constexpr size_t kShortestPart = 4;
    std::string nearest;
    size_t fewest = std::max<size_t>(1, typed.size() / 3) + 1;
    for (const std::string& word : words) {
        const size_t slips = slipsBetween(typed, word);
        if (slips >= fewest) continue;
        fewest = slips;
        nearest = word;
    }
    if (!nearest.empty() || typed.size() < kShortestPart) return nearest;
    const auto holder = std::find_if(words.begin(), words.end(), [&](const std::string& word) {
        return word.find(typed) != std::string::npos || typed.find(word) != std::string::npos;
    });
    return holder == words.end() ? "" : *holder;
}

}  // namespace oxaplayer

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/LogText.h"

#include <android/log.h>

namespace oxaplayer {

namespace {

constexpr char kPlain[] = "\033[0m";

// How long the colour code is that begins at `start`; 0 when none does.
size_t colourLength(const std::string& text, size_t start) {
    if (text.compare(start, 2, "\033[") != 0) return 0;
    const size_t end = text.find_first_not_of("0123456789;", start + 2);
    return end != std::string::npos && text[end] == 'm' ? end + 1 - start : 0;
}

}  // namespace

std::string printable(const std::string& text) {
    std::string shown = text;
    for (size_t i = 0; i < shown.size(); ++i) {
        const auto byte = static_cast<unsigned char>(shown[i]);
        if (byte < 0x20 || byte == 0x7F) shown[i] = '?';
        // The other control characters, U+0080 to U+009F, as UTF-8 has them.
        if (byte >= 0x80 && byte < 0xA0 && i > 0 && shown[i - 1] == '\xC2') shown[i] = '\xBF';
    }
    return shown;
}

std::string logText(const std::string& text, bool colour) {
    std::string shown;
    size_t begin = 0;
    bool isColoured = false;
    for (size_t i = 0; i < text.size();) {
        const size_t length = colourLength(text, i);
        if (length == 0) {
            ++i;
            continue;
        }
        shown += printable(text.substr(begin, i - begin));
        if (colour) shown += text.substr(i, length);
        isColoured = colour;
        i += length;
        begin = i;
    }
    shown += printable(text.substr(begin));
    return isColoured ? shown + kPlain : shown;
}

char priorityLetter(int priority) {
    static constexpr char kLetters[] = "??VDIWEF";
    return priority >= ANDROID_LOG_VERBOSE && priority <= ANDROID_LOG_FATAL ? kLetters[priority]
                                                                            : '?';
}

}  // namespace oxaplayer

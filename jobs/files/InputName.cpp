// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/InputName.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace oxa::jobs {

namespace {

constexpr char kFileScheme[] = "file://";
constexpr char kThisComputer[] = "localhost";

// "http" of "http://x"; empty for a path.
std::string schemeOf(const std::string& name) {
    const size_t end = name.find("://");
    if (end == std::string::npos || end == 0) return {};
    const std::string scheme = name.substr(0, end);
    const bool isScheme = std::all_of(scheme.begin(), scheme.end(), [](unsigned char letter) {
        return std::isalnum(letter) || letter == '+' || letter == '-' || letter == '.';
    });
    return isScheme ? scheme : "";
}

// As schemes and hosts are compared.
bool isSameWord(const std::string& word, const char* other) {
    return strcasecmp(word.c_str(), other) == 0;
}

bool isFileUrl(const std::string& name) {
    return isSameWord(name.substr(0, sizeof(kFileScheme) - 1), kFileScheme);
}

// Nothing for what stands for no byte of a path.
std::optional<std::string> percentDecoded(const std::string& text) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        unsigned int byte = 0;
        const char* digits = text.data() + i + 1;
        const char* end = text.data() + std::min(i + 3, text.size());
        const auto [stop, error] = std::from_chars(digits, end, byte, 16);
        if (error != std::errc() || stop != digits + 2 || byte == 0) return std::nullopt;
        decoded += static_cast<char>(byte);
        i += 2;
    }
    return decoded;
}

}  // namespace

std::optional<std::string> inputPath(const std::string& name) {
    if (name == kStandardInput) return std::nullopt;
    if (!isFileUrl(name)) return schemeOf(name).empty() ? std::optional(name) : std::nullopt;
    const std::string rest = name.substr(sizeof(kFileScheme) - 1);
    const size_t slash = rest.find('/');
    if (slash == std::string::npos) return std::nullopt;
    const std::string host = rest.substr(0, slash);
    if (!host.empty() && !isSameWord(host, kThisComputer)) return std::nullopt;
    return percentDecoded(rest.substr(slash));
}

std::string whyNoPath(const std::string& name) {
    if (isFileUrl(name)) return "It is no file of this computer, or badly written";
    return "Files and standard input can be read, no '" + schemeOf(name) + "' addresses";
}

}  // namespace oxa::jobs

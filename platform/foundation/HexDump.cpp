// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "foundation/HexDump.h"

#include <ctype.h>

#include <algorithm>

namespace android {

AString hexDump(const void* data, size_t size, int32_t indent) {
    constexpr size_t kLine = 16;
    AString text;
    for (size_t offset = 0; offset < size; offset += kLine) {
        const auto* const bytes = static_cast<const uint8_t*>(data) + offset;
        AString codes;
        AString characters;
        for (size_t i = 0; i < std::min(kLine, size - offset); ++i) {
            codes.append(AStringPrintf(i == kLine / 2 ? " %02x " : "%02x ", bytes[i]));
            characters.append(isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.');
        }
        text.append(AStringPrintf("%*s%08zx:  %-49s %s\n", indent, "", offset, codes.c_str(),
                                  characters.c_str()));
    }
    return text;
}

}  // namespace android

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <log/log.h>
#include <media/DataSource.h>
#include <media/stagefright/NuMediaExtractor.h>

#include <type_traits>

#include "OxaMediaCodecPlayerCommon.h"

namespace android {

// Maintenance releases of the platform construct the extractor with or without an entry point. Its
// destructor is protected, so that no constructor can be asked for by a type trait.
template <typename Extractor, typename = void>
struct ExtractorMaker {
    static sp<Extractor> make() { return new Extractor(); }
};
template <typename Extractor>
struct ExtractorMaker<Extractor, std::void_t<typename Extractor::EntryPoint>> {
    static sp<Extractor> make() { return new Extractor(Extractor::EntryPoint::OTHER); }
};

// Opens `source` with a new extractor; on failure there is none. Log tag, `function` and `line` are
// the caller's.
inline status_t openExtractor(const sp<DataSource>& source, sp<NuMediaExtractor>* extractor,
                              const char* tag, const char* function, int line) {
    *extractor = ExtractorMaker<NuMediaExtractor>::make();
    status_t err = (*extractor)->setDataSource(source);
    if (err != OK) {
        ALOG(LOG_ERROR, tag, LOG_RED "%s[%d]: MediaExtractor set data source failed" LOG_RESET,
             function, line);
        extractor->clear();
        return err;
    }
    ALOG(LOG_DEBUG, tag, "%s[%d]: MediaExtractor set data source success", function, line);
    return OK;
}

}  // namespace android

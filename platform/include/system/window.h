// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <system/graphics.h>

// The part of the platform's C view of a window that C++ code needs to hold one by reference:
// identification and reference counting. Pictures travel through IGraphicBufferProducer.

#define ANDROID_NATIVE_MAKE_CONSTANT(a, b, c, d)                           \
    ((static_cast<unsigned>(a) << 24) | (static_cast<unsigned>(b) << 16) | \
     (static_cast<unsigned>(c) << 8) | static_cast<unsigned>(d))

#define ANDROID_NATIVE_WINDOW_MAGIC ANDROID_NATIVE_MAKE_CONSTANT('_', 'w', 'n', 'd')

struct android_native_base_t {
    int magic = 0;
    int version = 0;
    void (*incRef)(android_native_base_t* base) = nullptr;
    void (*decRef)(android_native_base_t* base) = nullptr;
};

struct ANativeWindow {
    ANativeWindow() {
        common.magic = static_cast<int>(ANDROID_NATIVE_WINDOW_MAGIC);
        common.version = static_cast<int>(sizeof(ANativeWindow));
    }

    // For sp<ANativeWindow>.
    void incStrong(const void* /*id*/) const {
        common.incRef(const_cast<android_native_base_t*>(&common));
    }
    void decStrong(const void* /*id*/) const {
        common.decRef(const_cast<android_native_base_t*>(&common));
    }

    android_native_base_t common;
};

typedef struct ANativeWindow ANativeWindow;

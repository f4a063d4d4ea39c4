// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/KeyedVector.h>
#include <utils/String8.h>
#include <utils/Vector.h>

namespace android {

struct Size {
    int width = 0;
    int height = 0;

    Size() = default;
    Size(int w, int h) : width(w), height(h) {}
};

// A camera's settings and abilities: keys with text values, as one text "key=value;key=value". A
// value type, not locked.
class CameraParameters {
  public:
    CameraParameters() = default;
    CameraParameters(const String8& params) { unflatten(params); }

    // Keys in sorted order, without a semicolon at the end.
    String8 flatten() const;
    // Replaces everything; what has no "=" is left out.
    void unflatten(const String8& params);

    // A key or value that is null or has "=" or ";" in it changes nothing.
    void set(const char* key, const char* value);
    void set(const char* key, int value);
    void setFloat(const char* key, float value);
    // Null when absent or empty; valid until the key changes.
    const char* get(const char* key) const;
    // -1 when absent.
    int getInt(const char* key) const;
    float getFloat(const char* key) const;
    void remove(const char* key);

    // Sizes in pixels; -1 x -1 when absent or without "x", 0 where a number is missing. The lists
    // are appended to `sizes`, up to the first entry that is not a size and nothing else.
    void setPreviewSize(int width, int height);
    void getPreviewSize(int* width, int* height) const;
    void getSupportedPreviewSizes(Vector<Size>& sizes) const;
    void setVideoSize(int width, int height);
    void getVideoSize(int* width, int* height) const;
    void getSupportedVideoSizes(Vector<Size>& sizes) const;

    // Pictures a second, -1 when absent.
    void setPreviewFrameRate(int fps);
    int getPreviewFrameRate() const;

    static const char KEY_PREVIEW_SIZE[];
    static const char KEY_SUPPORTED_PREVIEW_SIZES[];
    static const char KEY_PREVIEW_FRAME_RATE[];
    static const char KEY_SUPPORTED_PREVIEW_FRAME_RATES[];
    static const char KEY_PREVIEW_FPS_RANGE[];
    static const char KEY_PREVIEW_FORMAT[];
    static const char KEY_VIDEO_SIZE[];
    static const char KEY_SUPPORTED_VIDEO_SIZES[];
    static const char KEY_VIDEO_FRAME_FORMAT[];
    static const char KEY_RECORDING_HINT[];

    static const char TRUE[];
    static const char FALSE[];

    static const char PIXEL_FORMAT_YUV420SP[];
    static const char PIXEL_FORMAT_YUV420P[];
    static const char PIXEL_FORMAT_ANDROID_OPAQUE[];

  private:
    void getSizes(const char* key, Vector<Size>* sizes) const;
    void getSize(const char* key, int* width, int* height) const;
    void setSize(const char* key, int width, int height);

    KeyedVector<String8, String8> mValues;
};

}  // namespace android

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraParameters"

#include <camera/CameraParameters.h>
#include <log/log.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace android {

const char CameraParameters::KEY_PREVIEW_SIZE[] = "preview-size";
const char CameraParameters::KEY_SUPPORTED_PREVIEW_SIZES[] = "preview-size-values";
const char CameraParameters::KEY_PREVIEW_FRAME_RATE[] = "preview-frame-rate";
const char CameraParameters::KEY_SUPPORTED_PREVIEW_FRAME_RATES[] = "preview-frame-rate-values";
const char CameraParameters::KEY_PREVIEW_FPS_RANGE[] = "preview-fps-range";
const char CameraParameters::KEY_PREVIEW_FORMAT[] = "preview-format";
const char CameraParameters::KEY_VIDEO_SIZE[] = "video-size";
const char CameraParameters::KEY_SUPPORTED_VIDEO_SIZES[] = "video-size-values";
const char CameraParameters::KEY_VIDEO_FRAME_FORMAT[] = "video-frame-format";
const char CameraParameters::KEY_RECORDING_HINT[] = "recording-hint";

const char CameraParameters::TRUE[] = "true";
const char CameraParameters::FALSE[] = "false";

const char CameraParameters::PIXEL_FORMAT_YUV420SP[] = "yuv420sp";
const char CameraParameters::PIXEL_FORMAT_YUV420P[] = "yuv420p";
const char CameraParameters::PIXEL_FORMAT_ANDROID_OPAQUE[] = "android-opaque";

namespace {

// "WxH", where no digits are 0; null without "x" behind the width, else what follows.
const char* parseSize(const char* text, Size* size) {
    char* end = nullptr;
    const long width = strtol(text, &end, 10);
    if (*end != 'x') return nullptr;
    const long height = strtol(end + 1, &end, 10);
    *size = Size(static_cast<int>(width), static_cast<int>(height));
    return end;
}

}  // namespace

String8 CameraParameters::flatten() const {
    String8 text;
    for (size_t i = 0; i < mValues.size(); ++i) {
        if (i > 0) text.append(";");
        text.append(mValues.keyAt(i));
        text.append("=");
        text.append(mValues.valueAt(i));
    }
    return text;
}

void CameraParameters::unflatten(const String8& params) {
    mValues.clear();
    const char* text = params.c_str();
    for (;;) {
        const char* const equals = strchr(text, '=');
        if (equals == nullptr) return;
        const char* const value = equals + 1;
        const char* const end = strchr(value, ';');
        const String8 key(text, static_cast<size_t>(equals - text));
        if (end == nullptr) {
            mValues.replaceValueFor(key, String8(value));
            return;
        }
        mValues.replaceValueFor(key, String8(value, static_cast<size_t>(end - value)));
        text = end + 1;
    }
}

void CameraParameters::set(const char* key, const char* value) {
    if (key == nullptr || value == nullptr) return;
    if (strpbrk(key, "=;") != nullptr || strpbrk(value, "=;") != nullptr) {
        ALOGE("'%s' cannot be set to '%s': separators are not allowed", key, value);
        return;
    }
    mValues.replaceValueFor(String8(key), String8(value));
}

void CameraParameters::set(const char* key, int value) {
    set(key, String8::format("%d", value).c_str());
}

void CameraParameters::setFloat(const char* key, float value) {
    set(key, String8::format("%g", static_cast<double>(value)).c_str());
}

const char* CameraParameters::get(const char* key) const {
    const ssize_t index = mValues.indexOfKey(String8(key));
    if (index < 0) return nullptr;
    const String8& value = mValues.valueAt(static_cast<size_t>(index));
    return value.length() == 0 ? nullptr : value.c_str();
}

int CameraParameters::getInt(const char* key) const {
    const char* const value = get(key);
    return value == nullptr ? -1 : static_cast<int>(strtol(value, nullptr, 0));
}

float CameraParameters::getFloat(const char* key) const {
    const char* const value = get(key);
    return value == nullptr ? -1 : strtof(value, nullptr);
}

void CameraParameters::remove(const char* key) {
    mValues.removeItem(String8(key));
}

void CameraParameters::setPreviewSize(int width, int height) {
    setSize(KEY_PREVIEW_SIZE, width, height);
}

void CameraParameters::getPreviewSize(int* width, int* height) const {
    getSize(KEY_PREVIEW_SIZE, width, height);
}

void CameraParameters::getSupportedPreviewSizes(Vector<Size>& sizes) const {
    getSizes(KEY_SUPPORTED_PREVIEW_SIZES, &sizes);
}

void CameraParameters::setVideoSize(int width, int height) {
    setSize(KEY_VIDEO_SIZE, width, height);
}

void CameraParameters::getVideoSize(int* width, int* height) const {
    getSize(KEY_VIDEO_SIZE, width, height);
}

void CameraParameters::getSupportedVideoSizes(Vector<Size>& sizes) const {
    getSizes(KEY_SUPPORTED_VIDEO_SIZES, &sizes);
}

void CameraParameters::setPreviewFrameRate(int fps) {
    set(KEY_PREVIEW_FRAME_RATE, fps);
}

int CameraParameters::getPreviewFrameRate() const {
    return getInt(KEY_PREVIEW_FRAME_RATE);
}

void CameraParameters::getSizes(const char* key, Vector<Size>* sizes) const {
    const char* text = get(key);
    while (text != nullptr) {
        Size size;
        text = parseSize(text, &size);
        if (text == nullptr || (*text != ',' && *text != '\0')) {
            ALOGE("'%s' is not a list of sizes: '%s'", key, get(key));
            return;
        }
        sizes->push(size);
        if (*text == '\0') return;
        ++text;
    }
}

void CameraParameters::getSize(const char* key, int* width, int* height) const {
    *width = *height = -1;
    const char* const text = get(key);
    Size size;
    if (text == nullptr || parseSize(text, &size) == nullptr) return;
    *width = size.width;
    *height = size.height;
}

void CameraParameters::setSize(const char* key, int width, int height) {
    set(key, String8::format("%dx%d", width, height).c_str());
}

}  // namespace android

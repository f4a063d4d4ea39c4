// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <system/audio.h>

#include <cstddef>
#include <cstdint>

namespace android {

// Whether clients may use this PCM: unsigned 8 bits, 16, 24 (packed, or the lower ones of 32) or 32
// bits, float.
bool isPcmFormat(audio_format_t format);

// Samples to and from the 16 bits that are played and recorded. Lost bits are cut off as Android
// does it; float samples outside of full scale saturate, and what is no number is silence.
void pcmTo16Bit(const void* pcm, audio_format_t format, int16_t* samples, size_t count);
void pcmFrom16Bit(const int16_t* samples, audio_format_t format, void* pcm, size_t count);

}  // namespace android

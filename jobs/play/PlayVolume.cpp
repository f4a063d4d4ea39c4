// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "play/PlayVolume.h"

#include <algorithm>

namespace oxa::jobs {

namespace {

constexpr int kStepPercent = 10;
constexpr int kLoudestPercent = 100;

}  // namespace

PlayVolume::PlayVolume(int percent) : mKnob(host::useSoundVolume()), mPercent(percent) {
    turn(percent);
}

bool PlayVolume::press(PlayKey key) {
    switch (key) {
        case PlayKey::kLouder:
            turn(mPercent + kStepPercent);
            return true;
        case PlayKey::kQuieter:
            turn(mPercent - kStepPercent);
            return true;
        case PlayKey::kMute:
            mIsMute = !mIsMute;
            turn(mPercent);
            return true;
        default:
            return false;
    }
}

void PlayVolume::turn(int percent) {
    mPercent = std::clamp(percent, 0, kLoudestPercent);
    mKnob->set(mIsMute ? 0.0F : static_cast<float>(mPercent) / kLoudestPercent);
}

}  // namespace oxa::jobs

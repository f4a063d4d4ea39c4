// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/SoundOutput.h>

#include <functional>
#include <memory>

#include "audio/SoundSink.h"

namespace android {

// Makes and opens the sink of a new track; null when it cannot be opened.
using SoundSinkFactory =
        std::function<std::unique_ptr<SoundSink>(const SoundFormat& format, SoundSource* source)>;

// Where the tracks of the process are heard that are made from now on.
void setSoundSinkFactory(SoundSinkFactory factory);

std::unique_ptr<SoundSink> openSoundSink(const SoundFormat& format, SoundSource* source);

// That of a new track.
std::shared_ptr<const oxa::host::SoundVolume> chosenSoundVolume();

}  // namespace android

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <system/audio.h>

#include <string>

namespace oxa::jobs {

// The number of a camera and an audio source of the process, taken from those that no other job
// has, for as long as it lives.
class LivePlace {
  public:
    LivePlace() = default;
    // The camera is forgotten.
    ~LivePlace();
    LivePlace(const LivePlace&) = delete;
    LivePlace& operator=(const LivePlace&) = delete;

    // False when all are taken.
    bool take();

    // What they mean from now on, for the whole process.
    void registerCamera(const std::string& source);
    void registerMicrophone(const std::string& source);

    int camera() const;
    audio_source_t audioSource() const;

  private:
    int mPlace = -1;
    bool mRegistered = false;
};

}  // namespace oxa::jobs

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <camera/CameraParameters.h>
#include <oxa/host/Cameras.h>

#include <optional>

#include "oxa/jobs/EncodeOptions.h"
#include "record/CaptureSource.h"
#include "record/RecordFormat.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// What the library says of the camera of `source`. Nothing when it answers; otherwise why not
// (kInput).
std::optional<Failure> readCameraParameters(const CaptureSource& source,
                                            android::CameraParameters* parameters);

// Whether the camera can be started in that form at this moment: somebody else may have a
// device, and a player that cannot start its camera ends the process. Nothing when it can;
// otherwise why not (kInput).
std::optional<Failure> tryCamera(const CaptureSource& source, const CameraForm& form);

// The same, and that a picture comes; waits for it until the camera gives up, which is when nothing
// came for 3 s, or the job is cancelled.
std::optional<Failure> tryPicture(const CaptureSource& source, const CameraForm& form,
                                  const CancelFlag& cancelled);

// Opens the camera for the player that comes next, so that it can start it for certain, as long as
// `hold` is there. Nothing when it is open; otherwise why not (kInput).
std::optional<Failure> holdCamera(const CaptureSource& source, const CameraForm& form,
                                  host::CameraHold* hold);

// Whether its sound is there.
std::optional<Failure> trySound(const CaptureSource& source);

}  // namespace oxa::jobs

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace oxa::host {

// Which cameras there are. Without a registration those of the kernel that capture, as numbers 0,
// 2, 3, ...: number 1 is kept for an HDMI receiver. With at least one registration: the registered
// ones only. All calls are thread-safe and count for cameras that are opened afterwards, unless
// they say otherwise.
//
// A source is "v4l2:PATH", "lavfi:GRAPH" (a filter graph that makes pictures), or a media file,
// which is captured in real time.

struct CameraEntry {
    int number = 0;
    std::string source;
};

struct RegisteredCameraOptions {
    // A file begins again at its end instead of ending.
    bool repeat = false;
};

// Makes `source` camera `number`, in place of what had the number. The source is not opened. False
// for a negative number or an empty source.
bool registerCamera(int number, const std::string& source,
                    const RegisteredCameraOptions& options = {});
void unregisterCamera(int number);
// Forgets all registrations.
void clearCameras();

// In the order of their numbers.
std::vector<CameraEntry> cameras();

// Why no pictures can be captured from this source, in one line; empty when they can. Opens and
// closes it, which takes a moment.
std::string cameraSourceError(const std::string& source);

// A camera that is open for its next client; without one it is closed when this goes.
using CameraHold = std::shared_ptr<void>;

// Opens a camera, in a size and rate that it has, for whoever connects to it next: that client
// starts it for certain. A device that is lost meanwhile is one that ends as soon as it is started.
// Null, with the cause in one line, when it cannot be opened now, or somebody else has it.
CameraHold holdCamera(int number, int width, int height, int frameRate, std::string* error);

// Counted since the camera was opened last; they stay when it is closed.
struct CameraFigures {
    uint64_t captured = 0;          // pictures that have come from the source in the camera's rate
    uint64_t recorded = 0;          // of these, given to whoever records
    uint64_t recordingDropped = 0;  // came while all places of the recorder were taken
    uint64_t previewDropped = 0;    // the same of the preview
    uint64_t late = 0;              // left out since the capture thread could not keep up
    bool ended = false;             // nothing more comes: see the fault that was reported
    bool open = false;
};

// Zeros when there is no such camera.
CameraFigures cameraFigures(int number);

// What can happen to a device, for tests; also of cameras that are open. A camera from which
// nothing comes for 3 s is lost. A lost one can be opened again when it was restored. False when
// the number is not registered.
bool stallCamera(int number, bool stalled);
bool loseCamera(int number, bool lost);

// The end of a source is told to the fault listeners as an end of FaultSource::kCamera: with error
// 0 when a file or graph is over, else with the errno of the cause (ENODEV: pulled out, ETIMEDOUT:
// nothing came).

}  // namespace oxa::host

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace oxa::host {

struct DisplayFigures {
    uint64_t shown = 0;     // presented, written, recorded or (null display) taken
    uint64_t replaced = 0;  // a later picture came before this one could be shown
    uint64_t failed = 0;    // could not be presented or written; told to the fault listeners once
};

// Where pictures go: the consumer behind a Surface. A display takes pictures as they come, whatever
// their timestamps say (whoever renders paces), and one producer at a time; when that disconnects,
// the last picture stays and another producer may follow.
//
// All calls are thread-safe. Destroying it closes what it has opened and waits for its thread; it
// may be done while a codec still renders, whose pictures are dropped from then on. It must not be
// done in a callback of the display.
class Display {
  public:
    virtual ~Display() = default;

    // For `new Surface(display->producer())`. Never null, the same for the display's whole life.
    virtual android::sp<android::IGraphicBufferProducer> producer() const = 0;

    // Of a window: between full screen and window. Does not wait.
    virtual void toggleFullScreen() {}

    // Counted since the display was made. Does not wait.
    virtual DisplayFigures figures() const = 0;
};

enum class DisplayEvent {
    kClosed,          // the user has closed the window; what is rendered now is dropped
    kQuitKey,         // the user has pressed q; the window stays until the display is destroyed
    kPauseKey,        // space
    kBackKey,         // left
    kForwardKey,      // right
    kLouderKey,       // up
    kQuieterKey,      // down
    kMuteKey,         // m
    kNextPictureKey,  // the full stop
    kRecordKey,       // r
};

struct WindowOptions {
    std::string title = "Oxa";
    bool fullScreen = false;
    // May be empty. Called on the display thread, which serves all windows of the process: must
    // return soon. Not called any more when the display has been destroyed.
    std::function<void(DisplayEvent)> onEvent;
};

// Why no window can be opened, in one line for people ("neither DISPLAY nor WAYLAND_DISPLAY is
// set"); empty when one can. Waits until the display thread has tried.
std::string displayError();

// A window, opened with the first picture in that picture's size or as large as the screen allows.
// Resizable; the picture keeps its shape (its sample aspect ratio counts) between black bars. Key f
// changes between full screen and window, Escape leaves full screen. Of pictures that come faster
// than they are presented the last one is. Null, with the reason in `error` (may be null), when
// no window can be opened.
std::unique_ptr<Display> createWindowDisplay(const WindowOptions& options, std::string* error);

// Writes each picture to `directory`, which must exist, as picture-000001-0.040000s.png: its
// number, counted from 1, and its media time where that is known. Pictures wait for each other:
// none is replaced. What cannot be written (full disk) is counted and told to the fault listeners
// once, as a fault of a writer. Destroying it finishes the pictures that have come.
std::unique_ptr<Display> createPngDisplay(const std::string& directory);

// Takes each picture and gives it back at once.
std::unique_ptr<Display> createNullDisplay();

// How bright the fields of a picture are that is divided into 8 by 8, row by row; 0 where it has no
// samples of 8 bits that can be read.
using PictureGrid = std::array<uint8_t, 64>;

struct RecordedPicture {
    int64_t arrivalUs = 0;     // CLOCK_MONOTONIC
    int64_t timestampNs = 0;   // as the codec was told to render it
    int64_t mediaTimeUs = -1;  // of the decoded picture; -1: not known
    int32_t width = 0;
    int32_t height = 0;
    // FNV-1a, 64 bits, over the visible samples: plane by plane, row by row. 0: the picture has no
    // samples of 8 bits that can be read.
    uint64_t hash = 0;
    PictureGrid grid = {};
};

// Notes what comes, for comparisons and measurements.
class RecordingDisplay : public Display {
  public:
    static constexpr size_t kDefaultLimit = 100000;

    // Those that have been hashed so far, in the order of their arrival. Beyond the limit pictures
    // are only counted.
    virtual std::vector<RecordedPicture> pictures() const = 0;
};

std::unique_ptr<RecordingDisplay> createRecordingDisplay(
        size_t limit = RecordingDisplay::kDefaultLimit);

}  // namespace oxa::host

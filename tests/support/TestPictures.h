// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>

#include <array>
#include <cstdint>
#include <memory>

#include "graphics/PictureQueue.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace oxa::test {

using Rgb = std::array<int, 3>;

// What the quarters of a card show: top left, top right, bottom left, bottom right.
constexpr std::array<Rgb, 4> kCardColours = {
        {{200, 40, 40}, {40, 180, 60}, {50, 60, 190}, {220, 220, 90}}};

struct CardOptions {
    int width = 320;
    int height = 240;
    AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
    int matrix = AVCOL_SPC_SMPTE170M;
    int range = AVCOL_RANGE_MPEG;
    bool upsideDownInMemory = false;  // rows are stored from the last one on
    bool interlaced = false;          // two fields, the upper one first
};

// A picture of four plain colours, as decoders and cameras make them.
android::sp<android::Picture> makeCard(const CardOptions& options = {});
// How a surface is told of it.
android::PictureFormat formatOf(const CardOptions& options);

// A picture in memory that nobody here knows.
struct ForeignPicture : public android::Picture {
    ForeignPicture() : Picture(320, 240) {}
};

// A producer that holds no reservation between its calls.
class CardProducer {
  public:
    explicit CardProducer(const android::sp<android::PictureQueue>& queue) : mQueue(queue) {}
    ~CardProducer() { disconnect(); }
    CardProducer(const CardProducer&) = delete;
    CardProducer& operator=(const CardProducer&) = delete;

    void connect() { mQueue->connect(mListener); }
    void disconnect() { mQueue->disconnect(mListener); }
    // Waits for a place; false when none comes.
    bool queue(const android::sp<android::Picture>& picture, int64_t timestampNs = 0);
    // How many places can be had now. Leaves them free.
    size_t freePlaces();

  private:
    // The queue keeps it while it is connected.
    struct Listener : android::PictureQueue::ProducerListener {
        void onPlaceFree() override {}
        void onDrainRequested() override {}
    };

    const android::sp<android::PictureQueue> mQueue;
    const android::sp<Listener> mListener = new Listener;
};

// A connected one.
std::unique_ptr<CardProducer> producerOf(const host::Display& display);

}  // namespace oxa::test

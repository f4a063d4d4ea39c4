// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>
#include <deque>

#include "base/AnnotatedMutex.h"
#include "graphics/Picture.h"

namespace android {

// How pictures are to be understood. Colour values are those of ITU-T H.273, 2 and 0 (range, chroma
// location) meaning "not told".
struct PictureFormat {
    int32_t width = 0;
    int32_t height = 0;
    int range = 0;  // 1 limited, 2 full
    int primaries = 2;
    int transfer = 2;
    int matrix = 2;
    int chromaLocation = 0;   // 1 left, 2 centre, 3 top left, 4 top, 5 bottom left, 6 bottom
    int aspectNumerator = 1;  // of one sample
    int aspectDenominator = 1;
    double frameRate = 0;  // exact; 0: not known
};

struct QueuedPicture {
    sp<Picture> picture;
    int64_t timestampNs = 0;
};

// A bounded queue of picture references between one producer (decoder, camera) and one consumer
// (encoder, display). It has a fixed number of places; a place is taken from the producer's
// reservation until the consumer releases the picture, so that this many pictures at most are on
// their way. No call waits: who finds nothing is told by its listener when to try again.
//
// The end: after signalEnd() the producer is asked to drain, and the queue is at its end when the
// producer has drained (or there is none), no reservation is outstanding and nothing is queued.
//
// All calls are thread-safe. Listeners are called without the queue's lock, on the thread that made
// the change, and may call the queue.
class PictureQueue : public RefBase {
  public:
    static constexpr size_t kDefaultPlaces = 4;
    static constexpr int64_t kUnknownEnd = INT64_MIN;

    class ProducerListener : public RefBase {
      public:
        virtual void onPlaceFree() = 0;
        // Once: queue what is still to come, then call producerDrained().
        virtual void onDrainRequested() = 0;
    };
    class ConsumerListener : public RefBase {
      public:
        // There may be a picture, or the end.
        virtual void onPictureQueued() = 0;
    };

    explicit PictureQueue(size_t places = kDefaultPlaces) : mPlaces(places) {}

    // Producer. One at a time: -EINVAL while another is connected. A drain that was requested
    // before is passed on at once.
    status_t connect(const sp<ProducerListener>& producer);
    // Gives all reservations of this producer back; what it has queued stays.
    void disconnect(const sp<ProducerListener>& producer);
    // Before the first picture, and when something changes.
    void setFormat(const PictureFormat& format);
    // False: no place is free; the listener is told when one is.
    bool tryReserve();
    void cancelReservation();
    // Turns a reservation into a queued picture. Dropped when the consumer is gone.
    void queue(const sp<Picture>& picture, int64_t timestampNs);
    // The producer offers nothing more; its reservations may still become pictures. `endNs`: when
    // the last one ends; kUnknownEnd where nobody knows.
    void producerDrained(int64_t endNs = kUnknownEnd);

    // Consumer.
    void setConsumer(const sp<ConsumerListener>& consumer);
    // The only size that the consumer takes; 0: any.
    void setRequiredSize(int32_t width, int32_t height);
    bool tryAcquire(QueuedPicture* picture);
    // Frees the place of an acquired picture.
    void release();
    // No more pictures are wanted than the producer holds. INVALID_OPERATION when repeated.
    status_t signalEnd();
    bool atEnd() const;
    // At the end: when the last picture ends, or kUnknownEnd.
    int64_t endNs() const;
    // The consumer is gone: queued pictures are dropped, now and later, so that no producer waits.
    void abandon();

    PictureFormat format() const;
    void requiredSize(int32_t* width, int32_t* height) const;

  private:
    static void tellFree(const sp<ProducerListener>& producer);
    static void tellQueued(const sp<ConsumerListener>& consumer);

    const size_t mPlaces;
    mutable AnnotatedMutex mLock;
    sp<ProducerListener> mProducer GUARDED_BY(mLock);
    sp<ConsumerListener> mConsumer GUARDED_BY(mLock);
    std::deque<QueuedPicture> mQueued GUARDED_BY(mLock);
    size_t mReserved GUARDED_BY(mLock) = 0;
    size_t mAcquired GUARDED_BY(mLock) = 0;
    PictureFormat mFormat GUARDED_BY(mLock);
    int32_t mRequiredWidth GUARDED_BY(mLock) = 0;
    int32_t mRequiredHeight GUARDED_BY(mLock) = 0;
    bool mEndSignalled GUARDED_BY(mLock) = false;
    bool mProducerDrained GUARDED_BY(mLock) = false;
    int64_t mEndNs GUARDED_BY(mLock) = kUnknownEnd;
    bool mAbandoned GUARDED_BY(mLock) = false;
};

}  // namespace android

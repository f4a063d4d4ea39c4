// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AString.h>
#include <sys/types.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace android {

struct ALooper;
struct AMessage;
struct ICrypto;
class CodecComponent;
struct CodecOutput;
class IGraphicBufferProducer;
class MediaCodecBuffer;
class Surface;
struct ComponentRow;

// One decoder or encoder in asynchronous mode.
//
//   UNINITIALIZED --CreateBy--> INITIALIZED --configure--> CONFIGURED --start--> STARTED
//                                    ^                                          |  ^
//                                    +----------- stop (also CONFIGURED) -------+  start
//                                                                               v  |
//   release: UNINITIALIZED from everywhere; reset: INITIALIZED               FLUSHED  (flush)
//
// Calls: those that move buffers (getInputBuffer, getOutputBuffer, queueInputBuffer and the three
// that release an output) are served on the caller's thread, under a lock. Each other posts to the
// codec's looper and waits for the answer, so it may come from any thread but the looper's own; a
// looper that does not run answers -ENOENT. A call in a state that does not allow it answers
// INVALID_OPERATION.
//
// Callbacks: the message given to setCallback is duplicated for each, "callbackID" and the items
// beside the enumerators below are added, and it is posted; nothing waits for it. Once stop, reset
// or release has returned, nothing more of the run is posted; indices of a former run are unknown
// to the next one.
//
// The last reference must not go before release() has returned (asserted).
struct MediaCodec : public AHandler {
    enum ConfigureFlags {
        CONFIGURE_FLAG_ENCODE = 1,
        CONFIGURE_FLAG_USE_BLOCK_MODEL = 2,
    };

    enum BufferFlags {
        BUFFER_FLAG_SYNCFRAME = 1,
        BUFFER_FLAG_CODECCONFIG = 2,
        BUFFER_FLAG_EOS = 4,
        BUFFER_FLAG_PARTIAL_FRAME = 8,
        BUFFER_FLAG_MUXER_DATA = 16,
    };

    enum {
        CB_INPUT_AVAILABLE = 1,        // "index" int32
        CB_OUTPUT_AVAILABLE = 2,       // "index" int32, "offset", "size" size, "timeUs" int64,
                                       // "flags" int32
        CB_ERROR = 3,                  // "err", "actionCode" int32
        CB_OUTPUT_FORMAT_CHANGED = 4,  // "format" message, shared: read only
        CB_RESOURCE_RECLAIMED = 5,     // never posted
    };

    static const pid_t kNoPid = -1;
    static const uid_t kNoUid = static_cast<uid_t>(-1);

    // An INITIALIZED codec whose work is posted to `looper`, which must run on a thread of its own.
    // Null without one: *err is NAME_NOT_FOUND, or why it could not be made.
    static sp<MediaCodec> CreateByType(const sp<ALooper>& looper, const AString& mime, bool encoder,
                                       status_t* err = nullptr, pid_t pid = kNoPid,
                                       uid_t uid = kNoUid);
    static sp<MediaCodec> CreateByComponentName(const sp<ALooper>& looper, const AString& name,
                                                status_t* err = nullptr, pid_t pid = kNoPid,
                                                uid_t uid = kNoUid);

    // INITIALIZED only. `nativeWindow` (may be null) takes a video decoder's pictures and belongs
    // to one codec at a time: -EINVAL while it is taken. BAD_VALUE: a size that cannot be (then
    // nothing has happened), or another item that cannot be or is missing: "mime", of pictures
    // "width" and "height", of encoders "bitrate", of video encoders "frame-rate" and
    // "i-frame-interval". UNKNOWN_ERROR: `flags` are those of the other direction. After a failure
    // the codec is as new, without callback. The message gains "flags", "encoder" = 1 for encoders,
    // and "native-window".
    status_t configure(const sp<AMessage>& format, const sp<Surface>& nativeWindow,
                       const sp<ICrypto>& crypto, uint32_t flags);

    // Not while started. Null: no callbacks.
    status_t setCallback(const sp<AMessage>& callback);

    // CONFIGURED video encoder only; instead of input buffers.
    status_t createInputSurface(sp<IGraphicBufferProducer>* bufferProducer);

    status_t start();
    // Drops what is queued and not yet delivered; the codec must be configured again, with a new
    // callback. An error that was reported as transient is the answer instead, and nothing stops.
    status_t stop();
    status_t reset();
    status_t release();
    // Drops what is queued and not yet delivered; start() goes on, an encoder's with a key frame.
    status_t flush();

    // Gives input `index` back with `size` bytes at `offset`. -ERANGE: no such index, -EACCES: not
    // the client's, -EINVAL: beyond the capacity. With BUFFER_FLAG_EOS (size may be 0) it is the
    // last one.
    status_t queueInputBuffer(size_t index, size_t offset, size_t size, int64_t presentationTimeUs,
                              uint32_t flags, AString* errorDetailMsg = nullptr);

    // Gives output `index` back; render: its picture goes to the surface with `timestampNs`
    // (without: its media time). Never waits for the surface. -ERANGE, -EACCES as above.
    status_t renderOutputBufferAndRelease(size_t index, int64_t timestampNs);
    status_t renderOutputBufferAndRelease(size_t index);
    status_t releaseOutputBuffer(size_t index);

    // Encoders with an input surface, once: whatever producers still hold is encoded, then the end
    // of the stream comes out. Also before start().
    status_t signalEndOfInputStream();

    // The client's buffer of an index; INVALID_OPERATION and null for any other. The range of an
    // input's is all of it; an output's meta() has "timeUs" (int64) and "flags" (int32).
    status_t getInputBuffer(size_t index, sp<MediaCodecBuffer>* buffer);
    status_t getOutputBuffer(size_t index, sp<MediaCodecBuffer>* buffer);

    // From CONFIGURED on; the messages are the codec's own: read only. An input format has
    // "max-input-size". What an output format lacks comes with the first output.
    status_t getInputFormat(sp<AMessage>* format) const;
    status_t getOutputFormat(sp<AMessage>* format) const;
    status_t getOutputFormat(size_t index, sp<AMessage>* format);

    // From INITIALIZED on.
    status_t getName(AString* componentName) const;

    // Video encoders know "video-bitrate" (int32, only above 0) and "request-sync". OK but
    // without effect before CONFIGURED.
    status_t setParameters(const sp<AMessage>& params);
    status_t requestIDRFrame();

  protected:
    ~MediaCodec() override;
    void onMessageReceived(const sp<AMessage>& msg) override;

  private:
    enum State { UNINITIALIZED, INITIALIZED, CONFIGURED, STARTED, FLUSHED };
    class RunClient;
    struct InputSlot;
    struct OutputSlot;

    explicit MediaCodec(const sp<ALooper>& looper);
    MediaCodec(const MediaCodec&) = delete;
    MediaCodec& operator=(const MediaCodec&) = delete;

    static sp<MediaCodec> create(const sp<ALooper>& looper, const ComponentRow* row,
                                 const AString& mime, status_t* err);
    static status_t postAndAwait(const sp<AMessage>& command, sp<AMessage>* response);
    status_t postCommand(uint32_t what) const;
    status_t getFormat(uint32_t what, sp<AMessage>* format) const;
    status_t giveBackOutput(size_t index, bool render, const int64_t* timestampNs);

    // All below on the looper.
    status_t handleCommand(const sp<AMessage>& msg, const sp<AMessage>& response);
    status_t onInit();
    status_t onSetCallback(const sp<AMessage>& msg);
    status_t onConfigure(const sp<AMessage>& msg);
    status_t configureComponent(const sp<AMessage>& format, bool encoder);
    status_t onCreateInputSurface(const sp<AMessage>& response);
    status_t onStart();
    status_t onStop();
    status_t onRelease();
    status_t onFlush();
    status_t onSignalEndOfInputStream();
    status_t onGetFormat(const sp<AMessage>& format, const sp<AMessage>& response) const;
    status_t onSetParameters(const sp<AMessage>& msg);

    void onComponentError(const sp<AMessage>& msg);
    void reportFailure(const char* what, status_t err) const;

    bool isExecuting() const { return mState == STARTED || mState == FLUSHED; }
    bool isConfigured() const { return mState == CONFIGURED || isExecuting(); }
    void makeInputs();
    // Ends a run, if there is one, in the state `next`; the component is stopped then.
    void endRun(State next);
    void clear(State state);
    void setState(State state);
    sp<AMessage> outputFormat() const;

    // The component's reports, on any thread; of another run than the present one: dropped.
    void giveInput(int32_t run, size_t slot);
    void changeOutputFormat(int32_t run, const sp<AMessage>& format);
    void giveOutput(int32_t run, CodecOutput output);

    size_t freeOutputSlot() REQUIRES(mLock);
    // With mLock held, or on the looper.
    sp<AMessage> newCallback(int32_t callbackId) const;

    const sp<ALooper> mLooper;

    // Looper thread only, once created.
    const ComponentRow* mRow = nullptr;
    AString mMime;
    sp<CodecComponent> mComponent;  // also used with mLock held, while mState is executing
    sp<AMessage> mFormat;           // what it was configured with
    sp<AMessage> mInputFormat;
    sp<Surface> mSurface;
    bool mHasInputSurface = false;
    bool mEndSignalled = false;  // of the input surface
    std::unique_ptr<RunClient> mRunClient;

    mutable Mutex mLock;
    // Written on the looper with mLock held; read there without, elsewhere with it.
    State mState = UNINITIALIZED;
    status_t mStickyError = OK;
    int32_t mRun = 0;  // calls and reports of another run are refused
    sp<AMessage> mCallback;
    sp<AMessage> mOutputFormat GUARDED_BY(mLock);
    bool mInputEnded GUARDED_BY(mLock) = false;  // an end-of-stream buffer was queued
    int64_t mInputEndTimeUs GUARDED_BY(mLock) = 0;
    bool mHasOutput GUARDED_BY(mLock) = false;  // of media, in this run
    // An index is a slot's number plus a base that no former run has used.
    std::vector<InputSlot> mInputs GUARDED_BY(mLock);
    std::vector<OutputSlot> mOutputs GUARDED_BY(mLock);
    size_t mInputBase GUARDED_BY(mLock) = 0;
    size_t mOutputBase GUARDED_BY(mLock) = 0;
};

}  // namespace android

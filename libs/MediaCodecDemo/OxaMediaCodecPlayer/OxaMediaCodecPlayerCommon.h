// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IMemory.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/foundation/ADebug.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>
#include <stdint.h>

// Field tools match log lines and assertions by their site number. Those that are part of a text
// that they know stand in FixedSites.h; everywhere else CHECK and __LINE__ are used.
// The ..._IN forms name the file that the caller gives, for code that several classes share.
// No form is made of another: the macros in a condition must be printed as they are written.
#define CHECK_IN(file, line, condition) \
    LOG_ALWAYS_FATAL_IF(!(condition), "%s:%d CHECK(%s) failed.", file, line, #condition)

// Prints another condition than the one that is tested.
#define CHECK_TEXT(condition, file, line, text) \
    LOG_ALWAYS_FATAL_IF(!(condition), "%s:%d CHECK(%s) failed.", file, line, text)

#define CHECK_EQ_IN(file, line, x, y) CHECK_EQ_TEXT(file, line, "CHECK_EQ( " #x "," #y ")", x, y)
#define CHECK_EQ_TEXT(file, line, text, x, y)                                          \
    do {                                                                               \
        const auto& valueX = x;                                                        \
        const auto& valueY = y;                                                        \
        if (!(valueX == valueY)) {                                                     \
            AString values;                                                            \
            values.append(valueX);                                                     \
            values.append(" vs. ");                                                    \
            values.append(valueY);                                                     \
            LOG_ALWAYS_FATAL("%s:%d %s failed: %s", file, line, text, values.c_str()); \
        }                                                                              \
    } while (false)

#define TRESPASS_IN(file, line) LOG_ALWAYS_FATAL("%s:%d Should not be here. ", file, line)

// Colours of the platform log: red for ends, stops and failures, green for format summaries.
#define LOG_RED "\e[31m"
#define LOG_GREEN "\e[32m"
#define LOG_RESET "\e[m"

// Keys of the messages between client, facade and pipelines; the type is that of the AMessage item.
#define AMSG_ENCODE_TYPE "type"                         // int32, SourceType
#define AMSG_SET_PLAYBACK "playback"                    // int32 (bool)
#define AMSG_SET_TRANSCODE "transcode"                  // int32 (bool)
#define AMSG_PATH "path"                                // string
#define AMSG_FILE_ID "FileId"                           // int32, descriptor
#define AMSG_FILE_OFFSET "FileOffset"                   // int64, bytes
#define AMSG_FILE_LENGTH "FileLen"                      // int64, bytes
#define AMSG_CAMERA_TYPE "camera-type"                  // int32, 1 for the HDMI receiver, else 0
#define AMSG_CAMERA_ID "camera-id"                      // int32
#define AMSG_CLIENT_NAME "client-name"                  // pointer to String16
#define AMSG_CAMERA_SP "camera-sp"                      // pointer to sp<hardware::ICamera>
#define AMSG_AUDIO_SOURCE "audio-source"                // int32, audio_source_t
#define AMSG_SURFACE "surface"                          // object, Surface
#define AMSG_VIDEO_SURFACE "surface"                    // object, Surface
#define AMSG_SET_RENDER_VIDEO "video"                   // int32 (bool)
#define AMSG_SET_RENDER_AUDIO "audio"                   // int32 (bool)
#define AMSG_SET_TUNNELED_PLAYBACK "tunneled-playback"  // int32 (bool)
#define AMSG_FREE_RUN "free-run"                        // int32 (bool)
#define AMSG_CALCULATE_FPS "calculate-fps"              // double, seconds
#define AMSG_OUTPUT_FORMAT "output-format"              // pointer to _OxaTranscodeConfig
#define AMSG_TARTGET_FORMAT "target-format"             // pointer to _AV_FORMAT_FORMAT
#define AMSG_MUXER "muxer"                              // object, OxaMediaMuxer
#define AMSG_MIME "mime"                                // string
#define AMSG_AUDIO_SAMPLERATE "sample-rate"             // int32, Hz
#define AMSG_AUDIO_CHANNELCOUNT "channel-count"         // int32
#define AMSG_STOP_ITEM "stop-item"                      // int32, report payload below
#define AMSG_TRACK_ITEM "track-item"                    // int32, report payload below
#define AMSG_CAMERA_PARAM "camera-param"                // string
#define AMSG_PIXELFORMAT "pixfmt"                       // int32
#define AMSG_COORDINATE_X "x"                           // int32
#define AMSG_COORDINATE_Y "y"                           // int32
#define AMSG_VIDEO_WIDTH "width"                        // int32
#define AMSG_VIDEO_HEIGHT "height"                      // int32
#define AMSG_OUTPUT_WIDTH "outw"                        // int32
#define AMSG_OUTPUT_HEIGHT "outh"                       // int32
#define AMSG_SIZE "size"                                // int32, bytes
#define AMSG_VIRT_ADDR "virt"                           // pointer
#define AMSG_IMEMORY_PTR "imemptr"                      // pointer to IMemory

namespace android {

// What the player reads from. Values up to SourceTypeMax - 1 are accepted; the ones without a name
// make no pipeline.
enum SourceType : int32_t {
    SourceTypeFile = 0,
    SourceTypeUsbCamera = 1,
    SourceTypeHdmiRx = 2,
    SourceTypeMax = 5,
};

// Which elementary streams a player handles; any other value means both.
enum : int {
    CODEC_AUDIO_ONLY = 1,
    CODEC_VIDEO_ONLY = 2,
};

// Which stream a report is about: one code space for "stop-item" and "track-item".
enum : int32_t {
    EOSVideoReached = 0x20161203,
    EOSAudioReached = 0x20161204,
    NO_AUDIO_TRACK = 0x20161205,
    NO_VIDEO_TRACK = 0x20161206,
    STOP_VIDEO = EOSVideoReached,
    STOP_AUDIO = EOSAudioReached,
    VIDEO_TRACK = EOSVideoReached,
    AUDIO_TRACK = EOSAudioReached,
};

// `what` codes of reports: from pipelines to the facade, and from both to the client.
enum : uint32_t {
    kWhatDecodeGotEOS = 304,        // "stop-item"
    kWhatStopTranscode = 305,       // "stop-item"
    kWhatTrackAdded = 306,          // "track-item"
    kWhatHDMIRxVideoHotplug = 307,  // "rx-video"
    kWhatTranscodeDone = 308,       // "stop-item", "err": all samples are with the muxer
    kWhatError = 5651,              // "what", "err"
    kWhatPlayerEOS = 0x20170330,
    kWhatInstantFPS = 0x20170331,     // "instant-fps", "codec-type"
    kWhatAverageFPS = 0x20170332,     // "average-fps", "codec-type"
    kWhatSyncVideoTime = 0x20170333,  // "video-pts"
};

// Target of an encoding job. Zero-initialise it; -1 and 0 mean what the field says.
struct _AV_FORMAT_FORMAT {
    int32_t width;           // pixels
    int32_t height;          // pixels
    int32_t frameRate;       // frames per second; below 1: the source's
    int32_t bitRate;         // video bits per second; negative: width x height x 15
    int32_t iFrameInterval;  // seconds between key frames
    int32_t deinterlace;     // 0 off, 1 keep the picture rate, 2 field rate; others: not asked for
    int32_t bitrateMode;     // not used
    int32_t level;           // AVCLevel value; 0: the encoder's choice
    int32_t profile;         // AVCProfile value; 0: the encoder's choice
    int32_t channelCount;    // audio channels
    int32_t audioBitRate;    // not read; the audio bit rate is fixed
    int32_t sampleRate;      // audio, Hz
    int32_t audioReserved;   // not read
};

// Where an encoding job writes to.
struct _OxaTranscodeConfig {
    int32_t type;          // 0 file, 1 standard streams, 2 memory, 3/6 memory and network,
                           // 4 UDP, 5 RTP, 7 descriptor
    int32_t fmt;           // 0 MPEG-2 transport stream, 1 MPEG-4
    int32_t fileDesc;      // type 7: duplicated, the client keeps and closes its own; else -1
    const char* fileName;  // type 0: path, empty for the default name; null becomes ""
    sp<IMemory> data;      // types 2, 3, 6: stream data
    sp<IMemory> info;      // types 2, 3, 6: bookkeeping
    const char* udpIp;     // types 3 to 6: address, empty for the default group; null becomes ""
    int32_t port;          // types 3 to 6
    int32_t rtp;           // types 2 to 6: wrap the stream in RTP (bool)
};

// A still picture of a live source; crop and output size are updated to what was used.
struct _CAMERA_SNAPSHOT_PARA {
    int32_t format;     // pixel format
    int32_t x;          // crop origin, pixels
    int32_t y;          // crop origin, pixels
    int32_t width;      // crop size, pixels
    int32_t height;     // crop size, pixels
    int32_t outWidth;   // scaled size, pixels
    int32_t outHeight;  // scaled size, pixels
    int32_t size;       // out: bytes
    void* data;         // out: inside memory that the player keeps until the next snapshot
};

// Posts a request and waits for its reply. Returns the posting status when posting failed, else
// the reply's "err" when it has one, else OK. Must not be called on the looper of the target.
// `response` (may be null) receives the reply.
status_t postRequest(const sp<AMessage>& request, sp<AMessage>* response = nullptr);

// One line of the log, under `tag`.
void logVideoTarget(const char* tag, const _AV_FORMAT_FORMAT& format);

// Requests with one item.
sp<AMessage> newRequest(uint32_t what, const sp<AHandler>& target, const char* key, int32_t value);
sp<AMessage> newRequest(uint32_t what, const sp<AHandler>& target, const char* key, double value);
sp<AMessage> newRequest(uint32_t what, const sp<AHandler>& target, const char* key,
                        const sp<RefBase>& value);
// `value` must last until the reply.
sp<AMessage> newPointerRequest(uint32_t what, const sp<AHandler>& target, const char* key,
                               const void* value);

// Requests that several objects understand under codes of their own.
sp<AMessage> newPathRequest(uint32_t what, const sp<AHandler>& target, const char* path);
sp<AMessage> newFileRequest(uint32_t what, const sp<AHandler>& target, int fd, int64_t offset,
                            int64_t length);

// Answers a request that was posted with postRequest; anything else is a programming error.
// What it asserts names this header.
void reply(const sp<AMessage>& msg, const sp<AMessage>& response);
void replyWithError(const sp<AMessage>& msg, status_t err);

// A descriptor for the same file with an offset of its own; the caller owns it. Two readers of
// mere duplicates would move each other's offset. -1 when there is none.
int reopenDescriptor(int fd);

// The seconds of a deadline saturate at 32 bits.
constexpr int64_t kLongestWaitUs = INT32_MAX * INT64_C(1000000);

// Releases a codec before the last reference to it goes, which MediaCodec demands; null is fine.
void releaseCodec(sp<MediaCodec>& codec);

// Stops a codec. One that failed cannot be stopped any more and is reset instead.
status_t stopCodec(const sp<MediaCodec>& codec);

// Creates and starts a looper with a thread of its own.
sp<ALooper> startLooper(const char* name);

// The library's fixed device paths ("/sys/...", "/storage/...") are opened below this prefix. It is
// empty on a device; a host that simulates one sets it before it uses the library. Not
// thread-safe; applies to the whole process.
void setDeviceRoot(const char* root);
AString devicePath(const char* path);

// What all pipelines share: the ways up to the facade and to the client.
class OxaBase : virtual public AHandler {
  public:
    OxaBase();

    // Drops the references below. The facade and every pipeline refer to each other; whoever
    // dismantles a pipeline calls this before dropping it.
    void cleanup();

    // Posts kWhatError with "what" (the stream, as in "stop-item") and "err" to mPlayerHandler, and
    // to mStatusHandler when that is another one; never blocks.
    void handleError(int err, int what);

    sp<AHandler> mPlayerHandler;  // the facade
    sp<AHandler> mStatusHandler;  // the client's handler, may be the facade itself
    sp<RefBase> mReference;       // whatever else a pipeline has to keep until cleanup

  protected:
    ~OxaBase() override = default;

    // A report to the facade about the stream `item` under `key`.
    sp<AMessage> newReport(uint32_t what, const char* key, int32_t item) const;
    void postReport(uint32_t what, const char* key, int32_t item) const;
};

}  // namespace android

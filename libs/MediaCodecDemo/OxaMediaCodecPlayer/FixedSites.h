// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "OxaMediaCodecPlayerCommon.h"

// The texts that field tools match by their site: one named entry for each, sorted by class. What
// is here does not follow the editor. An assertion names the source of its class, wherever it is.
//
//   ALOGD("%s[%d]", SITE(sites::CameraRecorder::kReset));
//   CHECK_SITE(sites::AudioDecoder::kOutputBuffer, err == OK);

#define OXA_SOURCE(name) "libs/MediaCodecDemo/OxaMediaCodecPlayer/" name ".cpp"

// The two arguments of a log line.
#define SITE(site) (site).function, (site).line

// No form is made of another: the macros in a condition must be printed as they are written.
#define CHECK_SITE(site, condition)                                                        \
    LOG_ALWAYS_FATAL_IF(!(condition), "%s:%d CHECK(%s) failed.", (site).file, (site).line, \
                        #condition)
#define CHECK_EQ_SITE(site, x, y) \
    CHECK_EQ_TEXT((site).file, (site).line, "CHECK_EQ( " #x "," #y ")", x, y)
#define TRESPASS_SITE(site) TRESPASS_IN((site).file, (site).line)

namespace android::sites {

struct LogSite {
    const char* function;
    int line;
};

struct CheckSite {
    const char* file;
    int line;
};

// What the encoding pipelines assert in the code that they share, each with the names that it has
// for its fields. Site numbers come with the calls.
struct EncoderTexts {
    const char* created;
    const char* callbackSet;
    const char* written;
    const char* configured;       // not asserted by the transcoders
    bool assertsByValue = false;  // a refused input, by CHECK_EQ
};

// ---- Callback relays ---------------------------------------------------------------------------

// Both relays have them, each in a source of its own.
namespace CodecCallback {
constexpr int kCallbackId = 43;
constexpr int kInputIndex = 51;
constexpr int kOutputIndex = 66;
constexpr int kOutputOffset = 67;
constexpr int kOutputSize = 68;
constexpr int kOutputTime = 69;
constexpr int kOutputFlags = 70;
constexpr int kErrorStatus = 82;
constexpr int kErrorAction = 83;
constexpr int kErrorDetail = 85;
constexpr int kFormat = 97;
}  // namespace CodecCallback

// ---- Reading a file ----------------------------------------------------------------------------

// What all pipelines of a file assert in the code that they share. 0: not a fixed number.
struct ReaderSites {
    const char* file = nullptr;
    int path = 0;
    int fileId = 0;
    int fileOffset = 0;
    int fileLength = 0;
    int trackFormat = 0;
    int trackMime = 0;
    int selectTrack = 0;
    int decoder = 0;
    const char* decoderText = nullptr;
    int decoderCallback = 0;
    const char* decoderCallbackText = nullptr;
    bool assertsByValue = false;  // a codec's refusal, by CHECK_EQ
    bool assertsInputBuffer = true;
    int inputBuffer = 0;
    int sampleTime = 0;
    int queueSample = 0;
    int queueEnd = 0;
    int advance = 0;
};

// ---- Playback ----------------------------------------------------------------------------------

constexpr ReaderSites playbackReader(const char* file) {
    ReaderSites s;
    s.file = file;
    s.decoderText = "mMediaCodec != NULL";
    s.decoderCallbackText = "mMediaCodec->setCallback(mCallback) == OK";
    return s;
}

namespace VideoDecoder {
constexpr char kFile[] = OXA_SOURCE("VideoDecoder");
constexpr CheckSite kUnknownRequest{kFile, 167};
inline constexpr ReaderSites kReader = playbackReader(kFile);
}  // namespace VideoDecoder

namespace AudioDecoder {
constexpr char kFile[] = OXA_SOURCE("AudioDecoder");
constexpr CheckSite kUnknownRequest{kFile, 144};
constexpr CheckSite kOutputBuffer{kFile, 399};
inline constexpr ReaderSites kReader = playbackReader(kFile);
}  // namespace AudioDecoder

// ---- Transcoders -------------------------------------------------------------------------------

// What both kinds assert in the code that they share.
struct TranscoderSites : ReaderSites {
    int setPath = 0;
    int setFile = 0;
    int setMuxer = 0;
    int muxer = 0;
    int setTargetFormat = 0;
    int targetFormat = 0;
    int prepare = 0;
    int start = 0;
    int stop = 0;
    int unknownRequest = 0;
    int encoder = 0;
    int encoderCallback = 0;
    int stopDecodeLooper = 0;
    int stopDecoder = 0;
    int stopEncodeLooper = 0;
    int stopEncoder = 0;
    int releaseDecoder = 0;
    int releaseEncoder = 0;
    int writeSample = 0;
};
inline constexpr EncoderTexts kTranscoderTexts{
        "encoder != NULL",
        "mEncoderCodec->setCallback(callback) == OK",
        "CHECK_EQ( err,(status_t)OK)",
        nullptr,
};

constexpr TranscoderSites transcoderTexts() {
    TranscoderSites s;
    s.decoderText = "decoder != NULL";
    s.decoderCallbackText = "decoder->setCallback(callback) == OK";
    s.assertsByValue = true;
    return s;
}

namespace VideoTranscoder {
constexpr char kFile[] = OXA_SOURCE("VideoTranscoder");
constexpr int kCalculateFps = 127;
constexpr CheckSite kDecoderStarted{kFile, 140};
constexpr CheckSite kOutputBuffer{kFile, 632};

constexpr TranscoderSites shared() {
    TranscoderSites s = transcoderTexts();
    s.file = kFile;
    s.setPath = 60;
    s.path = 63;
    s.setFile = 73;
    s.fileId = 78;
    s.fileOffset = 79;
    s.fileLength = 80;
    s.setMuxer = 89;
    s.muxer = 91;
    s.setTargetFormat = 100;
    s.targetFormat = 102;
    s.prepare = 111;
    s.start = 133;
    s.stop = 147;
    s.unknownRequest = 171;
    s.trackFormat = 294;
    s.trackMime = 297;
    s.selectTrack = 301;
    s.decoder = 304;
    s.decoderCallback = 317;
    s.encoder = 321;
    s.encoderCallback = 368;
    s.stopDecodeLooper = 452;
    s.stopDecoder = 453;
    s.stopEncodeLooper = 454;
    s.stopEncoder = 455;
    s.releaseDecoder = 466;
    s.releaseEncoder = 470;
    s.inputBuffer = 537;
    s.sampleTime = 568;
    s.queueSample = 575;
    s.advance = 576;
    s.writeSample = 660;
    return s;
}
inline constexpr TranscoderSites kShared = shared();
}  // namespace VideoTranscoder

namespace AudioTranscoder {
constexpr char kFile[] = OXA_SOURCE("AudioTranscoder");
constexpr CheckSite kSampleRate{kFile, 484};
constexpr CheckSite kChannelCount{kFile, 486};
constexpr CheckSite kPcmTime{kFile, 546};
constexpr CheckSite kPcmFlags{kFile, 548};
constexpr CheckSite kQueuePcm{kFile, 555};

constexpr TranscoderSites shared() {
    TranscoderSites s = transcoderTexts();
    s.file = kFile;
    s.setPath = 56;
    s.path = 59;
    s.setFile = 69;
    s.fileId = 74;
    s.fileOffset = 75;
    s.fileLength = 76;
    s.setMuxer = 85;
    s.muxer = 87;
    s.setTargetFormat = 96;
    s.targetFormat = 98;
    s.prepare = 108;
    s.start = 121;
    s.stop = 134;
    s.unknownRequest = 155;
    s.trackFormat = 263;
    s.trackMime = 266;
    s.selectTrack = 270;
    s.decoder = 273;
    s.decoderCallback = 286;
    s.encoder = 477;
    s.encoderCallback = 505;
    s.stopDecodeLooper = 331;
    s.stopDecoder = 332;
    s.stopEncodeLooper = 333;
    s.stopEncoder = 334;
    s.releaseDecoder = 345;
    s.releaseEncoder = 349;
    s.assertsInputBuffer = false;
    s.queueEnd = 420;
    s.sampleTime = 434;
    s.queueSample = 441;
    s.advance = 443;
    s.writeSample = 595;
    return s;
}
inline constexpr TranscoderSites kShared = shared();
}  // namespace AudioTranscoder

// ---- Live sources ------------------------------------------------------------------------------

namespace HdmiRxInfo {
constexpr LogSite kMade{"HdmiRxInfo", 35};
constexpr LogSite kDropped{"~HdmiRxInfo", 41};
}  // namespace HdmiRxInfo

namespace CameraRecorder {
constexpr char kFile[] = OXA_SOURCE("CameraRecorder");
constexpr LogSite kInterruptSource{"interruptSource", 162};
constexpr CheckSite kUnknownPullerRequest{kFile, 265};
constexpr CheckSite kUnknownRequest{kFile, 470};
constexpr LogSite kSetDataSource{"setDataSource", 478};
constexpr LogSite kSetCamera{"setDataSource", 491};
constexpr LogSite kSetSurface{"setSurface", 503};
constexpr LogSite kSetMuxer{"setMuxer", 513};
constexpr LogSite kPrepare{"prepare", 538};
constexpr LogSite kSetPlayback{"setPlayback", 547};
constexpr LogSite kSetRecord{"setRecord", 557};
constexpr LogSite kStart{"start", 567};
constexpr LogSite kStop{"stop", 576};
constexpr LogSite kReset{"reset", 593};
constexpr LogSite kEncoderName{"setupVideoEncoder", 700};
constexpr LogSite kFormatChange{"handleEncoderOutputFormatChange", 1055};
constexpr LogSite kTrackRefused{"handleEncoderOutputFormatChange", 1060};
constexpr LogSite kTrackAdded{"handleEncoderOutputFormatChange", 1079};
inline constexpr EncoderTexts kEncoderTexts{
        "mEncoder != NULL",
        "mEncoder->setCallback(callback) == OK",
        "CHECK_EQ( mMuxer->writeSampleData(abuffer, mVideoTrackIndex, timeUs, flags),(status_t)OK)",
        "mEncoder->configure(encoderFormat, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE) == OK",
};
}  // namespace CameraRecorder

namespace AudioRxEncoder {
constexpr char kFile[] = OXA_SOURCE("AudioRxEncoder");
constexpr int kNotAllocated = 51;
constexpr int kAllocated = 54;
constexpr int kUnknownWhat = 206;
constexpr CheckSite kUnknownRequest{kFile, 207};
constexpr LogSite kConfigure{"configure", 274};
constexpr LogSite kSetPlayback{"setPlayback", 331};
constexpr LogSite kSetRecord{"setRecord", 340};
constexpr LogSite kReset{"reset", 375};
constexpr LogSite kEncoderConfigured{"configureEncoder", 429};
constexpr LogSite kEncoderReleased{"releaseEncoder", 460};
constexpr CheckSite kWriteSample{kFile, 515};
constexpr LogSite kTrackRefused{"handleEncoderOutputFormatChange", 527};
constexpr LogSite kTrackAdded{"handleEncoderOutputFormatChange", 545};
inline constexpr EncoderTexts kEncoderTexts{
        "mEncoder != NULL",
        "mEncoder->setCallback(callback) == OK",
        "CHECK_EQ( mMuxer->writeSampleData(abuffer, mAudioTrackIndex, timeUs, flags),(status_t)OK)",
        "mEncoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE) == OK",
        true,
};
}  // namespace AudioRxEncoder

namespace AudioRecordEncoder {
constexpr char kFile[] = OXA_SOURCE("AudioRecordEncoder");
constexpr CheckSite kUnknownRequest{kFile, 132};
inline constexpr EncoderTexts kEncoderTexts{
        "encoder != NULL",
        "encoder->setCallback(encoderCallback) == OK",
        "CHECK_EQ( mMuxer->writeSampleData(abuffer, mAudioTrackIndex, timeUs, flags),(status_t)OK)",
        "encoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE) == OK",
};
}  // namespace AudioRecordEncoder

}  // namespace android::sites

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// As clients of the device declare them; what is no such class or template does not compile below.
namespace android {
template <typename TCam, typename TCamTraits>
class CameraBase;
class BnMemory;
class BnMemoryHeap;
class BnCameraRecordingProxy;
class BnCameraRecordingProxyListener;
class IBinder;
struct ICrypto;
struct MediaTrack;
namespace hardware {
class BnCamera;
class BnCameraClient;
struct hidl_handle;
struct hidl_memory;
struct hidl_string;
template <typename T>
struct hidl_vec;
template <typename T>
class Return;
}  // namespace hardware
}  // namespace android

#include <binder/MemoryBase.h>
#include <binder/MemoryHeapBase.h>
#include <camera/Camera.h>
#include <camera/CameraParameters.h>
#include <datasource/FileSource.h>
#include <gui/Surface.h>
#include <hidl/Status.h>
#include <media/AudioRecord.h>
#include <media/AudioTrack.h>
#include <media/MediaBufferHolder.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/CameraSource.h>
#include <media/stagefright/MPEG2TSWriter.h>
#include <media/stagefright/MPEG4Writer.h>
#include <media/stagefright/MediaAdapter.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandlerReflector.h>
#include <media/stagefright/foundation/ALooperRoster.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <mediadrm/ICrypto.h>

#include <cerrno>
#include <type_traits>

#include "support/Test.h"

// Names that the device does not have are free for clients.
[[maybe_unused]] constexpr int audio_channel_count_from_mask = 0;

namespace android {

// Extractors name it only.
struct MediaHTTPService : public RefBase {};

namespace {

[[maybe_unused]] constexpr int gLooperRoster = 0;
[[maybe_unused]] constexpr int MEDIA_MIMETYPE_VIDEO_THEORA = 0;
[[maybe_unused]] constexpr int MEDIA_MIMETYPE_VIDEO_VC1 = 0;
[[maybe_unused]] constexpr int MEDIA_MIMETYPE_VIDEO_WMV = 0;
[[maybe_unused]] constexpr int MEDIA_MIMETYPE_AUDIO_DTS = 0;
[[maybe_unused]] constexpr int MEDIA_MIMETYPE_AUDIO_TRUEHD = 0;

using hardware::hidl_string;
using hardware::hidl_vec;
using hardware::ICamera;
using hardware::ICameraClient;
using hardware::Return;

template <typename... T>
constexpr bool kAbstract = (std::is_abstract_v<T> && ...);
static_assert(
        kAbstract<AHandler, AudioSystem::AudioDeviceCallback, CameraListener, DataSource, IBinder,
                  IBinder::DeathRecipient, ICamera, ICameraClient, ICameraRecordingProxy, ICrypto,
                  IGraphicBufferProducer, IMediaExtractor, IMemory, IMemoryHeap, MediaBufferBase,
                  MediaBufferObserver, MediaSource, MediaTrack, MediaWriter>);

template <typename... T>
constexpr bool kPublicDestructor = (std::is_destructible_v<T> && ...);
static_assert(
        kPublicDestructor<AudioSystem::AudioDeviceCallback, CameraSource, ICamera, ICameraClient,
                          ICameraRecordingProxy, ICameraRecordingProxyListener,
                          IGraphicBufferProducer, MediaAdapter, MediaBufferBase, MediaBufferHolder,
                          MediaCodecBuffer, MediaTrack, MemoryBase, MemoryHeapBase>);

template <typename... T>
constexpr bool kProtectedDestructor = (!std::is_destructible_v<T> && ...);
static_assert(kProtectedDestructor<ABuffer, ALooper, AMessage, AudioRecord, AudioTrack, DataSource,
                                   DataSourceBase, FileSource, IBinder, MPEG2TSWriter, MPEG4Writer,
                                   MediaBuffer, MediaCodec, MediaSource, MediaWriter, MetaData,
                                   NuMediaExtractor, Surface>);

// Constructors alone: those of `T` with a destructor that everybody may use.
template <typename T>
struct Open : public T {
    using T::T;
    ~Open() override = default;
};
template <typename From, typename To>
constexpr bool kConverts = std::is_convertible_v<From, To>;

static_assert(kConverts<String8, CameraParameters> && kConverts<const char*, Open<FileSource>> &&
              kConverts<int, Open<MPEG2TSWriter>> && kConverts<int, Open<MPEG4Writer>> &&
              kConverts<sp<MetaData>, MediaAdapter> && kConverts<sp<IMemory>, Open<MediaBuffer>> &&
              kConverts<MediaBufferBase*, MediaBufferHolder> &&
              kConverts<AHandler*, AHandlerReflector<AHandler>> &&
              kConverts<size_t, hidl_vec<int>> && kConverts<const char*, AString> &&
              !kConverts<size_t, Open<ABuffer>> && !kConverts<sp<ABuffer>, Open<MediaBuffer>> &&
              !kConverts<sp<ALooper>, AReplyToken> && !kConverts<size_t, MemoryHeapBase> &&
              !kConverts<sp<IGraphicBufferProducer>, Open<Surface>> &&
              !kConverts<NuMediaExtractor::EntryPoint, Open<NuMediaExtractor>>);

// The move of a text is a copy.
static_assert(!std::is_nothrow_move_constructible_v<AString> &&
              !std::is_nothrow_move_assignable_v<AString> &&
              std::is_nothrow_move_constructible_v<hidl_string> &&
              std::is_nothrow_move_constructible_v<Return<void>> &&
              std::is_nothrow_move_assignable_v<Return<bool>> &&
              std::is_nothrow_move_constructible_v<Return<sp<IMemory>>> &&
              !std::is_copy_constructible_v<Return<void>>);

template <typename T, typename = void>
constexpr bool kHasPictureQueue = false;
template <typename T>
constexpr bool kHasPictureQueue<T, std::void_t<decltype(std::declval<T&>().pictureQueue())>> = true;
static_assert(!kHasPictureQueue<IGraphicBufferProducer>);

template <typename T>
struct Derived : public T {
    template <typename U>
    static auto reaches(U* self) -> decltype(self->camera(), std::true_type());
    static std::false_type reaches(...);
};
static_assert(!decltype(Derived<CameraBase<Camera>>::reaches(
        static_cast<Derived<CameraBase<Camera>>*>(nullptr)))::value);

static_assert(kKeyVideoProfile == 'vprf' && kKeyVideoLevel == 'vlev');
static_assert(kKeyCaptureFramerate == 'capF' && kKeyPlatformPrivate == 'priv');
static_assert(kKeyMaxWidth == 'maxW' && kKeyMaxHeight == 'maxH');
static_assert(kKeyColorRange == 'cRng' && kKeyColorPrimaries == 'cPrm');
static_assert(kKeyTransferFunction == 'tFcn' && kKeyColorMatrix == 'cMtx');
static_assert(static_cast<int>(IMediaExtractor::EntryPoint::OTHER) == 4);
static_assert(MediaCodec::BUFFER_FLAG_MUXER_DATA == 16 && MediaCodec::CB_RESOURCE_RECLAIMED == 5);
static_assert(AudioTrack::EVENT_CAN_WRITE_MORE_DATA == 9);
static_assert(AudioTrack::TRANSFER_SYNC_NOTIF_CALLBACK == 5);
static_assert(AUDIO_SOURCE_MAX == 10);
static_assert(MediaSource::ReadOptions::SEEK_FRAME_INDEX == 4);

[[maybe_unused]] void callWithDefaults(const sp<ALooper>& looper, const sp<AMessage>& message,
                                       const sp<MediaCodec>& codec, const sp<MediaAdapter>& adapter,
                                       const sp<NuMediaExtractor>& extractor,
                                       const sp<AudioRecord>& record) {
    MediaBufferBase* buffer = nullptr;
    looper->start();
    message->post();
    message->setString("name", "text");
    message->debugString();
    MediaCodec::CreateByType(looper, "", false);
    MediaCodec::CreateByComponentName(looper, "");
    codec->queueInputBuffer(0, 0, 0, 0, 0);
    adapter->start();
    adapter->read(&buffer);
    extractor->selectTrack(0);
    extractor->seekTo(0);
    extractor->getTrackFormat(0, nullptr);
    record->start();
    record->read(nullptr, 0);
    new AudioTrack(AUDIO_STREAM_MUSIC, 0, AUDIO_FORMAT_PCM_16_BIT, AUDIO_CHANNEL_OUT_STEREO);
    new AudioRecord(AUDIO_SOURCE_MIC, 0, AUDIO_FORMAT_PCM_16_BIT, AUDIO_CHANNEL_IN_MONO,
                    String16());
    new MemoryHeapBase(size_t{1});
    new Surface(nullptr);
}

TEST(HeaderFacts, extractorsOpenPaths) {
    const std::string path = oxa::test::mediaPath("friday_480p_audio_first.mp4");
    for (const std::string& name : {path, "file://" + path}) {
        const sp<NuMediaExtractor> extractor =
                new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
        EXPECT_EQ(extractor->setDataSource(nullptr, "/nonexistent"), -ENOENT);
        EXPECT_EQ(extractor->setDataSource(nullptr, "http://localhost/a.mp4"), -ENOENT);
        EXPECT_EQ(extractor->setDataSource(nullptr, name.c_str()), OK) << name;
        EXPECT_EQ(extractor->countTracks(), 2u);
    }
}

TEST(HeaderFacts, statusValues) {
    EXPECT_EQ(status_t{ERROR_IO}, -1004);
    EXPECT_EQ(status_t{ERROR_END_OF_STREAM}, -1011);
    EXPECT_EQ(status_t{ERROR_DRM_CANNOT_HANDLE}, -2006);
}

TEST(HeaderFacts, mimeTypes) {
    std::string all;
    for (const char* type : {MEDIA_MIMETYPE_VIDEO_VP8,     MEDIA_MIMETYPE_VIDEO_VP9,
                             MEDIA_MIMETYPE_VIDEO_AV1,     MEDIA_MIMETYPE_VIDEO_AVC,
                             MEDIA_MIMETYPE_VIDEO_HEVC,    MEDIA_MIMETYPE_VIDEO_MPEG4,
                             MEDIA_MIMETYPE_VIDEO_H263,    MEDIA_MIMETYPE_VIDEO_MPEG2,
                             MEDIA_MIMETYPE_VIDEO_RAW,     MEDIA_MIMETYPE_VIDEO_MJPEG,
                             MEDIA_MIMETYPE_AUDIO_AMR_NB,  MEDIA_MIMETYPE_AUDIO_AMR_WB,
                             MEDIA_MIMETYPE_AUDIO_MPEG,    MEDIA_MIMETYPE_AUDIO_AAC,
                             MEDIA_MIMETYPE_AUDIO_VORBIS,  MEDIA_MIMETYPE_AUDIO_OPUS,
                             MEDIA_MIMETYPE_AUDIO_RAW,     MEDIA_MIMETYPE_AUDIO_MSGSM,
                             MEDIA_MIMETYPE_CONTAINER_OGG, MEDIA_MIMETYPE_CONTAINER_MPEG2TS})
        all += std::string(type) + " ";
    EXPECT_EQ(all,
              "video/x-vnd.on2.vp8 video/x-vnd.on2.vp9 video/av01 video/avc video/hevc "
              "video/mp4v-es video/3gpp video/mpeg2 video/raw video/x-motion-jpeg audio/3gpp "
              "audio/amr-wb audio/mpeg audio/mp4a-latm audio/vorbis audio/opus audio/raw audio/gsm "
              "audio/ogg video/mp2ts ");
}

}  // namespace
}  // namespace android

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gui/Surface.h>
#include <media/MediaBufferHolder.h>
#include <media/hardware/HardwareAPI.h>
#include <media/stagefright/CameraSource.h>
#include <media/stagefright/MediaBuffer.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/EncoderPreset.h>

#include "platform/camera/CameraKit.h"
#include "support/CodecClient.h"
#include "support/LiveSources.h"
#include "support/Pictures.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

constexpr int kPictures = 10;  // that are read from the camera

struct EncodeCase {
    const char* name;
    const char* filter;  // of the source
    Size size;           // of the result
    int deinterlace;
    int pictures;  // of the result, for each one that was captured
};

sp<AMessage> encoderFormat(Size size) {
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", size.width);
    format->setInt32("height", size.height);
    format->setInt32("frame-rate", 30);
    format->setInt32("bitrate", 4000000);
    format->setInt32("i-frame-interval", 2);
    format->setInt32("android._input-metadata-buffer-type", kMetadataBufferTypeANWBuffer);
    return format;
}

// Records a camera as a recorder does: reads its source and hands the records to the encoder.
class CameraJob {
  public:
    explicit CameraJob(const sp<CameraSource>& source) : mSource(source) {}

    void run(const EncodeCase& test) {
        const sp<AMessage> format = encoderFormat(test.size);
        format->setInt32("create-input-buffers-suspended", 1);
        format->setInt32("video-de-interlace", test.deinterlace);
        mEncoder.setHandler([this](const CodecEvent& event) { onEvent(event); });
        ASSERT_EQ(OK, mEncoder.setCallback());
        ASSERT_EQ(OK, mEncoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE));
        ASSERT_EQ(OK, mSource->start());
        ASSERT_EQ(OK, mEncoder->start());
        EXPECT_TRUE(mEncoder.waitFor([](const CodecClient::Events& events) {
            return !events.empty() && (events.back().flags & MediaCodec::BUFFER_FLAG_EOS) &&
                   events.back().id == MediaCodec::CB_OUTPUT_AVAILABLE;
        }));
        mEncoder.stopCallbacks();
        mEncoder.release();
        EXPECT_EQ(OK, mSource->stop());
    }

    // Of the encoded pictures.
    const std::vector<int64_t>& timesUs() const { return mTimesUs; }
    // After decoding the result.
    std::vector<Image> pictures() const {
        const std::string path = TempDir::ofProcess().file("encoded.h264");
        EXPECT_TRUE(writeFile(path, mStream));
        return decodePictures(path);
    }

  private:
    void onEvent(const CodecEvent& event) {
        sp<MediaCodecBuffer> buffer;
        if (event.id == MediaCodec::CB_OUTPUT_FORMAT_CHANGED) {
            for (const char* key : {"csd-0", "csd-1"}) {
                sp<ABuffer> csd;
                ASSERT_TRUE(event.format->findBuffer(key, &csd));
                mStream.append(reinterpret_cast<const char*>(csd->data()), csd->size());
            }
        } else if (event.id == MediaCodec::CB_INPUT_AVAILABLE && mFed < kPictures) {
            ASSERT_EQ(OK, mEncoder->getInputBuffer(event.index, &buffer));
            feed(event.index, buffer);
        } else if (event.id == MediaCodec::CB_OUTPUT_AVAILABLE && event.size > 0) {
            ASSERT_EQ(OK, mEncoder->getOutputBuffer(event.index, &buffer));
            mStream.append(reinterpret_cast<const char*>(buffer->data()), event.size);
            mTimesUs.push_back(event.timeUs);
            mEncoder->releaseOutputBuffer(event.index);
        }
    }

    // The last picture carries the end, as recorders mark it.
    void feed(size_t index, const sp<MediaCodecBuffer>& buffer) {
        MediaBufferBase* frame = nullptr;
        ASSERT_EQ(OK, mSource->read(&frame));
        ASSERT_NE(nullptr, frame);
        ASSERT_LE(frame->size(), buffer->capacity());
        int64_t timeUs = 0;
        frame->meta_data().findInt64(kKeyTime, &timeUs);
        memcpy(buffer->base(), frame->data(), frame->size());
        buffer->meta()->setObject("mediaBufferHolder", new MediaBufferHolder(frame));
        frame->release();
        mEncoder->queueInputBuffer(index, 0, frame->size(), timeUs,
                                   ++mFed == kPictures ? MediaCodec::BUFFER_FLAG_EOS : 0);
    }

    const sp<CameraSource> mSource;
    // The callback looper's while it runs.
    int mFed = 0;
    std::string mStream;
    std::vector<int64_t> mTimesUs;
    CodecClient mEncoder{"video/avc", true};
};

// Each record stands for one picture: no picture may be lost, doubled, or taken for another.
TEST(MetadataEncoder, EncodesThePicturesThatRecordsReferTo) {
    host::setEncoderPreset("ultrafast");
    for (const EncodeCase& c :
         {EncodeCase{"scaled", "", Size(640, 480), 0, 1},
          EncodeCase{"full range", ",scale=out_range=full,format=yuvj420p", Size(320, 240), 0, 1},
          EncodeCase{"progressive stays whole", "", Size(320, 240), 1, 1},
          EncodeCase{"fields become pictures", ",setfield=tff", Size(320, 240), 2, 2},
          EncodeCase{"frames of fields", ",setfield=tff", Size(320, 240), 1, 1}}) {
        SCOPED_TRACE(c.name);
        Cameras cameras;
        cameras.add(0, "lavfi:" + numberedPictures(30, 320, 240) + c.filter);
        const sp<CameraSource> source = CameraSource::CreateFromCamera(
                nullptr, nullptr, 0, String16("test"), 0, 0, c.size, 30, nullptr);
        ASSERT_EQ(OK, source->initCheck());
        CameraJob job(source);
        ASSERT_NO_FATAL_FAILURE(job.run(c));

        const std::vector<Image> pictures = job.pictures();
        ASSERT_EQ(static_cast<size_t>(kPictures * c.pictures), pictures.size());
        ASSERT_EQ(pictures.size(), job.timesUs().size());
        for (size_t i = 0; i < pictures.size(); ++i) {
            const double number = static_cast<double>(i) / c.pictures;
            EXPECT_EQ(c.size.width, pictures[i].width);
            EXPECT_NEAR(number, meanColour(pictures[i]).y - 20, 1.5) << "told by the brightness";
            EXPECT_NEAR(number * 1e6 / 30, static_cast<double>(job.timesUs()[i]), 20);
        }
        EXPECT_EQ(0u, host::cameraFigures(0).recordingDropped) << "all pictures came back in time";
    }
    host::setEncoderPreset("veryfast");
}

// What is no record of a picture is left out with a fault; the process goes on.
TEST(MetadataEncoderInput, LeavesOutWhatIsNoRecord) {
    const FaultLog log;
    CodecClient encoder("video/avc", true);
    int fed = 0;
    encoder.setHandler([&](const CodecEvent& event) {
        sp<MediaCodecBuffer> buffer;
        if (event.id != MediaCodec::CB_INPUT_AVAILABLE || fed > 2) return;
        if (encoder->getInputBuffer(event.index, &buffer) != OK) return;
        VideoNativeMetadata record = {kMetadataBufferTypeNativeHandleSource, nullptr, -1};
        if (fed == 1) record.eType = kMetadataBufferTypeANWBuffer;
        memcpy(buffer->base(), &record, sizeof(record));
        const size_t size = fed == 2 ? 4 : sizeof(record);
        encoder->queueInputBuffer(event.index, 0, size, fed * 1000,
                                  fed == 2 ? MediaCodec::BUFFER_FLAG_EOS : 0);
        ++fed;
    });
    ASSERT_EQ(OK, encoder.setCallback());
    ASSERT_EQ(OK, encoder->configure(encoderFormat(Size(64, 48)), NULL, NULL,
                                     MediaCodec::CONFIGURE_FLAG_ENCODE));
    ASSERT_EQ(OK, encoder->start());
    ASSERT_TRUE(encoder.waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, 1));
    EXPECT_EQ(0u, encoder.events().back().size);
    encoder.stopCallbacks();
    encoder.release();
    ASSERT_FALSE(log.faults().empty());
    EXPECT_EQ(3u, log.faults().back().count);
}

}  // namespace
}  // namespace oxa::test

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <gui/Surface.h>
#include <media/hardware/HardwareAPI.h>
#include <media/stagefright/CameraSource.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/EncoderPreset.h>

#include <cstring>

#include "platform/camera/CameraJob.h"
#include "platform/camera/CameraKit.h"
#include "platform/codec/CodecClient.h"
#include "platform/live/LiveSources.h"

namespace oxa::test {
namespace {

using namespace android;

struct EncodeCase {
    const char* name;
    const char* filter;  // of the source
    Size size;           // of the result
    int deinterlace;
    int pictures;  // of the result, for each one that was captured
};

class MetadataEncoder : public testing::TestWithParam<EncodeCase> {};

// Each record stands for one picture: no picture may be lost, doubled, or taken for another.
TEST_P(MetadataEncoder, EncodesThePicturesThatRecordsReferTo) {
    constexpr int kPictures = 10;
    const EncodeCase& c = GetParam();
    host::setEncoderPreset("ultrafast");
    Cameras cameras;
    cameras.add(0, "lavfi:" + numberedPictures(30, 320, 240) + c.filter);
    const sp<CameraSource> source = CameraSource::CreateFromCamera(
            nullptr, nullptr, 0, String16("test"), 0, 0, c.size, 30, nullptr);
    ASSERT_EQ(OK, source->initCheck());
    CameraJob job(source, {c.size.width, c.size.height, c.deinterlace, kPictures});
    ASSERT_TRUE(job.run());
    host::setEncoderPreset("veryfast");

    const std::vector<int> numbers = job.decodedNumbers();
    ASSERT_EQ(static_cast<size_t>(kPictures * c.pictures), numbers.size());
    ASSERT_EQ(numbers.size(), job.timesUs().size());
    EXPECT_EQ(c.size.width, job.decodedWidth());
    for (size_t i = 0; i < numbers.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(i) / c.pictures, numbers[i], 1) << i;
        EXPECT_NEAR(static_cast<double>(i) * 1e6 / 30 / c.pictures,
                    static_cast<double>(job.timesUs()[i]), 20);
    }
    EXPECT_EQ(0u, host::cameraFigures(0).recordingDropped) << "all pictures came back in time";
}

INSTANTIATE_TEST_SUITE_P(
        Cases, MetadataEncoder,
        testing::Values(EncodeCase{"Scaled", "", Size(640, 480), 0, 1},
                        EncodeCase{"FullRange", ",scale=out_range=full,format=yuvj420p",
                                   Size(320, 240), 0, 1},
                        EncodeCase{"ProgressiveStaysWhole", "", Size(320, 240), 1, 1},
                        EncodeCase{"FieldsBecomePictures", ",setfield=tff", Size(320, 240), 2, 2},
                        EncodeCase{"FramesOfFields", ",setfield=tff", Size(320, 240), 1, 1}),
        [](const auto& info) { return info.param.name; });

// What is no record of a picture is left out with a fault; the process goes on.
TEST(MetadataEncoderInput, LeavesOutWhatIsNoRecord) {
    const FaultLog log;
    CodecClient encoder("video/avc", true);
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", 64);
    format->setInt32("height", 48);
    format->setInt32("android._input-metadata-buffer-type", kMetadataBufferTypeANWBuffer);
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
    ASSERT_EQ(OK, encoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE));
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

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/HdmiReceiver.h>

#include <cerrno>
#include <filesystem>
#include <future>

#include "hdmi/HdmiSignal.h"
#include "live/LiveReader.h"
#include "platform/camera/CameraKit.h"
#include "support/LiveSources.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

constexpr char kVideoInfo[] = "/sys/devices/virtual/video4linux/video250/hdmirx_video_info";
constexpr char kAudioInfo[] = "/sys/devices/virtual/video4linux/video250/hdmirx_audio_info";
constexpr char kPlugState[] = "/sys/devices/virtual/switch/rx_video/state";

class HdmiReceiverTest : public testing::Test {
  protected:
    HdmiReceiverTest() {
        mOptions.deviceRoot = mDirectory.path();
        mOptions.source =
                "lavfi:" + numberedPictures(60, 320, 240) + "[out0];" + timedSound() + "[out1]";
    }

    void create() {
        std::string error;
        mReceiver = host::SimulatedHdmiReceiver::create(mOptions, &error);
        ASSERT_NE(mReceiver, nullptr) << error;
    }

    std::string textOf(const char* path) const { return readFile(mDirectory.path() + path); }

    TempDir mDirectory;
    host::HdmiReceiverOptions mOptions;
    std::unique_ptr<host::SimulatedHdmiReceiver> mReceiver;
};

// The files are all that recorders know of the signal.
TEST_F(HdmiReceiverTest, publishesItsSignal) {
    create();
    EXPECT_EQ(
            "Type:HDMIRx\nStatus:Ready\nWidth:320\nHeight:240\nScanMode:Progressive\n"
            "Color:YUV422\nFps:60\n",
            textOf(kVideoInfo));
    EXPECT_EQ(textOf(kAudioInfo), "Ready:1\nFreq:48000\nSPDIF Type:LPCM\n");
    EXPECT_EQ(textOf(kPlugState), "1\n");
    EXPECT_TRUE(HdmiSignal::current()->camera()->repeat()) << "a signal has no end";
    std::string error;
    EXPECT_EQ(host::SimulatedHdmiReceiver::create(mOptions, &error), nullptr);
    EXPECT_EQ(error, "there is an HDMI receiver already");

    mReceiver->setSize(128, 96);
    mReceiver->setFrameRate(25);
    mReceiver->setProgressive(false);
    mReceiver->setSampleRate(44100);
    const std::string video =
            "Type:HDMIRx\nStatus:Ready\nWidth:128\nHeight:96\nScanMode:Interlaced\n"
            "Color:YUV422\nFps:25\n";
    EXPECT_EQ(video, textOf(kVideoInfo));
    EXPECT_EQ(textOf(kAudioInfo), "Ready:1\nFreq:44100\nSPDIF Type:LPCM\n");
    mReceiver->setSampleRate(48000);
    mReceiver->setDriverFiles(host::DriverFiles::kMissing);
    mReceiver->setSize(128, 96);
    for (const char* path : {kVideoInfo, kAudioInfo, kPlugState})
        EXPECT_FALSE(std::filesystem::exists(mDirectory.path() + path)) << path;
    mReceiver->setDriverFiles(host::DriverFiles::kWrong);
    EXPECT_EQ(std::string::npos, textOf(kVideoInfo).find("Width:128"));
    mReceiver->setDriverFiles(host::DriverFiles::kRight);
    EXPECT_EQ(video, textOf(kVideoInfo));
    mReceiver->loseAudio();
    EXPECT_EQ(textOf(kAudioInfo), "Ready:0\n");
    EXPECT_FALSE(HdmiSignal::current()->hasSound());
    mReceiver->restoreAudio();

    std::vector<bool> states;
    std::string stateWhenTold;
    const int id = HdmiSignal::current()->addPlugListener([&](bool plugged) {
        states.push_back(plugged);
        stateWhenTold = textOf(kPlugState);
    });
    mReceiver->unplug();
    EXPECT_EQ(stateWhenTold, "0\n") << "who is told reads the file";
    EXPECT_EQ(textOf(kVideoInfo), "Type:HDMIRx\nStatus:NotReady\n");
    EXPECT_EQ(textOf(kAudioInfo), "Ready:0\n");
    mReceiver->plug();
    EXPECT_EQ(states, (std::vector<bool>{false, true}));
    EXPECT_EQ(textOf(kAudioInfo), "Ready:1\nFreq:48000\nSPDIF Type:LPCM\n");
    HdmiSignal::current()->removePlugListener(id);

    mReceiver.reset();
    EXPECT_FALSE(std::filesystem::exists(mDirectory.path() + kVideoInfo));
    EXPECT_EQ(HdmiSignal::current().get(), nullptr);
    mOptions.deviceRoot = "/proc/nowhere";
    EXPECT_EQ(host::SimulatedHdmiReceiver::create(mOptions, &error), nullptr);
    EXPECT_NE(std::string::npos, error.find("cannot write below '/proc/nowhere'")) << error;
    EXPECT_EQ(HdmiSignal::current().get(), nullptr);
}

TEST_F(HdmiReceiverTest, isACameraThatIsLostWithThePlug) {
    mOptions.source.clear();
    mOptions.width = 320;
    mOptions.height = 180;
    create();
    const FaultLog log;
    {
        OpenCamera camera(mOptions.camera);
        const auto target = PictureTarget::create();
        ASSERT_EQ(camera->setPreviewTarget(target->producer()), OK);
        ASSERT_EQ(camera->startPreview(), OK);
        ASSERT_TRUE(target->waitForCount(3));
        mReceiver->setSize(160, 90);
        ASSERT_TRUE(target->waitForCount(target->count() + 3));
        for (const QueuedPicture& queued : target->pictures())
            EXPECT_EQ(queued.picture->width(), 320) << "a recording goes on in one size";
        mReceiver->unplug();
        EXPECT_EQ(waitForEnd(log), ENODEV);
    }
    mReceiver->plug();
    OpenCamera camera(mOptions.camera);
    Size size;
    CameraParameters(camera->getParameters()).getPreviewSize(&size.width, &size.height);
    EXPECT_EQ(size.width, 160);
}

// Every picture is of one colour, and no two that follow each other of the same.
TEST_F(HdmiReceiverTest, givesPicturesInTheFormOfTheSignal) {
    create();
    const sp<LiveControl> control = HdmiSignal::current()->camera()->control();
    LiveOptions options;
    options.source = "lavfi:color=black:size=64x48:rate=60,geq=lum='16+mod(N,2)*200':cb=128:cr=128";
    options.control = control;
    std::string error;
    const std::unique_ptr<LiveReader> reader = LiveReader::open(options, &error);
    ASSERT_NE(reader, nullptr) << error;
    reader->start();
    const auto read = [&] {
        LiveBlock block;
        EXPECT_EQ(reader->read(&block), LiveResult::kOk);
        return block;
    };
    const auto isWoven = [](const LiveBlock& block) {
        const PicturePlanes::Plane luma = block.picture->planes().planes[0];
        return luma.data[0] != luma.data[luma.stride];
    };
    EXPECT_FALSE(isWoven(read()));
    mReceiver->setProgressive(false);
    read();
    EXPECT_TRUE(isWoven(read()));
    mReceiver->setProgressive(true);
    EXPECT_FALSE(isWoven(read()));
    mReceiver->setFrameRate(20);
    int64_t formerUs = read().timeUs;
    for (int i = 0; i < 4; ++i) {
        const int64_t timeUs = read().timeUs;
        EXPECT_NEAR(timeUs - formerUs, 50000, 1000);
        formerUs = timeUs;
    }
    mReceiver->setSize(32, 24);
    const sp<Picture> small = read().picture;
    EXPECT_EQ(small->width(), 32);
    EXPECT_EQ(small->height(), 24);
}

TEST_F(HdmiReceiverTest, givesSoundThatPausesAndStaysInTime) {
    create();
    const sp<HdmiSignal> signal = HdmiSignal::current();
    LiveOptions options;
    options.source = signal->source();
    options.kind = LiveKind::kSound;
    options.clock = signal->clock();
    options.control = signal->soundControl();
    options.silenceLimitUs = 0;
    std::string error;
    const std::unique_ptr<LiveReader> sound = LiveReader::open(options, &error);
    ASSERT_NE(sound, nullptr) << error;
    sound->start();
    const int64_t originUs = signal->clock()->start(0);
    using Receiver = host::SimulatedHdmiReceiver;
    for (const auto& [pause, goOn] : {std::pair(&Receiver::loseAudio, &Receiver::restoreAudio),
                                      {&Receiver::stall, &Receiver::resume}}) {
        LiveBlock block;
        ASSERT_EQ(sound->read(&block), LiveResult::kOk);
        ((*mReceiver).*pause)();
        auto reading = std::async(std::launch::async, [&] {
            LiveBlock next;
            EXPECT_EQ(sound->read(&next), LiveResult::kOk);
            return next;
        });
        EXPECT_EQ(std::future_status::timeout, reading.wait_for(std::chrono::milliseconds(200)));
        ((*mReceiver).*goOn)();
        const LiveBlock next = reading.get();
        EXPECT_GE(next.timeUs - block.timeUs, 190000);
        EXPECT_NEAR(static_cast<double>(next.timeUs - originUs),
                    static_cast<double>(timeOfSampleUs(next.samples[0])), 1000);
    }
}

}  // namespace
}  // namespace oxa::test

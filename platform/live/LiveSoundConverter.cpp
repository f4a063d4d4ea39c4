// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "LiveSoundConverter"

#include <log/log.h>

#include "ffmpeg/AudioConverter.h"
#include "live/LiveConverter.h"

namespace android {

namespace {

// The frame's layout, or the usual one when its channels have no order.
AVChannelLayout layoutOf(const AVFrame& frame) {
    AVChannelLayout layout = {};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&layout, frame.ch_layout.nb_channels);
    } else {
        av_channel_layout_copy(&layout, &frame.ch_layout);
    }
    return layout;
}

class LiveSoundConverter : public LiveConverter {
  public:
    explicit LiveSoundConverter(const LiveOptions& options)
        : mChannels(options.channels), mSampleRate(options.sampleRate) {}

    bool convert(AVFrame* frame, LiveBlock* block, int64_t* shiftUs) override {
        AVChannelLayout layout = layoutOf(*frame);
        const AudioShape shape(static_cast<AVSampleFormat>(frame->format), frame->sample_rate,
                               layout);
        av_channel_layout_uninit(&layout);
        const bool opened = mOpen || open(shape);
        bool converted = opened && (mConverter.input() == shape || mConverter.setInput(shape));
        if (converted) {
            *shiftUs = -mConverter.delayedFrames() * 1000000 / mConverter.output().sampleRate;
            converted = mConverter.push(frame->extended_data, frame->nb_samples);
        }
        av_frame_unref(frame);
        if (!converted) {
            ALOGW("sound cannot be converted");
            return false;
        }
        return pull(block);
    }

  private:
    bool open(const AudioShape& input) {
        AVChannelLayout layout = {};
        if (mChannels == 0) {
            av_channel_layout_copy(&layout, &input.layout);
        } else {
            av_channel_layout_default(&layout, mChannels);
        }
        mOpen = mConverter.open(AudioShape(
                AV_SAMPLE_FMT_S16, mSampleRate == 0 ? input.sampleRate : mSampleRate, layout));
        av_channel_layout_uninit(&layout);
        return mOpen;
    }

    bool pull(LiveBlock* block) {
        const int frames = mConverter.available();
        if (frames == 0) return false;
        block->channels = mConverter.output().channels();
        block->sampleRate = mConverter.output().sampleRate;
        block->samples.resize(static_cast<size_t>(frames) * block->channels);
        auto* plane = reinterpret_cast<uint8_t*>(block->samples.data());
        mConverter.pull(&plane, frames);
        return true;
    }

    const int mChannels;
    const int mSampleRate;
    AudioConverter mConverter;
    bool mOpen = false;
};

}  // namespace

std::unique_ptr<LiveConverter> createLiveSoundConverter(const LiveOptions& options) {
    return std::make_unique<LiveSoundConverter>(options);
}

}  // namespace android

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/AudioSystem.h>
#include <system/audio.h>

#include "support/Test.h"

namespace android {
namespace {

// Masks are stored in formats and compared with those of other programs.
TEST(AudioChannels, haveTheirMasksByCount) {
    constexpr struct {
        uint32_t count;
        audio_channel_mask_t out;
        audio_channel_mask_t in;
    } kMasks[] = {
            {0, 0, 0},
            {1, 0x1, 0x10},
            {2, 0x3, 0xC},
            {3, 0xB, 0x80000007},
            {4, 0x33, 0x8000000F},
            {5, 0x37, 0x8000001F},
            {6, 0x3F, 0x8000003F},
            {7, 0x13F, 0x8000007F},
            {8, 0x63F, 0x800000FF},
            {9, 0xC0000000, 0xC0000000},
    };
    for (const auto& masks : kMasks) {
        SCOPED_TRACE(masks.count);
        EXPECT_EQ(audio_channel_out_mask_from_count(masks.count), masks.out);
        EXPECT_EQ(audio_channel_in_mask_from_count(masks.count), masks.in);
        const uint32_t counted = masks.count <= 8 ? masks.count : 0;
        EXPECT_EQ(counted, audio_channel_count_from_out_mask(masks.out));
        EXPECT_EQ(counted, audio_channel_count_from_in_mask(masks.in));
    }
    // A position that only the other direction has is no channel.
    EXPECT_EQ(audio_channel_count_from_in_mask(AUDIO_CHANNEL_IN_MONO | 0x1), 1u);
}

TEST(AudioSystem, givesAHardwareSyncToSessionsItHasHandedOutOnly) {
    const auto syncOf = [](int session) {
        return AudioSystem::getAudioHwSyncForSession(static_cast<audio_session_t>(session));
    };
    const int session = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
    const int other = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_SESSION);
    const int noSession = AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_CLIENT);
    EXPECT_GT(static_cast<int32_t>(syncOf(session)), 0);
    EXPECT_EQ(syncOf(session), syncOf(session));
    EXPECT_NE(syncOf(session), syncOf(other));
    EXPECT_EQ(AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_MAX), AUDIO_UNIQUE_ID_ALLOCATE);
    EXPECT_GT(AudioSystem::newAudioUniqueId(AUDIO_UNIQUE_ID_USE_UNSPECIFIED), 0);
    const int beyond = other + AUDIO_UNIQUE_ID_USE_MAX;
    for (const int unknown : {-1, 0, 1, noSession, beyond}) {
        EXPECT_EQ(syncOf(unknown), static_cast<audio_hw_sync_t>(AUDIO_HW_SYNC_INVALID)) << unknown;
    }
}

}  // namespace
}  // namespace android

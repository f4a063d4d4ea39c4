// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>
#include <system/audio-base-utils.h>
#include <system/audio-base.h>

typedef uint32_t audio_channel_mask_t;
typedef int audio_unique_id_t;
typedef int audio_port_handle_t;
typedef int audio_io_handle_t;
typedef uint32_t audio_hw_sync_t;

#define AUDIO_PORT_HANDLE_NONE 0
#define AUDIO_HW_SYNC_INVALID 0
#define AUDIO_UID_INVALID ((uid_t)-1)
#define AUDIO_UNIQUE_ID_ALLOCATE 0

// Which space of numbers an id is taken from.
typedef enum : int32_t {
    AUDIO_UNIQUE_ID_USE_UNSPECIFIED = 0,
    AUDIO_UNIQUE_ID_USE_SESSION = 1,
    AUDIO_UNIQUE_ID_USE_MODULE = 2,
    AUDIO_UNIQUE_ID_USE_EFFECT = 3,
    AUDIO_UNIQUE_ID_USE_PATCH = 4,
    AUDIO_UNIQUE_ID_USE_OUTPUT = 5,
    AUDIO_UNIQUE_ID_USE_INPUT = 6,
    AUDIO_UNIQUE_ID_USE_CLIENT = 7,
    AUDIO_UNIQUE_ID_USE_MAX = 8,
    AUDIO_UNIQUE_ID_USE_MASK = AUDIO_UNIQUE_ID_USE_MAX - 1,
} audio_unique_id_use_t;

typedef enum : int32_t {
    MIC_DIRECTION_UNSPECIFIED = 0,
} audio_microphone_direction_t;

#define MIC_FIELD_DIMENSION_DEFAULT 0.0f

// Only passed as null pointers; there is no offloading and no routing by attributes here.
typedef struct audio_offload_info audio_offload_info_t;
typedef struct audio_attributes audio_attributes_t;

// The mask for `n` channels: AUDIO_CHANNEL_NONE for 0, AUDIO_CHANNEL_INVALID for more than 8.
static inline audio_channel_mask_t audio_channel_out_mask_from_count(uint32_t n) {
    switch (n) {
        case 0:
            return AUDIO_CHANNEL_NONE;
        case 1:
            return AUDIO_CHANNEL_OUT_MONO;
        case 2:
            return AUDIO_CHANNEL_OUT_STEREO;
        case 3:
            return AUDIO_CHANNEL_OUT_2POINT1;
        case 4:
            return AUDIO_CHANNEL_OUT_QUAD;
        case 5:
            return AUDIO_CHANNEL_OUT_PENTA;
        case 6:
            return AUDIO_CHANNEL_OUT_5POINT1;
        case 7:
            return AUDIO_CHANNEL_OUT_6POINT1;
        case 8:
            return AUDIO_CHANNEL_OUT_7POINT1;
        default:
            return AUDIO_CHANNEL_INVALID;
    }
}

static inline audio_channel_mask_t audio_channel_in_mask_from_count(uint32_t n) {
    switch (n) {
        case 0:
            return AUDIO_CHANNEL_NONE;
        case 1:
            return AUDIO_CHANNEL_IN_MONO;
        case 2:
            return AUDIO_CHANNEL_IN_STEREO;
        default:
            return n <= 8 ? AUDIO_CHANNEL_INDEX_HDR | ((1u << n) - 1) : AUDIO_CHANNEL_INVALID;
    }
}

static inline uint32_t audio_channel_mask_get_bits(audio_channel_mask_t channel) {
    return channel & 0x3FFFFFFFu;
}

// How many channels a mask has; 0 for an invalid one.
static inline uint32_t audio_channel_count_from_out_mask(audio_channel_mask_t channel) {
    const uint32_t bits = audio_channel_mask_get_bits(channel);
    switch (channel >> 30) {
        case AUDIO_CHANNEL_REPRESENTATION_POSITION:
            return (uint32_t)__builtin_popcount(bits & 0x3FFFFu);
        case AUDIO_CHANNEL_REPRESENTATION_INDEX:
            return (uint32_t)__builtin_popcount(bits);
        default:
            return 0;
    }
}

static inline uint32_t audio_channel_count_from_in_mask(audio_channel_mask_t channel) {
    // The positions differ, numbered channels count alike.
    return channel >> 30 == AUDIO_CHANNEL_REPRESENTATION_POSITION
                   ? (uint32_t)__builtin_popcount(channel & 0xFFFCu)
                   : audio_channel_count_from_out_mask(channel);
}

// 0 for formats that are not linear samples.
static inline size_t audio_bytes_per_sample(audio_format_t format) {
    switch (format) {
        case AUDIO_FORMAT_PCM_8_BIT:
            return 1;
        case AUDIO_FORMAT_PCM_16_BIT:
            return 2;
        case AUDIO_FORMAT_PCM_24_BIT_PACKED:
            return 3;
        case AUDIO_FORMAT_PCM_32_BIT:
        case AUDIO_FORMAT_PCM_8_24_BIT:
        case AUDIO_FORMAT_PCM_FLOAT:
            return 4;
        default:
            return 0;
    }
}

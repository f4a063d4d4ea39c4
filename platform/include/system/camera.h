// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Kinds of messages from a camera, and the commands that it may know.

enum {
    CAMERA_MSG_ERROR = 0x0001,
    CAMERA_MSG_SHUTTER = 0x0002,
    CAMERA_MSG_FOCUS = 0x0004,
    CAMERA_MSG_ZOOM = 0x0008,
    CAMERA_MSG_PREVIEW_FRAME = 0x0010,
    CAMERA_MSG_VIDEO_FRAME = 0x0020,
    CAMERA_MSG_POSTVIEW_FRAME = 0x0040,
    CAMERA_MSG_RAW_IMAGE = 0x0080,
    CAMERA_MSG_COMPRESSED_IMAGE = 0x0100,
    CAMERA_MSG_RAW_IMAGE_NOTIFY = 0x0200,
    CAMERA_MSG_PREVIEW_METADATA = 0x0400,
    CAMERA_MSG_FOCUS_MOVE = 0x0800,
    CAMERA_MSG_ALL_MSGS = 0xFFFF,
};

enum {
    CAMERA_CMD_SET_VIDEO_BUFFER_COUNT = 10,
    CAMERA_CMD_SET_VIDEO_FORMAT = 11,
};

// First argument of CAMERA_MSG_ERROR.
enum {
    CAMERA_ERROR_UNKNOWN = 1,
    CAMERA_ERROR_RELEASED = 2,
    CAMERA_ERROR_SERVER_DIED = 100,
};

typedef struct camera_frame_metadata camera_frame_metadata_t;

#ifdef __cplusplus
}
#endif

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MPEG2TSWriter"

#include <media/stagefright/MPEG2TSWriter.h>

#include "writer/ContainerWriter.h"
#include "writer/TsMuxer.h"

namespace android {

namespace {

constexpr char kThreadName[] = "MPEG2TSWriter";

}  // namespace

MPEG2TSWriter::MPEG2TSWriter(int fd)
    : mWriter(std::make_unique<ContainerWriter>(std::make_unique<WriterOutput>(fd),
                                                std::make_unique<TsMuxer>(), kThreadName)) {}

MPEG2TSWriter::MPEG2TSWriter(void* cookie,
                             ssize_t (*write)(void* cookie, const void* data, size_t size))
    : mWriter(std::make_unique<ContainerWriter>(
              std::make_unique<WriterOutput>([cookie, write](const void* data, size_t size) {
                  return write(cookie, data, size);
              }),
              std::make_unique<TsMuxer>(), kThreadName)) {}

MPEG2TSWriter::~MPEG2TSWriter() = default;

status_t MPEG2TSWriter::addSource(const sp<MediaSource>& source) {
    return mWriter->addSource(source);
}

status_t MPEG2TSWriter::start(MetaData* params) {
    return mWriter->start(params);
}

status_t MPEG2TSWriter::stop() {
    mWriter->stop();
    return OK;
}

// As on a television: nothing changes.
status_t MPEG2TSWriter::pause() {
    return OK;
}

bool MPEG2TSWriter::reachedEOS() {
    return !mWriter->isWriting() || mWriter->reachedEnd();
}

}  // namespace android

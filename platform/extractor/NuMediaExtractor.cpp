// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "NuMediaExtractor"

#include <datasource/FileSource.h>
#include <errno.h>
#include <fcntl.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <strings.h>

#include <string_view>

#include "extractor/ContainerReader.h"

namespace android {

NuMediaExtractor::NuMediaExtractor(EntryPoint /*entryPoint*/) {}

NuMediaExtractor::~NuMediaExtractor() = default;

status_t NuMediaExtractor::setDataSource(const sp<DataSource>& datasource) {
    Mutex::Autolock lock(mLock);
    if (mReader != nullptr || datasource == nullptr) return -EINVAL;
    status_t err = datasource->initCheck();
    if (err != OK) return err;
    auto reader = std::make_unique<ContainerReader>(datasource);
    err = reader->open();
    if (err == OK) mReader = std::move(reader);
    return err;
}

status_t NuMediaExtractor::setDataSource(int fd, off64_t offset, off64_t size) {
    return setDataSource(new FileSource(fcntl(fd, F_DUPFD_CLOEXEC, 0), offset, size));
}

status_t NuMediaExtractor::setDataSource(const sp<MediaHTTPService>& /*httpService*/,
                                         const char* path,
                                         const KeyedVector<String8, String8>* /*headers*/) {
    constexpr std::string_view kScheme = "file://";
    if (strncasecmp(path, kScheme.data(), kScheme.size()) == 0) path += kScheme.size();
    const sp<DataSource> source = new FileSource(path);
    return source->initCheck() == OK ? setDataSource(source) : -ENOENT;
}

size_t NuMediaExtractor::countTracks() const {
    Mutex::Autolock lock(mLock);
    return mReader != nullptr ? mReader->countTracks() : 0;
}

status_t NuMediaExtractor::getTrackFormat(size_t index, sp<AMessage>* format,
                                          uint32_t /*flags*/) const {
    Mutex::Autolock lock(mLock);
    *format = nullptr;
    if (mReader == nullptr) return -EINVAL;
    if (index >= mReader->countTracks()) return -ERANGE;
    *format = mReader->trackFormat(index);
    return OK;
}

status_t NuMediaExtractor::selectTrack(size_t index, int64_t startTimeUs,
                                       MediaSource::ReadOptions::SeekMode mode) {
    Mutex::Autolock lock(mLock);
    if (mReader == nullptr) return -EINVAL;
    if (index >= mReader->countTracks()) return -ERANGE;
    status_t err = mReader->select(index);
    if (err == OK && startTimeUs >= 0) err = mReader->seek(startTimeUs, mode);
    return err;
}

status_t NuMediaExtractor::unselectTrack(size_t index) {
    Mutex::Autolock lock(mLock);
    if (mReader == nullptr) return -EINVAL;
    if (index >= mReader->countTracks()) return -ERANGE;
    mReader->unselect(index);
    return OK;
}

status_t NuMediaExtractor::seekTo(int64_t timeUs, MediaSource::ReadOptions::SeekMode mode) {
    Mutex::Autolock lock(mLock);
    return mReader != nullptr ? mReader->seek(timeUs, mode) : ERROR_END_OF_STREAM;
}

status_t NuMediaExtractor::readSampleData(const sp<ABuffer>& buffer) {
    Mutex::Autolock lock(mLock);
    buffer->setRange(0, 0);
    return mReader != nullptr ? mReader->read(buffer) : ERROR_END_OF_STREAM;
}

status_t NuMediaExtractor::getSampleTime(int64_t* sampleTimeUs) {
    Mutex::Autolock lock(mLock);
    return mReader != nullptr ? mReader->time(sampleTimeUs) : ERROR_END_OF_STREAM;
}

status_t NuMediaExtractor::getSampleSize(size_t* sampleSize) {
    Mutex::Autolock lock(mLock);
    return mReader != nullptr ? mReader->size(sampleSize) : ERROR_END_OF_STREAM;
}

status_t NuMediaExtractor::getSampleTrackIndex(size_t* trackIndex) {
    Mutex::Autolock lock(mLock);
    return mReader != nullptr ? mReader->trackIndex(trackIndex) : ERROR_END_OF_STREAM;
}

status_t NuMediaExtractor::getSampleMeta(sp<MetaData>* sampleMeta) {
    Mutex::Autolock lock(mLock);
    if (mReader == nullptr) return ERROR_END_OF_STREAM;
    int64_t timeUs = 0;
    bool sync = false;
    status_t err = mReader->time(&timeUs);
    if (err == OK) err = mReader->isSync(&sync);
    if (err != OK) return err;
    *sampleMeta = new MetaData;
    (*sampleMeta)->setInt64(kKeyTime, timeUs);
    if (sync) (*sampleMeta)->setInt32(kKeyIsSyncFrame, 1);
    return OK;
}

status_t NuMediaExtractor::advance() {
    Mutex::Autolock lock(mLock);
    return mReader != nullptr ? mReader->advance() : ERROR_END_OF_STREAM;
}

}  // namespace android

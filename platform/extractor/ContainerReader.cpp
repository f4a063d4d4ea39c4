// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "ContainerReader"

#include "extractor/ContainerReader.h"

#include <log/log.h>
#include <media/stagefright/MediaErrors.h>
#include <oxa/host/FaultListener.h>
#include <oxa/host/InputDescription.h>
#include <string.h>

#include <algorithm>

#include "extractor/DecodingStart.h"
#include "extractor/FileDescription.h"
#include "extractor/ProgramTracks.h"
#include "extractor/TrackFormat.h"
#include "ffmpeg/AvError.h"
#include "ffmpeg/MediaLimits.h"
#include "ffmpeg/StreamInfo.h"
#include "ffmpeg/TimeBase.h"

namespace android {

namespace {

constexpr int64_t kMaxBytesAhead = 32 << 20;
constexpr double kUsualFrameRate = 25;
constexpr int64_t kShortestPictureUs = 1000;  // what is shorter is a tick of some clock
constexpr char kMatroskaKey[] = "enc_key_id";
// How far in front of the window reading begins. A decoder of sound needs some samples before the
// first one that is heard; pictures that an index knows may begin at the window.
constexpr int64_t kStepsBackUs[] = {0, 250000, 2000000, 5000000, 15000000, 60000000};
constexpr int kResultEncrypted = FFERRTAG('E', 'N', 'C', 'R');

// Whether an index tells of all sync samples; else it has those that were read.
bool knowsSyncs(const AVFormatContext& context) {
    constexpr int kGrowingIndex = AVFMT_GENERIC_INDEX | AVFMT_TS_DISCONT;
    return (context.iformat->flags & kGrowingIndex) == 0;
}

// By how much a sync sample's time lies behind the one of its decoding, which some indices have.
int64_t indexDelay(AVStream& stream) {
    const AVIndexEntry* const first = avformat_index_get_entry(&stream, 0);
    if (first == nullptr || stream.start_time == AV_NOPTS_VALUE) return 0;
    return std::max<int64_t>(stream.start_time - first->timestamp, 0);
}

// Where times are the sums of what samples last, or are counted, nothing can jump.
bool canJump(const AVFormatContext& context) {
    return !hasSteadyIndex(context) && strcmp(context.iformat->name, "avi") != 0;
}

// The others' decoding times are guessed from those of presentation. One that is wild spoils them
// for good, and decoders that see it go by them.
bool storesDecodingTimes(const AVFormatContext& context) {
    return strstr(context.iformat->name, "matroska") == nullptr &&
           strcmp(context.iformat->name, "nut") != 0;
}

// Raw AAC has no times. The demuxers count them by the first sample's rate, whatever follows; the
// decoder counts what it decodes.
bool hasMadeUpTimes(const AVFormatContext& context) {
    return strcmp(context.iformat->name, "aac") == 0 || strcmp(context.iformat->name, "loas") == 0;
}

int64_t pictureUsOf(const AVStream& stream) {
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO) return 0;
    const double rate = trackFrameRateOf(stream);
    return static_cast<int64_t>(1e6 / (rate > 0 ? rate : kUsualFrameRate));
}

// A demuxer without a key gives the samples as they are stored.
bool isEncrypted(const AVPacket& packet) {
    return av_packet_get_side_data(&packet, AV_PKT_DATA_ENCRYPTION_INFO, nullptr) != nullptr;
}

std::string errorText(int result) {
    return result == kResultEncrypted ? "encrypted" : avErrorText(result);
}

}  // namespace

ContainerReader::ContainerReader(const sp<DataSource>& source)
    : mSource(source),
      mChoice(oxa::host::inputChoice()),
      mWindow(mChoice),
      mPacket(av_packet_alloc()) {
    routeAvLog();
    limitAvAllocations();
}

ContainerReader::~ContainerReader() = default;

status_t ContainerReader::open() {
    status_t err = openContext();
    if (err != OK) return err;
    const int result = completeStreamInfo(
            mContext.get(), oxa::host::isThoroughInput() ? kAllStreamInfo : kStreamInfoToPlay);
    if (result < 0 && mStream->error() != 0) return ERROR_IO;
    mSoundCodec = announcedSound(*mContext);
    if (mSoundCodec != AV_CODEC_ID_NONE && mStream->size() >= 0) {
        err = openAgain();
        if (err != OK) return err;
    }
    if (!readFirstPacket()) return ERROR_DRM_CANNOT_HANDLE;
    listTracks();
    if (isAnyEncrypted()) return ERROR_DRM_CANNOT_HANDLE;
    mHasClock = canJump(*mContext);
    startTimeline(false);
    applySelection();
    return OK;
}

status_t ContainerReader::openContext() {
    auto stream = std::make_unique<DataSourceStream>(mSource);
    AVFormatContext* context = avformat_alloc_context();
    mComplaints.listenTo(context);
    context->audio_codec_id = mSoundCodec;
    stream->feed(context);
    const int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
    if (result < 0) {
        ALOGW("%s: %s", mSource->toString().c_str(), errorText(result).c_str());
        return stream->error() != 0 ? ERROR_IO : ERROR_UNSUPPORTED;
    }
    mFirst.reset();
    mContext.reset(context);  // the former one goes before the stream that it reads
    mStream = std::move(stream);
    return OK;
}

// In most files no header tells for sure that samples are encrypted, but each of them does.
bool ContainerReader::readFirstPacket() {
    const int result = readPacket();
    if (result >= 0) {
        mFirst = std::move(mPacket);
        mPacket.reset(av_packet_alloc());
    }
    return result != kResultEncrypted;
}

// Whether a track is, or is missing because it is.
bool ContainerReader::isAnyEncrypted() const {
    std::vector<unsigned> streams;
    for (const Track& track : mTracks) {
        if (streamOf(track) != nullptr) streams.push_back(track.stream);
    }
    for (unsigned missing : missingTracks(*mContext, streams))
        streams.push_back(missing);
    return std::any_of(streams.begin(), streams.end(), [this](unsigned index) {
        const AVStream& stream = *mContext->streams[index];
        return av_dict_get(stream.metadata, kMatroskaKey, nullptr, 0) != nullptr ||
               mStream->scrambling().isScrambled(stream.id);
    });
}

void ContainerReader::listTracks() {
    const std::vector<unsigned> chosen = chooseTracks(*mContext);
    mFileStartUs = tracksStartUs(*mContext, chosen);
    oxa::host::InputDescription description = describeFile(*mContext, chosen, mFileStartUs);
    description.mayJump = canJump(*mContext);
    oxa::host::reportInputDescription(std::move(description));
    mStartUs = mFileStartUs + mWindow.startUs();
    for (size_t number = 0; number < chosen.size() && number < limits::kMaxTracks; ++number) {
        const unsigned index = chosen[number];
        const AVStream& stream = *mContext->streams[index];
        if (!isChosen(number, stream)) continue;
        Track track = {index,
                       makeTrackFormat(*mContext, stream),
                       makeParameters(stream),
                       SampleForm(*stream.codecpar),
                       pictureUsOf(stream),
                       frameRateOf(stream) == 0};
        track.nextTimeUs = -mWindow.startUs();
        int64_t durationUs;
        if (!mWindow.isWhole() && track.format->findInt64("durationUs", &durationUs)) {
            track.format->setInt64("durationUs", mWindow.lengthOf(durationUs));
        }
        mTracks.push_back(track);
    }
}

bool ContainerReader::isChosen(size_t number, const AVStream& stream) const {
    const bool isPicture = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    const std::optional<int>& wanted = isPicture ? mChoice.videoTrack : mChoice.audioTrack;
    return !wanted.has_value() || *wanted == static_cast<int>(number);
}

// Libavcodec's parameters, with codec data as it goes with the samples' form.
sp<TrackParameters> ContainerReader::makeParameters(const AVStream& stream) const {
    const AvParametersOwner parameters(avcodec_parameters_alloc());
    avcodec_parameters_copy(parameters, stream.codecpar);
    adaptCodecData(parameters);
    const double rate = parameters->codec_type == AVMEDIA_TYPE_VIDEO ? frameRateOf(stream) : 0;
    const sp<TrackParameters> made =
            new TrackParameters(*parameters, stream.time_base, mStartUs, rate);
    if (!mWindow.isWhole()) made->setWindow(-mWindow.startUs(), mWindow.endUs());
    return made;
}

void ContainerReader::startTimeline(bool anywhere) {
    const bool mayJump = (mContext->iformat->flags & AVFMT_TS_DISCONT) != 0;
    mClock.reset(anywhere ? ProgramClock::kNoTime : mFileStartUs,
                 mayJump ? ProgramClock::kMaxPauseUs : ProgramClock::kMaxPauseOfOneClockUs);
    mAhead.clear();
    mAheadBytes = 0;
    mResult = 0;
}

// The demuxer drops what nobody wants. Where times can jump it gives all tracks, because they
// decide together what is a jump.
void ContainerReader::applySelection() {
    for (unsigned i = 0; i < mContext->nb_streams; ++i) {
        mContext->streams[i]->discard = AVDISCARD_ALL;
    }
    for (const Track& track : mTracks) {
        AVStream* const stream = streamOf(track);
        if (stream != nullptr && (track.selected || mHasClock)) {
            stream->discard = AVDISCARD_DEFAULT;
        }
    }
}

// Null when the file was opened again and has become another one.
AVStream* ContainerReader::streamOf(const Track& track) const {
    return track.stream < mContext->nb_streams ? mContext->streams[track.stream] : nullptr;
}

bool ContainerReader::anySelected() const {
    return std::any_of(mTracks.begin(), mTracks.end(),
                       [](const Track& track) { return track.selected; });
}

ContainerReader::Track* ContainerReader::trackOf(int streamIndex) {
    for (Track& track : mTracks) {
        if (static_cast<int>(track.stream) == streamIndex) return &track;
    }
    return nullptr;
}

sp<AMessage> ContainerReader::trackFormat(size_t index) const {
    const Track& track = mTracks[index];
    sp<AMessage> format = track.format->dup();
    format->setObject(kFormatKeyTrackParameters, track.parameters);
    return format;
}

status_t ContainerReader::select(size_t index) {
    if (mTracks[index].selected) return OK;
    const bool startOver = mReading && !anySelected();
    mTracks[index].selected = true;
    applySelection();
    return startOver ? seek(0, SeekMode::SEEK_PREVIOUS_SYNC) : OK;
}

void ContainerReader::unselect(size_t index) {
    mTracks[index].selected = false;
    applySelection();
    if (mSampleTrack == &mTracks[index]) mSampleTrack = nullptr;
}

status_t ContainerReader::seek(int64_t timeUs, SeekMode mode) {
    if (!anySelected()) return ERROR_END_OF_STREAM;
    if (mStream->size() < 0 || mode == SeekMode::SEEK_FRAME_INDEX) return ERROR_UNSUPPORTED;
    mIsPlaced = true;
    bool anywhere = timeUs > 0;
    if (timeUs <= 0) {
        const status_t err = seekToWindow(&anywhere);
        if (err != OK) return err;
    } else if (!seekTo(seekStream(false), timeUs, mode)) {
        if (mode != SeekMode::SEEK_NEXT_SYNC) return ERROR_UNSUPPORTED;
        // Behind the last one.
        mSampleTrack = nullptr;
        mEnded = true;
        return ERROR_END_OF_STREAM;
    }
    applySelection();
    for (Track& track : mTracks) {
        track.parameters->clearSamples();
        track.nextTimeUs =
                anywhere ? clampTimeUs(std::max<int64_t>(timeUs, 0)) : -mWindow.startUs();
        track.waitsForSync =
                anywhere && track.pictureUs > 0 && (timeUs <= 0 || !knowsSyncs(*mContext));
        track.syncTimeUs = INT64_MIN;
        track.windowEnd.reset();
        track.isOver = false;
        track.started = false;
    }
    startTimeline(anywhere);
    mSampleTrack = nullptr;
    mEnded = false;
    return OK;
}

// Exactly as the first time, with samples in front of the time 0.
status_t ContainerReader::openAgain() {
    const status_t err = openContext();
    if (err == OK) completeStreamInfo(mContext.get());
    return err;
}

// To a place from which everything in the window can be decoded; `anywhere` is false when it is the
// file's beginning. Where no index knows the sync samples a seek may end behind one.
status_t ContainerReader::seekToWindow(bool* anywhere) {
    *anywhere = false;
    if (!mWindow.isSoughtIn(*mContext)) return openAgain();
    AVStream* const stream = seekStream(true);
    for (int64_t backUs : kStepsBackUs) {
        if (backUs == 0 && !mayBeginAtWindow()) continue;
        if (backUs >= mWindow.startUs()) break;
        const auto goBack = [&] { return seekTo(stream, -backUs, SeekMode::SEEK_PREVIOUS_SYNC); };
        *anywhere = goBack() && beginsInFrontOfWindow(*stream) && goBack();
        if (*anywhere) return OK;
    }
    return openAgain();
}

bool ContainerReader::mayBeginAtWindow() const {
    return knowsSyncs(*mContext) &&
           std::all_of(mTracks.begin(), mTracks.end(),
                       [](const Track& track) { return !track.selected || track.pictureUs > 0; });
}

// Before the first sample is read, when all tracks are selected that will be. What cannot be sought
// is read from its beginning.
void ContainerReader::placeAtWindow() {
    mIsPlaced = true;
    if (!mWindow.isSoughtIn(*mContext) || mStream->size() < 0) return;
    if (seek(0, SeekMode::SEEK_PREVIOUS_SYNC) != OK) end(AVERROR(EIO));
}

// Whether all that the window shows of the track can be decoded by what is read from here on.
bool ContainerReader::beginsInFrontOfWindow(const AVStream& stream) {
    if (mPacket == nullptr) mPacket.reset(av_packet_alloc());
    DecodingStart start(stream, trackOf(stream.index)->form, mStartUs);
    std::optional<bool> answer;
    while (!answer && readPacket() >= 0) {
        if (mPacket->stream_index == stream.index) answer = start.take(*mPacket);
        av_packet_unref(mPacket.get());
    }
    return answer.value_or(false);
}

// Whose sync samples a seek goes by: a picture's, if one is selected; for the window, if one is
// read.
AVStream* ContainerReader::seekStream(bool ofWindow) const {
    AVStream* stream = nullptr;
    for (const Track& track : mTracks) {
        const bool counts = track.selected || (ofWindow && mHasClock);
        if (!counts || streamOf(track) == nullptr) continue;
        if (stream == nullptr || track.pictureUs > 0) stream = streamOf(track);
        if (track.pictureUs > 0) break;
    }
    return stream;
}

bool ContainerReader::seekTo(AVStream* stream, int64_t timeUs, SeekMode mode) {
    if (stream == nullptr) return false;
    mFirst.reset();
    const int64_t target =
            av_rescale_q(clampTimeUs(timeUs) + mStartUs, kMicroseconds, stream->time_base);
    const bool forward = mode == SeekMode::SEEK_NEXT_SYNC;
    if (avformat_seek_file(mContext.get(), stream->index, forward ? target : INT64_MIN, target,
                           forward ? INT64_MAX : target, 0) < 0) {
        return false;
    }
    if (mode == SeekMode::SEEK_CLOSEST_SYNC) moveToCloserSync(stream, target);
    return true;
}

// The sync sample behind the target may be nearer than the one before, as far as an index knows.
void ContainerReader::moveToCloserSync(AVStream* stream, int64_t target) {
    if (!knowsSyncs(*mContext)) return;
    const int64_t delay = indexDelay(*stream);
    const int before = av_index_search_timestamp(stream, target - delay, AVSEEK_FLAG_BACKWARD);
    const int after = av_index_search_timestamp(stream, target - delay, 0);
    if (before < 0 || after < 0) return;
    const int64_t beforeTime = avformat_index_get_entry(stream, before)->timestamp + delay;
    const int64_t afterTime = avformat_index_get_entry(stream, after)->timestamp + delay;
    if (afterTime - target >= target - beforeTime) return;
    avformat_seek_file(mContext.get(), stream->index, afterTime, afterTime, INT64_MAX, 0);
}

status_t ContainerReader::read(const sp<ABuffer>& buffer) {
    buffer->setRange(0, 0);
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    const SampleForm& form = mSampleTrack->form;
    const size_t size = form.size(*mPacket);
    mSampleRefused = size > buffer->capacity();
    if (mSampleRefused) return NO_MEMORY;
    form.write(*mPacket, buffer->base());
    buffer->setRange(0, size);
    if (!mSampleHandedOut) mSampleTrack->parameters->pushSample(*mPacket, mSampleTimeUs);
    mSampleHandedOut = true;
    return OK;
}

status_t ContainerReader::time(int64_t* timeUs) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *timeUs = mSampleTimeUs;
    return OK;
}

status_t ContainerReader::size(size_t* bytes) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *bytes = mSampleTrack->form.size(*mPacket);
    return OK;
}

status_t ContainerReader::trackIndex(size_t* index) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *index = mSampleTrack - mTracks.data();
    return OK;
}

status_t ContainerReader::isSync(bool* sync) {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    *sync = (mPacket->flags & AV_PKT_FLAG_KEY) != 0;
    return OK;
}

status_t ContainerReader::advance() {
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    if (mSampleRefused) leaveOut("does not fit into the decoder's buffer");
    mSampleTrack = nullptr;
    if (!ensureSample()) return ERROR_END_OF_STREAM;
    return OK;
}

AvPacketOwner ContainerReader::take(size_t* index) {
    if (!ensureSample()) return {};
    *index = mSampleTrack - mTracks.data();
    mSampleTrack = nullptr;
    return std::move(mPacket);
}

bool ContainerReader::ensureSample() {
    return mSampleTrack != nullptr || fetchSample();
}

bool ContainerReader::fetchSample() {
    if (!mIsPlaced && anySelected()) placeAtWindow();
    while (!mEnded && anySelected()) {
        if (isOver()) {
            mEnded = true;
            reportDamage();
            break;
        }
        if (!nextPacket()) {
            end(mResult);
            break;
        }
        Track* const track = trackOf(mPacket->stream_index);
        if (!track->selected || mPacket->size == 0) continue;
        track->form.follow(mPacket.get());
        placeInTime(track, *mPacket);
        if (!isWanted(track)) continue;
        if (mPacket->size > limits::kMaxSampleBytes) {
            leaveOut("is too large");
            continue;
        }
        if ((mPacket->flags & AV_PKT_FLAG_CORRUPT) != 0) ++mDamagedPackets;
        mSampleTrack = track;
        mSampleHandedOut = false;
        mSampleRefused = false;
        return true;
    }
    return false;
}

// Not in front of what can be decoded, nor behind the window's end.
bool ContainerReader::isWanted(Track* track) {
    if (track->waitsForSync && (mPacket->flags & AV_PKT_FLAG_KEY) != 0) {
        track->waitsForSync = false;
        track->syncTimeUs = mSampleTimeUs;
    }
    // Pictures that follow the first sync sample and are shown before it refer to others.
    if (mSampleTimeUs < track->syncTimeUs) return false;
    if (track->windowEnd.passes(mWindow, mSampleTimeUs, decodedUs(track), track->pictureUs > 0)) {
        track->isOver = true;
    }
    return !track->waitsForSync && !track->isOver;
}

// Nothing where the file tells only one of a sample's times: of pictures that are reordered both
// are never the same in all of them.
std::optional<int64_t> ContainerReader::decodedUs(Track* track) const {
    if (mPacket->pts == AV_NOPTS_VALUE || mPacket->dts == AV_NOPTS_VALUE) return std::nullopt;
    const bool isReordered = track->parameters->codec().video_delay > 0;
    track->tellsBothTimes |= !isReordered || mPacket->pts != mPacket->dts;
    if (!track->tellsBothTimes) return std::nullopt;
    return track->parameters->toUs(mPacket->dts);
}

bool ContainerReader::isOver() const {
    return std::all_of(mTracks.begin(), mTracks.end(),
                       [](const Track& track) { return track.isOver || !track.selected; });
}

// The next one of any track, in its place in time.
bool ContainerReader::nextPacket() {
    for (;;) {
        if (mHasClock && takeFromAhead()) return true;
        if (mResult < 0 || !readAhead()) {
            // Those that wait for what would have followed.
            return mHasClock && takeFromAhead();
        }
        if (!mHasClock) return true;
    }
}

bool ContainerReader::takeFromAhead() {
    ProgramClock::Place place;
    const bool last = mResult < 0 || mAheadBytes > kMaxBytesAhead;
    if (!mClock.pop(last, &place)) return false;
    mPacket = std::move(mAhead.front());
    mAhead.pop_front();
    mAheadBytes -= mPacket->size;
    moveTimes(place, mPacket.get());
    return true;
}

// Reads one packet of a track and shows it to the clock, if there is one.
bool ContainerReader::readAhead() {
    if (mPacket == nullptr) mPacket.reset(av_packet_alloc());
    Track* track = nullptr;
    while (track == nullptr) {
        av_packet_unref(mPacket.get());
        mResult = readPacket();
        if (mResult < 0) return false;
        mReading = true;
        track = trackOf(mPacket->stream_index);
    }
    completePacket(track, mPacket.get());
    if (mHasClock) {
        placeOnClock(track, *mPacket);
        mAheadBytes += mPacket->size;
        mAhead.push_back(std::move(mPacket));
    }
    return true;
}

// A demuxer that has lost its way in damaged data says so and goes on with the next call.
int ContainerReader::readPacket() {
    if (mFirst != nullptr) {
        mPacket = std::move(mFirst);
        return 0;
    }
    for (;;) {
        const int64_t position = avio_tell(mStream->context());
        const int result = av_read_frame(mContext.get(), mPacket.get());
        if (result >= 0 && isEncrypted(*mPacket)) return kResultEncrypted;
        if (result != AVERROR(EAGAIN) || avio_tell(mStream->context()) <= position) return result;
    }
}

// Damaged times are as good as none.
void ContainerReader::completePacket(Track* track, AVPacket* packet) const {
    const AVRational timeBase = track->parameters->timeBase();
    if (!isTimeAllowed(packet->pts, timeBase)) packet->pts = AV_NOPTS_VALUE;
    if (!isTimeAllowed(packet->dts, timeBase)) packet->dts = AV_NOPTS_VALUE;
    const int64_t durationUs = packet->duration > 0 && isTimeAllowed(packet->duration, timeBase)
                                       ? av_rescale_q(packet->duration, timeBase, kMicroseconds)
                                       : INT64_MAX;
    if (durationUs > limits::kMaxSampleDurationUs) packet->duration = 0;
    if (packet->pts != AV_NOPTS_VALUE && !storesDecodingTimes(*mContext)) {
        packet->dts = AV_NOPTS_VALUE;
    }
    if (track->started && hasMadeUpTimes(*mContext)) packet->pts = packet->dts = AV_NOPTS_VALUE;
    track->started = true;
    // Pictures without times follow each other at their rate.
    if (packet->pts != AV_NOPTS_VALUE || packet->dts != AV_NOPTS_VALUE) return;
    const bool lasts = packet->duration > 0 && durationUs >= kShortestPictureUs;
    if (track->pictureUs > 0 && (!lasts || track->keepsNoDuration)) {
        packet->duration = av_rescale_q(track->pictureUs, kMicroseconds, timeBase);
    }
}

void ContainerReader::placeOnClock(Track* track, const AVPacket& packet) {
    const AVRational timeBase = track->parameters->timeBase();
    const auto toUs = [&](int64_t time) { return av_rescale_q(time, timeBase, kMicroseconds); };
    ProgramClock::Packet shown = {packet.stream_index, ProgramClock::kNoTime,
                                  toUs(packet.duration)};
    if (shown.durationUs > limits::kMaxSteadyStepUs) shown.durationUs = 0;
    if (packet.dts != AV_NOPTS_VALUE) {
        track->hasDecodingTimes = true;
        shown.timeUs = toUs(packet.dts);
        if (packet.pts != AV_NOPTS_VALUE) shown.reorderUs = toUs(packet.pts) - shown.timeUs;
    } else if (packet.pts != AV_NOPTS_VALUE && !track->hasDecodingTimes) {
        shown.timeUs = toUs(packet.pts);
        shown.ordered = false;
    }
    mClock.push(shown);
}

void ContainerReader::moveTimes(const ProgramClock::Place& place, AVPacket* packet) const {
    const AVRational timeBase = mContext->streams[packet->stream_index]->time_base;
    // Without a decoding time it is the decoder that knows which picture comes next.
    const bool isUnknown = place.isWild && packet->dts == AV_NOPTS_VALUE;
    if (place.isReorderWild || isUnknown) packet->pts = AV_NOPTS_VALUE;
    const int64_t shift = av_rescale_q(place.shiftUs, kMicroseconds, timeBase);
    if (shift == 0 || !isTimeAllowed(shift, timeBase)) return;
    if (packet->dts != AV_NOPTS_VALUE) packet->dts += shift;
    if (packet->pts != AV_NOPTS_VALUE) packet->pts += shift;
}

void ContainerReader::placeInTime(Track* track, const AVPacket& packet) {
    const int64_t stamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    mSampleTimeUs = track->nextTimeUs;
    if (stamp != AV_NOPTS_VALUE) mSampleTimeUs = track->parameters->toUs(stamp);
    track->nextTimeUs =
            clampTimeUs(mSampleTimeUs + av_rescale_q(packet.duration, track->parameters->timeBase(),
                                                     kMicroseconds));
}

void ContainerReader::leaveOut(const char* why) {
    report(false,
           "a sample of " + std::to_string(mPacket->size) + " bytes " + why + " and is left out", 0,
           ++mLeftOutSamples);
    mSampleTrack = nullptr;
}

void ContainerReader::end(int result) {
    mEnded = true;
    if (mEndReported) return;
    if (result == AVERROR_EOF && isAnyEncrypted()) result = kResultEncrypted;
    if (mStream->error() != 0) {
        report(true, strerror(mStream->error()), mStream->error(), 1);
    } else if (result != AVERROR_EOF) {
        report(true, errorText(result), 0, 1);
    } else if (isTruncated()) {
        report(false, "the file ends early: it is shorter than its own index says", 0, 1);
    }
    reportDamage();
}

void ContainerReader::reportDamage() {
    if (mEndReported) return;
    mEndReported = true;
    const std::string complaint = mComplaints.first();
    if (!complaint.empty()) report(false, "damaged: " + complaint, 0, 1);
    if (mDamagedPackets > 0) report(false, "damaged packets", 0, mDamagedPackets);
}

bool ContainerReader::isTruncated() const {
    if (mStream->size() < 0) return false;
    for (const Track& track : mTracks) {
        AVStream* const stream = streamOf(track);
        if (stream == nullptr) return true;
        for (int i = avformat_index_get_entries_count(stream) - 1; i >= 0; --i) {
            const AVIndexEntry* entry = avformat_index_get_entry(stream, i);
            if (entry->pos > mStream->size() - entry->size) return true;
        }
    }
    return false;
}

void ContainerReader::report(bool ended, const std::string& cause, int error, uint64_t count) {
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kReader;
    fault.ended = ended;
    fault.object = mSource->toString().c_str();
    fault.cause = cause;
    fault.error = error;
    fault.count = count;
    oxa::host::reportFault(fault);
}

}  // namespace android

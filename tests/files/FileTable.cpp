// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/FileTable.h"

#include <ostream>
#include <sstream>

#include "files/ByteEdits.h"
#include "support/ProcessRunner.h"

namespace oxa::test {

namespace {

// No expansion of names: filters are full of asterisks.
constexpr char kPrologue[] = R"(set -ef
P='-f lavfi -i testsrc2=s=96x64:r=25:d=3'
S='-f lavfi -i anoisesrc=d=3:c=pink:a=0.5:seed=7,pan=stereo|c0=c0|c1=0.5*c0'
X='-c:v libx264 -preset veryfast -g 25 -bf 2 -pix_fmt yuv420p'
A='-c:a aac'
ffmpeg() { command ffmpeg -nostdin -y -v error "$@"; }
)";

using Files = std::vector<DifficultFile>;

Files operator+(Files first, const Files& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

// Most recipes begin with one of these.
const std::string kCleanMp4 = "ffmpeg $P $S $X $A clean.mp4\n";
const std::string kCleanTs = "ffmpeg $P $S $X $A clean.ts\n";
const std::string kCleanMkv = "ffmpeg $P $S $X -bf 0 $A clean.mkv\n";
const std::string kCleanFlv = "ffmpeg $P $S $X -bf 0 $A clean.flv\n";

// ---- Clocks -------------------------------------------------------------------------------------

const std::string kSecondProgramme =
        "-mpegts_start_pid 512 -mpegts_pmt_start_pid 4352 -mpegts_service_id 2 "
        "-output_ts_offset 1691 ";
const std::string kOtherSound = "-f lavfi -i anoisesrc=d=3:c=pink:a=0.5:seed=3 ";

constexpr char kNoOneClock[] = "it takes the streams of both programmes by their numbers";
constexpr char kShortJump[] =
        "it takes a jump of less than 10 s for a pause, or drops what is early";
constexpr char kWild[] = "it drops what is earlier than the wild one, or waits for it";

Files programmes() {
    return {
            DifficultFile("TwoProgrammesTwoClocks", "in.ts",
                          kCleanTs + "ffmpeg $P " + kOtherSound + "-vf hflip $X $A " +
                                  kSecondProgramme +
                                  "b.ts\n"
                                  "@ts-together clean.ts b.ts in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("LaterClockFirst", "in.ts",
                          "ffmpeg $P " + kOtherSound +
                                  "-vf hflip $X $A b.ts\n"
                                  "ffmpeg $P $S $X $A " +
                                  kSecondProgramme +
                                  "clean.ts\n"
                                  "@ts-together clean.ts b.ts in.ts\n")
                    .whole("clean.ts")
                    .unlikePeer(kNoOneClock),
            DifficultFile("ProgrammeOfSoundFirst", "in.ts",
                          "ffmpeg " + kOtherSound +
                                  "$A radio.ts\n"
                                  "ffmpeg $P $S $X $A " +
                                  kSecondProgramme +
                                  "clean.ts\n"
                                  "@ts-together radio.ts clean.ts in.ts\n")
                    .whole("clean.ts")
                    .unlikePeer(kNoOneClock),
    };
}

Files clocks() {
    return {
            DifficultFile("ClockWraps", "in.ts",
                          kCleanTs + "ffmpeg -i clean.ts -c copy -output_ts_offset 95441 in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("AllJumpForward", "in.ts",
                          kCleanTs + "@ts-jump clean.ts -1 1.0 5000 in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("AllJumpBack", "in.ts",
                          "ffmpeg $P $S $X $A -output_ts_offset 2000 clean.ts\n"
                          "@ts-jump clean.ts -1 2.0 -1500 in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("AllBeginAgain", "in.ts",
                          kCleanTs + "@ts-jump clean.ts -1 1.0 -1.0 in.ts\n")
                    .whole("clean.ts")
                    .unlikePeer(kShortJump),
            DifficultFile("SoundPauses", "in.ts",
                          kCleanTs + "@ts-jump clean.ts 257 1.0 0.4 in.ts\n")
                    .pictures(75)
                    .sound(3.4),
            DifficultFile("PicturePauses", "in.ts",
                          kCleanTs + "@ts-jump clean.ts 256 1.0 0.4 in.ts\n")
                    .whole(),
            DifficultFile("FlvBeginsAgain", "in.flv",
                          kCleanFlv + "@flv-times clean.flv -1 1000 100000 -1000 in.flv\n")
                    .whole("clean.flv")
                    .unlikePeer(kShortJump),
            DifficultFile(
                    "DataStreamBeginsEarlier", "in.mkv",
                    kCleanMp4 +
                            "printf '1\\n00:00:00,000 --> 00:00:02,000\\nwords\\n' > words.srt\n"
                            "ffmpeg -itsoffset 0.8 -i clean.mp4 -i words.srt -c copy in.mkv\n"
                            "ffmpeg -itsoffset 0.8 -i clean.mp4 -c copy wordless.mkv\n")
                    .whole("wordless.mkv")
                    .unlikePeer("it begins with the words"),
    };
}

Files rareClocks() {
    return {
            DifficultFile("ClockWrapsEarly", "in.ts",
                          kCleanTs + "ffmpeg -i clean.ts -c copy -output_ts_offset 95442.3 in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("TwoJumps", "in.ts",
                          kCleanTs + "@ts-jump clean.ts -1 1.0 5000 once.ts\n"
                                     "@ts-jump once.ts -1 2000 -300 in.ts\n"
                                     "ffmpeg $P $S $X $A -output_ts_offset 700 clean.ts\n")
                    .whole("clean.ts"),
            DifficultFile("SoundAloneJumpsFar", "in.ts",
                          kCleanTs + "@ts-jump clean.ts 257 1.0 100 in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("FlvJumpsForward", "in.flv",
                          kCleanFlv + "@flv-times clean.flv -1 1000 100000 500000 in.flv\n")
                    .whole("clean.flv"),
            DifficultFile("JoinedStreams", "in.ts",
                          "ffmpeg $P $S $X -c:a mp2 clean.ts\ncat clean.ts clean.ts > in.ts\n"
                          "ffmpeg -i clean.ts -map 0:v -c copy once.mkv\n"
                          "printf 'file once.mkv\\nfile once.mkv\\n' > list\n"
                          "ffmpeg -f concat -i list -c copy twice.mkv\n")
                    .like("twice.mkv")
                    .pictures(150)
                    .timesWithin(30)
                    .option("--only video")
                    .unlikePeer(kShortJump),
    };
}

// ---- Wild, doubled and missing times ------------------------------------------------------------

Files times() {
    return {
            DifficultFile("FlvWildPicture", "in.flv",
                          kCleanFlv + "@flv-times clean.flv 9 1590 1631 2000000 in.flv\n")
                    .whole("clean.flv")
                    .timesWithin(41)
                    .unlikePeer(kWild),
            DifficultFile("FlvWildSound", "in.flv",
                          kCleanFlv + "@flv-times clean.flv 8 1590 1611 2000000 in.flv\n")
                    .whole("clean.flv")
                    .unlikePeer(kWild),
            DifficultFile("WebmWildPicture", "in.webm",
                          "ffmpeg $P $S -c:v libvpx -b:v 1M -c:a libvorbis clean.webm\n"
                          "ffmpeg -i clean.webm -c copy "
                          "-bsf:v setts=pts='PTS+eq(N\\,40)*2000000' in.webm\n")
                    .whole("clean.webm")
                    .timesWithin(41)
                    .unlikePeer(kWild),
            DifficultFile("WmvWildPicture", "in.wmv",
                          "ffmpeg $P $S -c:v wmv2 -b:v 1M -c:a wmav2 clean.wmv\n"
                          "@asf-time clean.wmv 1643 2000000 in.wmv\n")
                    .whole("clean.wmv")
                    .timesWithin(41)
                    .unlikePeer(kWild),
            DifficultFile("DoubledTimes", "in.mkv",
                          kCleanMkv + "ffmpeg -i clean.mkv -c copy "
                                      "-bsf:v setts=ts='PTS-mod(N\\,2)*40' in.mkv\n")
                    .whole("clean.mkv")
                    .timesWithin(41)
                    .unlikePeer("it drops pictures with one time"),
            DifficultFile("LastTimeDoubled", "in.mkv",
                          kCleanMkv + "ffmpeg -i clean.mkv -c copy "
                                      "-bsf:v setts=ts='PTS-eq(N\\,74)*40' in.mkv\n")
                    .whole("clean.mkv")
                    .timesWithin(41)
                    .unlikePeer("it drops pictures with one time"),
            DifficultFile("MissingTimes", "in.ts",
                          kCleanTs + "@ts-drop-times clean.ts 256 2 in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("LongWaitBeforeTheLast", "in.mp4",
                          "ffmpeg $P $S $X -bf 0 $A clean.mp4\n"
                          "ffmpeg -i clean.mp4 -c copy -video_track_timescale 12800 -bsf:v "
                          "setts=ts='PTS+gte(N\\,74)*20480':duration=512 in.mp4\n")
                    .whole()
                    .pictureEnds(4.6),
    };
}

Files rareTimes() {
    return {
            DifficultFile("MkvWildSound", "in.mkv",
                          kCleanMkv + "ffmpeg -i clean.mkv -c copy "
                                      "-bsf:a setts=pts='PTS+eq(N\\,60)*2000000' in.mkv\n")
                    .whole("clean.mkv")
                    .unlikePeer(kWild),
            DifficultFile("WildFirstPicture", "in.mkv",
                          kCleanMkv + "ffmpeg -i clean.mkv -c copy "
                                      "-bsf:v setts=pts='PTS+eq(N\\,0)*2000000' in.mkv\n")
                    .whole("clean.mkv")
                    .timesWithin(41)
                    .unlikePeer(kWild),
            DifficultFile("MissingTimesOfSound", "in.ts",
                          kCleanTs + "@ts-drop-times clean.ts 257 2 in.ts\n")
                    .whole("clean.ts"),
            DifficultFile("AviWithLateDecoding", "in.avi",
                          "ffmpeg $P $S -c:v mpeg4 -q:v 2 -bf 2 -c:a libmp3lame in.avi\n")
                    .whole()
                    .timesWithin(41),
            DifficultFile("VariableRate", "in.mp4",
                          "ffmpeg $P $S -vf setpts='(N+0.2*mod(N\\,4))/25/TB' -fps_mode "
                          "passthrough -enc_time_base 1/12800 $X $A in.mp4\n")
                    .whole(),
    };
}

// ---- Raw streams --------------------------------------------------------------------------------

Files rawStreams() {
    return {
            DifficultFile("RawH264", "in.h264",
                          "ffmpeg $P $X clean.mp4\nffmpeg -i clean.mp4 -c copy in.h264\n")
                    .like("clean.mp4")
                    .pictures(75),
            DifficultFile("RawH264WithoutRate", "in.h264",
                          "ffmpeg $P $X clean.mp4\nffmpeg -i clean.mp4 -c copy rate.h264\n"
                          "@h264-no-rate rate.h264 in.h264\n")
                    .like("clean.mp4")
                    .pictures(75),
            DifficultFile("RawHevc", "in.hevc",
                          "ffmpeg $P -c:v libx265 -preset ultrafast -pix_fmt yuv420p "
                          "-x265-params bframes=2:log-level=error -tag:v hvc1 clean.mp4\n"
                          "ffmpeg -i clean.mp4 -c copy in.hevc\n")
                    .like("clean.mp4")
                    .pictures(75),
            // Its first picture is shown one after the start of the decoding.
            DifficultFile("RawMpeg2", "in.m2v", "ffmpeg $P -c:v mpeg2video -q:v 2 -bf 2 in.m2v\n")
                    .pictures(75),
            DifficultFile("RawAac", "in.aac", "ffmpeg $S $A in.aac\n").sound(3),
            DifficultFile("RawAc3", "in.ac3", "ffmpeg $S -c:a ac3 in.ac3\n").sound(3),
            DifficultFile("LatmInTransportStream", "in.ts",
                          "ffmpeg $S $A -mpegts_flags latm in.ts\n")
                    .sound(3),
    };
}

Files rareRawStreams() {
    return {
            DifficultFile("RawMpeg4", "in.m4v",
                          "ffmpeg $P -c:v mpeg4 -q:v 2 clean.mp4\n"
                          "ffmpeg -i clean.mp4 -c copy in.m4v\n")
                    .like("clean.mp4")
                    .pictures(75),
            DifficultFile("RawLatm", "in.loas", "ffmpeg $S $A -f latm in.loas\n").sound(3),
            DifficultFile("DtsInTransportStream", "in.ts",
                          "ffmpeg $S -ar 48000 -c:a dca -strict -2 in.ts\n")
                    .sound(3),
            DifficultFile("RawEac3", "in.eac3", "ffmpeg $S -c:a eac3 in.eac3\n").sound(3),
            DifficultFile("LatmWithPicture", "in.ts",
                          "ffmpeg $P $S $X $A -mpegts_flags latm in.ts\n")
                    .whole(),
            DifficultFile("VeryShortDts", "in.ts",
                          "ffmpeg $S -t 0.05 -ar 48000 -c:a dca -strict -2 in.ts\n"
                          "ffmpeg -c:a dca -i in.ts -c:a pcm_s16le clean.wav\n")
                    .like("clean.wav")
                    .sound(0)
                    .unlikePeer("it takes it for MP3"),
            DifficultFile("VeryShortSoundStream", "in.ts", "ffmpeg $S -t 0.05 -c:a mp2 in.ts\n")
                    .sound(0.05),
    };
}

// ---- What changes in the middle -----------------------------------------------------------------

const std::string kFirstPart = "ffmpeg $P $S -t 1.6 $X $A a.ts\n";
// Where the first part ends: its pictures begin two behind the start of the decoding.
const std::string kSecondPart = "-t 1.6 -output_ts_offset 1.68 ";

Files changes() {
    return {
            DifficultFile("SizeChanges", "in.ts",
                          kFirstPart + "ffmpeg $P $S -vf scale=128:96,setsar=1 " + kSecondPart +
                                  "$X $A b.ts\ncat a.ts b.ts > in.ts\n")
                    .pictures(80)
                    .sound(3.2),
            DifficultFile("PixelFormatChanges", "in.ts",
                          kFirstPart + "ffmpeg $P $S " + kSecondPart +
                                  "$X -pix_fmt yuv422p $A b.ts\ncat a.ts b.ts > in.ts\n")
                    .pictures(80)
                    .sound(3.2),
            DifficultFile("ChannelsChange", "in.aac",
                          "ffmpeg $S -t 1.5 $A a.aac\nffmpeg $S -t 1.5 -ac 1 $A b.aac\n"
                          "cat a.aac b.aac > in.aac\n"
                          "ffmpeg -i a.aac -i b.aac -filter_complex [1]aformat=channel_layouts="
                          "stereo[b],[0][b]concat=v=0:a=1 clean.wav\n")
                    .like("clean.wav")
                    .sound(3),
            DifficultFile("RateAndChannelsChange", "in.aac",
                          "ffmpeg $S -t 1.5 $A a.aac\nffmpeg $S -t 1.5 -ac 1 -ar 24000 $A b.aac\n"
                          "cat a.aac b.aac > in.aac\n"
                          "ffmpeg -i a.aac -i b.aac -filter_complex [1]aresample=48000,aformat="
                          "channel_layouts=stereo[b],[0][b]concat=v=0:a=1 clean.wav\n")
                    .like("clean.wav")
                    .sound(0)
                    .unlikePeer("it goes by the first rate"),
            DifficultFile("SoundRateChanges", "in.ts",
                          "ffmpeg $S -t 1.6 $A a.ts\n"
                          // Where 76 frames end, and a frame of the other rate before the start.
                          "ffmpeg $S -t 1.6 -output_ts_offset 1.644553 -ar 44100 $A b.ts\n"
                          "cat a.ts b.ts > in.ts\n"
                          "ffmpeg -i a.ts -i b.ts -filter_complex [1]aresample=48000[b],"
                          "[0][b]concat=v=0:a=1 clean.wav\n")
                    .like("clean.wav")
                    .sound(3.2),
    };
}

Files rareChanges() {
    return {
            DifficultFile("SmallerSizeFollows", "in.ts",
                          "ffmpeg $P $S -vf scale=128:96,setsar=1 -t 1.6 $X $A a.ts\nffmpeg $P "
                          "$S " + kSecondPart +
                                  "$X $A b.ts\ncat a.ts b.ts > in.ts\n")
                    .pictures(80, 128, 96)
                    .sound(3.2),
            DifficultFile(
                    "AspectChanges", "in.ts",
                    "ffmpeg $P $S -t 1.6 -c:v mpeg2video -q:v 2 -aspect 3:2 $A a.ts\n"
                    "ffmpeg $P $S " +
                            kSecondPart +
                            "-c:v mpeg2video -q:v 2 -aspect 16:9 $A b.ts\ncat a.ts b.ts > in.ts\n")
                    .pictures(-1)
                    .sound(3.2),
            DifficultFile("PartsOverlap", "in.ts",
                          "ffmpeg $P $S -t 1.6 $X $A a.ts\nffmpeg $P $S -t 1.6 -output_ts_offset "
                          "1.64 $X $A b.ts\ncat a.ts b.ts > in.ts\n")
                    .pictures(80)
                    .sound(0)
                    .timesWithin(81)
                    .unlikePeer("it drops pictures whose times do not rise"),
            DifficultFile("PictureRateChanges", "in.ts",
                          kFirstPart + "ffmpeg $P $S -r 50 -fps_mode cfr " + kSecondPart +
                                  "$X $A b.ts\ncat a.ts b.ts > in.ts\n")
                    .pictures(120)
                    .sound(3.2),
            DifficultFile("BitDepthChanges", "in.ts",
                          kFirstPart + "ffmpeg $P $S " + kSecondPart +
                                  "$X -pix_fmt yuv420p10 $A b.ts\ncat a.ts b.ts > in.ts\n")
                    .pictures(80)
                    .sound(3.2),
            DifficultFile("ChannelsChangeInTransportStream", "in.ts",
                          "ffmpeg $S -t 1.6 -c:a ac3 a.ts\nffmpeg $S -t 1.6 -output_ts_offset 1.6 "
                          "-ac 6 -c:a ac3 b.ts\ncat a.ts b.ts > in.ts\n"
                          // The second part begins before its time by what its coder needs.
                          "ffmpeg -i a.ts -i b.ts -filter_complex [1]atrim=start_sample=256,"
                          "aformat=channel_layouts=stereo[b],[0][b]concat=v=0:a=1 clean.wav\n")
                    .like("clean.wav")
                    .sound(3.2),
    };
}

// ---- Orientation, edit lists, fragments ---------------------------------------------------------

Files orientations() {
    return {
            DifficultFile("MirroredLeftRight", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 -1 0 0 1 in.mp4\n")
                    .whole("clean.mp4")
                    .looks("hflip"),
            DifficultFile("UpsideDown", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 1 0 0 -1 in.mp4\n")
                    .whole("clean.mp4")
                    .looks("vflip"),
            DifficultFile("TurnedAndMirrored", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 0 1 1 0 in.mp4\n")
                    .like("clean.mp4")
                    .looks("transpose=cclock_flip")
                    .pictures(75, 64, 96)
                    .sound(3),
    };
}

Files rareOrientations() {
    return {
            DifficultFile("Turned90", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 0 1 -1 0 in.mp4\n")
                    .like("clean.mp4")
                    .looks("transpose=clock")
                    .pictures(75, 64, 96)
                    .sound(3),
            DifficultFile("Turned180", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 -1 0 0 -1 in.mp4\n")
                    .whole("clean.mp4")
                    .looks("hflip,vflip"),
            DifficultFile("Turned270", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 0 -1 1 0 in.mp4\n")
                    .like("clean.mp4")
                    .looks("transpose=cclock")
                    .pictures(75, 64, 96)
                    .sound(3),
            DifficultFile("TurnedAndMirroredOtherwise", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 0 -1 -1 0 in.mp4\n")
                    .like("clean.mp4")
                    .looks("transpose=clock_flip")
                    .pictures(75, 64, 96)
                    .sound(3),
            DifficultFile("MirroredAndScaled", "in.mp4",
                          kCleanMp4 + "@mp4-matrix clean.mp4 -1 0 0 1 in.mp4\n")
                    .like("clean.mp4")
                    .looks("hflip")
                    .pictures(75, 64, 48)
                    .sound(3)
                    .option("--size 64x48"),
    };
}

Files edited() {
    return {
            DifficultFile("BeginsInsideAGroup", "in.mp4",
                          kCleanMp4 + "ffmpeg -ss 0.52 -i clean.mp4 -c copy in.mp4\n")
                    .pictures(62)
                    .sound(2.48),
            DifficultFile("LateSound", "in.mp4",
                          kCleanMp4 + "ffmpeg -i clean.mp4 -itsoffset 0.3 -i clean.mp4 -map 0:v "
                                      "-map 1:a -c copy in.mp4\n")
                    .pictures(75)
                    .sound(3.3),
            DifficultFile("FragmentedWithLateDecoding", "in.mp4",
                          "ffmpeg $P $S $X $A -movflags frag_keyframe+empty_moov+default_base_moof "
                          "in.mp4\n")
                    .pictures(75)
                    .sound(0),
    };
}

Files rareEdited() {
    return {
            DifficultFile("LatePicture", "in.mp4",
                          kCleanMp4 + "ffmpeg -itsoffset 0.7 -i clean.mp4 -i clean.mp4 -map 0:v "
                                      "-map 1:a -c copy in.mp4\n")
                    .whole(),
            DifficultFile("FragmentedWithEdits", "in.mp4",
                          "ffmpeg $P $S $X $A -movflags frag_keyframe+delay_moov in.mp4\n")
                    .whole(),
            DifficultFile("SmallFragments", "in.mp4",
                          "ffmpeg $P $S $X $A -movflags empty_moov+default_base_moof+dash "
                          "-frag_duration 200000 in.mp4\n")
                    .pictures(75)
                    .sound(0),
            DifficultFile("QuickTimeWithPcm", "in.mov", "ffmpeg $P $S $X -c:a pcm_s16be in.mov\n")
                    .whole(),
    };
}

// ---- Groups, fields -----------------------------------------------------------------------------

constexpr char kDeinterlaced[] = "bwdif=mode=send_frame:deint=interlaced";

Files groups() {
    return {
            DifficultFile("OpenGroupH264", "in.ts",
                          "ffmpeg $P $S $X -x264-params open-gop=1:keyint=12:min-keyint=12:"
                          "scenecut=0 $A whole.ts\nffmpeg -ss 1 -i whole.ts -c copy in.ts\n")
                    .pictures(-1)
                    .sound(0),
            DifficultFile("OpenGroupMpeg2", "in.ts",
                          "ffmpeg $P $S -c:v mpeg2video -q:v 2 -g 12 -bf 2 -flags -cgop -c:a mp2 "
                          "whole.ts\nffmpeg -ss 1 -i whole.ts -c copy in.ts\n")
                    .pictures(-1)
                    .sound(0),
            DifficultFile("FieldsInOnePicture", "in.mp4",
                          "ffmpeg $P $S $X -flags +ildct+ilme $A in.mp4\n")
                    .looks(kDeinterlaced)
                    .option("--deinterlace 1")
                    .whole(),
    };
}

Files rareGroups() {
    return {
            DifficultFile("OpenGroupHevc", "in.ts",
                          "ffmpeg $P $S -c:v libx265 -preset ultrafast -pix_fmt yuv420p "
                          "-x265-params open-gop=1:keyint=12:min-keyint=12:bframes=2:"
                          "log-level=error $A whole.ts\n"
                          "ffmpeg -ss 1 -i whole.ts -c copy in.ts\n")
                    .pictures(-1)
                    .sound(0),
            DifficultFile("FieldsInMpeg2", "in.ts",
                          "ffmpeg $P $S -c:v mpeg2video -q:v 2 -flags +ildct+ilme -top 1 -c:a mp2 "
                          "in.ts\n")
                    .looks(kDeinterlaced)
                    .option("--deinterlace 1")
                    .whole(),
    };
}

// ---- The sound's place in time ------------------------------------------------------------------

// In milliseconds.
std::string soundAt(const std::string& times) {
    return kCleanMkv + "ffmpeg -i clean.mkv -c copy -bsf:a setts=ts='" + times + "' in.mkv\n";
}

Files soundTimes() {
    return {
            DifficultFile("GapOf30ms", "in.mkv", soundAt("PTS+gte(N\\,60)*30"))
                    .pictures(75)
                    .sound(3.03),
            DifficultFile("GapOf60ms", "in.mkv", soundAt("PTS+gte(N\\,60)*60"))
                    .pictures(75)
                    .sound(3.06),
            DifficultFile("GapOf90ms", "in.mkv", soundAt("PTS+gte(N\\,60)*90"))
                    .pictures(75)
                    .sound(3.09),
            DifficultFile("ManySmallGaps", "in.mkv", soundAt("PTS+floor(N/10)*8"))
                    .pictures(75)
                    .sound(0),
            DifficultFile("OverlapOf60ms", "in.mkv",
                          kCleanMkv + "ffmpeg -i clean.mkv -c copy -bsf:a "
                                      "noise=drop='between(n\\,60\\,62)',setts=ts='PTS-gte(N\\,60)*"
                                      "(60+64)' in.mkv\n")
                    .pictures(75)
                    .sound(0),
            DifficultFile("SmallOverlaps", "in.mkv", soundAt("PTS-floor(N/30)*15"))
                    .pictures(75)
                    .sound(0),
            DifficultFile("SoundRunsSlow", "in.mkv", soundAt("PTS*1.03")).pictures(75).sound(3.09),
            DifficultFile("SoundRunsFast", "in.mkv", soundAt("PTS*0.97")).pictures(75).sound(2.91),
    };
}

Files rareSoundTimes() {
    return {
            DifficultFile("GapOf200ms", "in.mkv", soundAt("PTS+gte(N\\,60)*200"))
                    .pictures(75)
                    .sound(3.2),
            DifficultFile("OverlapOf30ms", "in.mkv",
                          soundAt("max(PTS-gte(N\\,60)*30\\,PREV_OUTPTS)"))
                    .pictures(75)
                    .sound(0),
            DifficultFile("GapInPcm", "in.mkv",
                          "ffmpeg $P $S $X -c:a pcm_s16le clean.mkv\nffmpeg -i clean.mkv -c copy "
                          "-bsf:a setts=ts='PTS+gte(N\\,60)*45' in.mkv\n")
                    .pictures(75)
                    .sound(3.045),
            DifficultFile("LostSoundPackets", "in.ts",
                          kCleanTs + "ffmpeg -i clean.ts -c copy -bsf:a "
                                     "noise=drop='between(n\\,60\\,62)' in.ts\n")
                    .whole(),
    };
}

// ---- Kinds of pictures --------------------------------------------------------------------------

Files pixelFormats() {
    return {
            DifficultFile("H264With10Bits", "in.mkv", "ffmpeg $P $X -pix_fmt yuv420p10 in.mkv\n")
                    .pictures(75),
            DifficultFile("H264With422", "in.mkv", "ffmpeg $P $X -pix_fmt yuv422p in.mkv\n")
                    .pictures(75),
            DifficultFile("H264With444", "in.mkv", "ffmpeg $P $X -pix_fmt yuv444p in.mkv\n")
                    .pictures(75),
            DifficultFile("H264WithRgb", "in.mkv", "ffmpeg $P -c:v libx264rgb -qp 18 in.mkv\n")
                    .pictures(75),
            DifficultFile("Palette", "in.mkv", "ffmpeg $P -c:v png -pix_fmt pal8 in.mkv\n")
                    .pictures(75),
            DifficultFile("AnimatedGif", "in.gif", "ffmpeg $P in.gif\n").pictures(75),
            DifficultFile("OneJpeg", "in.jpg", "ffmpeg $P -frames:v 1 -q:v 2 in.jpg\n").pictures(1),
            DifficultFile("OnePng", "in.png", "ffmpeg $P -frames:v 1 in.png\n").pictures(1),
            DifficultFile("OnePictureGif", "in.gif", "ffmpeg $P -frames:v 1 in.gif\n").pictures(1),
            DifficultFile("FourteenByTenPoints", "in.mkv",
                          "ffmpeg -f lavfi -i testsrc2=s=14x10:d=1 -c:v libx264 -qp 10 in.mkv\n")
                    .pictures(25, 14, 10),
            DifficultFile("SixPoints", "in.mkv",
                          "ffmpeg -f lavfi -i testsrc2=s=6x6:d=1 -c:v ffv1 in.mkv\n")
                    .pictures(25, 6, 6),
    };
}

Files rarePixelFormats() {
    return {
            DifficultFile("EightPoints", "in.mkv",
                          "ffmpeg -f lavfi -i testsrc2=s=8x8:d=1 -c:v ffv1 in.mkv\n")
                    .pictures(25, 8, 8),
            DifficultFile("SixteenByTwoPoints", "in.mkv",
                          "ffmpeg -f lavfi -i testsrc2=s=16x2:d=1 -c:v ffv1 in.mkv\n")
                    .pictures(25, 16, 2),
            DifficultFile("HevcWith10Bits", "in.mkv",
                          "ffmpeg $P -c:v libx265 -preset ultrafast -x265-params log-level=error "
                          "-pix_fmt yuv420p10 in.mkv\n")
                    .pictures(75),
            DifficultFile("Vp9With10Bits", "in.webm",
                          "ffmpeg $P -c:v libvpx-vp9 -cpu-used 8 -b:v 1M -pix_fmt yuv420p10 "
                          "in.webm\n")
                    .pictures(75),
            DifficultFile("PlanarRgb", "in.mkv", "ffmpeg $P -c:v ffv1 -pix_fmt gbrp in.mkv\n")
                    .pictures(75),
            DifficultFile("Transparent", "in.mkv",
                          "ffmpeg $P -vf format=rgba,colorchannelmixer=aa=0.5 -c:v png in.mkv\n")
                    .pictures(75),
            DifficultFile("Gray", "in.mkv", "ffmpeg $P -c:v ffv1 -pix_fmt gray in.mkv\n")
                    .pictures(75),
            DifficultFile("Gray16", "in.mkv", "ffmpeg $P -c:v ffv1 -pix_fmt gray16le in.mkv\n")
                    .pictures(75),
            DifficultFile("BlackAndWhite", "in.mkv",
                          "ffmpeg $P -c:v rawvideo -pix_fmt monob in.nut\nffmpeg -i in.nut -c:v "
                          "png -pix_fmt monob in.mkv\n")
                    .pictures(75),
            DifficultFile("FullRange", "in.avi",
                          "ffmpeg $P -c:v mjpeg -q:v 2 -pix_fmt yuvj420p in.avi\n")
                    .pictures(75),
            DifficultFile("OddSize", "in.mkv",
                          "ffmpeg -f lavfi -i testsrc2=s=97x65:r=25:d=3 -c:v ffv1 in.mkv\n")
                    .pictures(75),
            DifficultFile("OnePictureWebp", "in.webp",
                          "ffmpeg $P -frames:v 1 -c:v libwebp -q:v 95 in.webp\n")
                    .pictures(1),
            DifficultFile("SixtyThousandPictures", "in.mp4",
                          "ffmpeg -f lavfi -i testsrc2=s=16x16:r=1000:d=60 -c:v libx264 -preset "
                          "ultrafast in.mp4\n")
                    .pictures(60000, 16, 16),
    };
}

// ---- Kinds of sound -----------------------------------------------------------------------------

// A sound in each place, of these levels; what has none has the bass.
std::string soundIn(const std::string& layout, const std::vector<const char*>& levels,
                    const std::string& output = "in.wav") {
    std::string sounds;
    for (const std::string level : levels) {
        if (!sounds.empty()) sounds += "|";
        sounds += level.empty() ? "0.3*sin(2*PI*60*t)" : level + "*sin(2*PI*(200*t+300*t*t))";
    }
    return "ffmpeg -f lavfi -i 'aevalsrc=" + sounds + ":d=3:s=48000:c=" + layout + "' " + output +
           "\n";
}

Files sounds() {
    return {
            DifficultFile("Rate8000", "in.wav", "ffmpeg $S -ar 8000 -ac 1 in.wav\n")
                    .sound(3, 8000, "mono"),
            DifficultFile("Rate192000", "in.wav", "ffmpeg $S -ar 192000 in.wav\n").sound(3),
            DifficultFile("Quad", "in.wav", soundIn("quad", {"0.4", "0.2", "0.1", "0.05"}))
                    .sound(3, 48000, "quad"),
            DifficultFile("StereoWithBass", "in.wav", soundIn("2.1", {"0.4", "0.2", ""}))
                    .sound(3, 48000, "2.1"),
            DifficultFile(
                    "SevenPointOne", "in.wav",
                    soundIn("7.1", {"0.2", "0.1", "0.15", "", "0.05", "0.08", "0.12", "0.03"}))
                    .sound(3, 48000, "5.1"),
    };
}

Files rareSounds() {
    return {
            DifficultFile("Rate11025", "in.wav", "ffmpeg $S -ar 11025 in.wav\n").sound(3, 11025),
            DifficultFile("Rate96000", "in.wav", "ffmpeg $S -ar 96000 in.wav\n").sound(3, 96000),
            DifficultFile("Rate37800", "in.wav", "ffmpeg $S -ar 37800 in.wav\n").sound(3),
            DifficultFile("ThreeFronts", "in.wav", soundIn("3.0", {"0.4", "0.2", "0.1"}))
                    .sound(3, 48000, "3.0"),
            DifficultFile("FourPointNought", "in.wav",
                          soundIn("4.0", {"0.4", "0.2", "0.1", "0.05"}))
                    .sound(3, 48000, "4.0"),
            DifficultFile("FivePointNought", "in.wav",
                          soundIn("5.0", {"0.4", "0.2", "0.1", "0.05", "0.3"}))
                    .sound(3, 48000, "5.0"),
            DifficultFile("FivePointOneAtTheSides", "in.flac",
                          soundIn("5.1(side)", {"0.4", "0.2", "0.1", "", "0.05", "0.3"}, "in.flac"))
                    .sound(3, 48000, "5.1(side)"),
            DifficultFile("SixPointOne", "in.wav",
                          soundIn("6.1", {"0.2", "0.1", "0.15", "", "0.05", "0.08", "0.03"}))
                    .sound(3, 48000, "5.1"),
            DifficultFile("FloatBeyondFullScale", "in.wav",
                          "ffmpeg $S -af volume=4 -c:a pcm_f32le in.wav\n")
                    .sound(3),
    };
}

// ---- Damaged, refused, several ------------------------------------------------------------------

Files others() {
    return {
            DifficultFile("Encrypted", "in.mp4",
                          "ffmpeg $P $S $X $A -encryption_scheme cenc-aes-ctr -encryption_key "
                          "76a6c65c5ea762046bd749a2e632ccbb -encryption_kid "
                          "a7e61c373e219033c21091fa607bf3b8 in.mp4\n")
                    .refused(3, "encrypted"),
            DifficultFile("EncryptedMatroska", "in.mkv",
                          "ffmpeg $P $X -metadata:s:v title='seventeen letters' clean.mkv\n"
                          "@mkv-encrypt clean.mkv in.mkv\n")
                    .refused(3, "encrypted"),
            DifficultFile("ScrambledPicture", "in.ts",
                          kCleanTs + "@ts-scramble clean.ts 256 in.ts\n")
                    .refused(3, "encrypted"),
            DifficultFile("ScrambledOtherProgramme", "in.ts",
                          kCleanTs + "@ts-scramble clean.ts 256 other.ts\nffmpeg $P $S $X $A " +
                                  kSecondProgramme +
                                  "b.ts\n"
                                  "@ts-together other.ts b.ts in.ts\n")
                    .whole("b.ts")
                    .unlikePeer(kNoOneClock),
            DifficultFile("CutMp4", "in.mp4",
                          kCleanMp4 + "ffmpeg -i clean.mp4 -c copy -movflags +faststart fast.mp4\n"
                                      "@cut fast.mp4 0.6 in.mp4\n")
                    .pictures(-1)
                    .sound(0)
                    .damaged(2),
            DifficultFile("CutTransportStream", "in.ts", kCleanTs + "@cut clean.ts 0.6 in.ts\n")
                    .pictures(-1)
                    .sound(0)
                    .damaged(1),
            DifficultFile("WithoutIndex", "in.mp4", kCleanMp4 + "@cut clean.mp4 0.6 in.mp4\n")
                    .refused(3, "in.mp4"),
            DifficultFile("SeveralStreams", "in.mp4",
                          kCleanMp4 + "ffmpeg $P " + kOtherSound +
                                  "-vf hflip,scale=128:96 $X $A b.mp4\n"
                                  "ffmpeg -i clean.mp4 -i b.mp4 -map 0:v -map 1:v -map 0:a "
                                  "-map 1:a -c copy in.mp4\n")
                    .whole("clean.mp4"),
    };
}

Files rareOthers() {
    return {
            DifficultFile("CutMkv", "in.mkv", kCleanMkv + "@cut clean.mkv 0.6 in.mkv\n")
                    .pictures(-1)
                    .sound(0)
                    .damaged(1),
            DifficultFile("CutFlv", "in.flv",
                          "ffmpeg $P $S $X $A clean.flv\n@cut clean.flv 0.6 in.flv\n")
                    .pictures(-1)
                    .sound(0)
                    .damaged(1),
            DifficultFile("CutAac", "in.aac", "ffmpeg $S $A a.aac\n@cut a.aac 0.6 in.aac\n")
                    .sound(0)
                    .damaged(0),
            DifficultFile("ManySoundStreams", "in.mkv",
                          kCleanMkv + "ffmpeg -i clean.mkv " + kOtherSound +
                                  "-map 0:v -map 0:a -map 1 -map 1 -map 1 -c:v copy -c:a aac "
                                  "in.mkv\n")
                    .whole(),
    };
}

}  // namespace

const Files& everydayFiles() {
    static const Files files = programmes() + clocks() + times() + rawStreams() + changes() +
                               orientations() + edited() + groups() + soundTimes() +
                               pixelFormats() + sounds() + others();
    return files;
}

const Files& rareFiles() {
    static const Files files = rareClocks() + rareTimes() + rareRawStreams() + rareChanges() +
                               rareOrientations() + rareEdited() + rareGroups() + rareSoundTimes() +
                               rarePixelFormats() + rareSounds() + rareOthers();
    return files;
}

void PrintTo(const DifficultFile& file, std::ostream* out) {
    *out << file.name << "\n" << kPrologue << file.recipe;
}

std::string makeFile(const DifficultFile& file, const std::string& folder) {
    std::istringstream recipe(file.recipe);
    for (std::string line; std::getline(recipe, line);) {
        if (line[0] == '@') {
            editBytes(folder, words(line.substr(1)));
        } else {
            runOrDie({"sh", "-c", kPrologue + ("cd " + folder + "\n") + line});
        }
    }
    return folder + "/" + file.input;
}

}  // namespace oxa::test

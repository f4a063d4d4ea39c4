// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/FileTable.h"

#include <ostream>
#include <regex>
#include <sstream>

#include "files/ByteEdits.h"

namespace oxa::test {
namespace {

// $P, $S, $X and $A: a picture, a sound and their usual encoders; $O another sound, $W a white one,
// $N the muxer's options of a second programme. No expansion of names: filters are full of
// asterisks.
constexpr char kPrologue[] = R"sh(set -ef
P='-f lavfi -i testsrc2=s=96x64:r=25:d=3'
S='-f lavfi -i anoisesrc=d=3:c=pink:a=0.5:seed=7,pan=stereo|c0=c0|c1=0.5*c0'
O='-f lavfi -i anoisesrc=d=3:c=pink:a=0.5:seed=3'
W='-f lavfi -i anoisesrc=d=3:a=0.5:seed=1'
X='-c:v libx264 -preset veryfast -g 25 -bf 2 -pix_fmt yuv420p'
A='-c:a aac'
N='-mpegts_start_pid 512 -mpegts_pmt_start_pid 4352 -mpegts_service_id 2 -output_ts_offset 1691'
ffmpeg() { command ffmpeg -nostdin -y -v error "$@"; }
# clean EXTENSION; clean0: pictures in the order of decoding
clean() { ffmpeg $P $S $X $A clean.$1; }
clean0() { ffmpeg $P $S $X -bf 0 $A clean.$1; }
# copy EXTENSION OPTIONS: of the clean file; join EXTENSION: a and b, one behind the other
copy() { e=$1; shift; ffmpeg -i clean.$e -c copy "$@" in.$e; }
# spread TIME: silent pictures, 40 ms apart, and a copy with these times of picture N
spread() { ffmpeg $P $X -bf 0 clean.mkv; copy mkv -bsf:v "setts=pts=$1:dts=$1"; }
join() { cat a.$1 b.$1 > in.$1; }
# filtered FILTERS: full.mp4 with the pictures of in.mp4 behind them; fields: interlaced pictures
filtered() { ffmpeg -i in.mp4 -vf $1 -c:v libx264 -qp 0 -bf 0 -c:a copy full.mp4; }
fields() { ffmpeg $P $S $X -flags +ildct+ilme $A in.mp4; }
# paused OPTIONS: 2 s of pictures, 1 s after 3 s, one each 2.4 s for 13 s, and 2 s after 19 s
paused() {
    t='select=lt(t\,2)+between(t\,5\,6)+between(t\,7\,20)*not(mod(n\,60))+gte(t\,38)'
    ffmpeg -f lavfi -i testsrc2=s=96x64:r=25:d=40 -vf $t -fps_mode vfr $X -g 250 p.mkv
    ffmpeg -i p.mkv "$@"
}
# uneven OUTPUT: pictures without a rate; points FORMAT MOVFLAGS: their shape is in the stream alone
uneven() { ffmpeg $P -vf 'select=not(mod(n\,7))+not(mod(n\,5))' -fps_mode vfr $X $1; }
points() {
    ffmpeg -f lavfi -i testsrc2=s=352x288:d=1 -vf setsar=0 $X -pix_fmt $1 clean.mp4
    copy mp4 -bsf:v h264_metadata=sample_aspect_ratio=12/11 -movflags $2
    ! grep -q pasp in.mp4
}
# places LAYOUT OUTPUT LEVELS: a sound in each place
places() {
    layout=$1 output=$2 sounds=; shift 2
    for level; do
        case $level in
        bass) sound='0.3*sin(2*PI*60*t)' ;;
        *) sound="$level*sin(2*PI*(200*t+300*t*t))" ;;
        esac
        sounds=$sounds${sounds:+|}$sound
    done
    ffmpeg -f lavfi -i "aevalsrc=$sounds:d=3:s=48000:c=$layout" $output
}
)sh";

constexpr char kEveryday[] = R"table(
# A row: NAME INPUT | what must come out | the recipe. It goes on in indented lines.
#   whole[=FILE]              all that $P and $S make, as FILE says it (like=FILE)
#   like=FILE                 the file of the recipe that says how the input should be understood
#   pictures=COUNT[,W,H]      96x64 of them; -1: as many as the reference has
#   sound=SECONDS[,RATE[,LAYOUT]]  within an AAC frame; 0: as long as the reference's
#   looks=FILTERS             make of the reference's pictures those that must come out
#   options=WORD[,WORD]       of the transcode
#   times=MS                  how far from the reference a picture may be whose time is not told
#   ends=SECONDS              the end of the last picture, in an MP4
#   damaged=PICTURES          damage is told; what is decoded of it is a matter of taste
#   refused=EXIT,TEXT         nothing is written, and the reason is told with this in it
#   unlike=REASON             the `ffmpeg` command itself does not make of it what it should be:
#                             `programmes` it takes the streams of both by their numbers, `jump` it
#                             takes one of less than 10 s for a pause, or drops what is early,
#                             `wild` it drops what is earlier than the wild one, or waits for it,
#                             `words` it begins with the words, `times` it drops pictures whose
#                             times do not rise, `mp3` it takes it for MP3, `rate` it goes by the
#                             first rate, `slow` it does not wait for the second picture
# ---- Clocks
TwoProgrammesTwoClocks in.ts | whole=clean.ts | clean ts; ffmpeg $P $O -vf hflip $X $A $N b.ts;
  @ts-together clean.ts b.ts in.ts
LaterClockFirst in.ts | whole=clean.ts unlike=programmes | ffmpeg $P $O -vf hflip $X $A b.ts; ffmpeg
  $P $S $X $A $N clean.ts; @ts-together clean.ts b.ts in.ts
ProgrammeOfSoundFirst in.ts | whole=clean.ts unlike=programmes | ffmpeg $O $A radio.ts; ffmpeg $P $S
  $X $A $N clean.ts; @ts-together radio.ts clean.ts in.ts
ClockWraps in.ts | whole=clean.ts | clean ts; copy ts -output_ts_offset 95441
AllJumpForward in.ts | whole=clean.ts | clean ts; @ts-jump clean.ts -1 1.0 5000 in.ts
AllJumpBack in.ts | whole=clean.ts | ffmpeg $P $S $X $A -output_ts_offset 2000 clean.ts; @ts-jump
  clean.ts -1 2.0 -1500 in.ts
AllBeginAgain in.ts | whole=clean.ts unlike=jump | clean ts; @ts-jump clean.ts -1 1.0 -1.0
  in.ts
SoundPauses in.ts | pictures=75 sound=3.4 | clean ts; @ts-jump clean.ts 257 1.0 0.4 in.ts
PicturePauses in.ts | whole | clean ts; @ts-jump clean.ts 256 1.0 0.4 in.ts
FlvBeginsAgain in.flv | whole=clean.flv unlike=jump | clean0 flv; @flv-times clean.flv -1 1000
  100000 -1000 in.flv
DataStreamBeginsEarlier in.mkv | whole=wordless.mkv unlike=words | clean mp4; printf
  '1\n00:00:00,000 --> 00:00:02,000\nwords\n' > words.srt; ffmpeg -itsoffset 0.8 -i clean.mp4 -i
  words.srt -c copy in.mkv; ffmpeg -itsoffset 0.8 -i clean.mp4 -c copy wordless.mkv
# ---- Wild, doubled and missing times
FlvWildPicture in.flv | whole=clean.flv times=41 unlike=wild | clean0 flv; @flv-times clean.flv 9
  1590 1631 2000000 in.flv
FlvWildSound in.flv | whole=clean.flv unlike=wild | clean0 flv; @flv-times clean.flv 8 1590 1611
  2000000 in.flv
WebmWildPicture in.webm | whole=clean.webm times=41 unlike=wild | ffmpeg $P $S -c:v libvpx -b:v 1M
  -c:a libvorbis clean.webm; copy webm -bsf:v setts=pts='PTS+eq(N\,40)*2000000'
DoubledTimes in.mkv | whole=clean.mkv times=41 unlike=times | clean0 mkv; copy mkv -bsf:v
  setts=ts='PTS-mod(N\,2)*40'
LastTimeDoubled in.mkv | whole=clean.mkv times=41 unlike=times | clean0 mkv; copy mkv -bsf:v
  setts=ts='PTS-eq(N\,74)*40'
# Pictures of which several have one time, or that fall back, are spread evenly.
TimesInPairs in.mkv | like=clean.mkv pictures=75 unlike=times | spread '80*floor(N/2)'
TimesInThrees in.mkv | like=clean.mkv pictures=75 unlike=times | spread '120*floor(N/3)'
OneTimeInTheMiddleDoubled in.mkv | like=clean.mkv pictures=75 unlike=times | spread
  'if(eq(N\,12)\,440\,40*N)'
OneTimeFallsBack in.mkv | like=clean.mkv pictures=75 unlike=times | spread 'if(eq(N\,12)\,200\,40*N)'
LongRunOfOneTime in.mkv | like=clean.mkv pictures=75 unlike=times | spread
  'if(between(N\,5\,18)\,200\,40*N)'
AllTimesAlike in.mkv | like=clean.mkv pictures=75 unlike=times | spread 0
TimesBeginAgain in.mkv | like=clean.mkv pictures=75 unlike=times | spread '40*mod(N\,12)'
SlowPicturesDecodedEarly in.mkv | pictures=8 sound=40 | ffmpeg -f lavfi -i testsrc2=s=96x64:r=1/5:d=40
  -f lavfi -i anoisesrc=d=40:c=pink:a=0.5:seed=7 -ac 2 $X -b_strategy 0 -bf 3 -c:a mp2 in.mkv
PicturesDecodedSecondsEarly in.mkv | pictures=40 sound=40 ends=40 | ffmpeg -f lavfi -i
  testsrc2=s=96x64:r=1:d=40 -f lavfi -i anoisesrc=d=40:c=pink:a=0.5:seed=7 -ac 2 $X -b_strategy 0 -bf 8
  -g 99 $A in.mkv
PausesOfPicturesAlone in.mkv | pictures=132 ends=40 | paused -c:v copy in.mkv
PausesUnderSound in.mkv | pictures=132 sound=40 ends=40 | paused -f lavfi -i
  anoisesrc=d=40:c=pink:a=0.5:seed=7 -ac 2 -c:v copy $A in.mkv
SlowPicturesInTs in.ts | pictures=8 sound=40 unlike=slow | ffmpeg -f lavfi -i
  testsrc2=s=96x64:r=1/5:d=40 -f lavfi -i anoisesrc=d=40:c=pink:a=0.5:seed=7 -ac 2 $X $A in.ts
LongWaitFilled in.mp4 | like=full.mp4 pictures=115 sound=3 ends=4.6 options=--fps,25 | clean0 mp4;
  copy mp4 -video_track_timescale 12800 -bsf:v setts=ts='PTS+gte(N\,74)*20480':duration=512; filtered
  fps=25
MissingTimes in.ts | whole=clean.ts | clean ts; @ts-drop-times clean.ts 256 2 in.ts
LongWaitBeforeTheLast in.mp4 | whole ends=4.6 | clean0 mp4; copy mp4 -video_track_timescale 12800
  -bsf:v setts=ts='PTS+gte(N\,74)*20480':duration=512
# ---- Raw streams
RawH264 in.h264 | like=clean.mp4 pictures=75 | ffmpeg $P $X clean.mp4; ffmpeg -i clean.mp4 -c copy
  in.h264
RawH264WithoutRate in.h264 | like=clean.mp4 pictures=75 | ffmpeg $P $X clean.mp4; ffmpeg -i
  clean.mp4 -c copy rate.h264; @h264-no-rate rate.h264 in.h264
RawH264WithAFastClock in.h264 | like=clean.mp4 pictures=75 | ffmpeg $P $X clean.mp4; ffmpeg -i
  clean.mp4 -c copy -bsf:v h264_mp4toannexb,h264_metadata=tick_rate=12000 in.h264
RawHevc in.hevc | like=clean.mp4 pictures=75 | ffmpeg $P -c:v libx265 -preset ultrafast -pix_fmt
  yuv420p -x265-params bframes=2:log-level=error -tag:v hvc1 clean.mp4; ffmpeg -i clean.mp4 -c copy
  in.hevc
RawHevcWithAFastClock in.hevc | like=clean.mp4 pictures=75 | ffmpeg $P -c:v libx265 -preset ultrafast
  -pix_fmt yuv420p -x265-params bframes=2:log-level=error -tag:v hvc1 clean.mp4; ffmpeg -i clean.mp4 -c
  copy -bsf:v hevc_mp4toannexb,hevc_metadata=tick_rate=12000 in.hevc
RawMpeg2 in.m2v | pictures=75 | ffmpeg $P -c:v mpeg2video -q:v 2 -bf 2 in.m2v
RawAac in.aac | sound=3 | ffmpeg $S $A in.aac
RawAc3 in.ac3 | sound=3 | ffmpeg $S -c:a ac3 in.ac3
LatmInTransportStream in.ts | sound=3 | ffmpeg $S $A -mpegts_flags latm in.ts
VeryShortDts in.ts | like=clean.wav sound=0 unlike=mp3 | ffmpeg $S -t 0.05 -ar 48000 -c:a dca
  -strict -2 in.ts; ffmpeg -c:a dca -i in.ts -c:a pcm_s16le clean.wav
VeryShortSoundStream in.ts | sound=0.05 | ffmpeg $S -t 0.05 -c:a mp2 in.ts
# Neither the container's time base nor what suits all times is their rate.
UnevenMp4 in.mp4 | pictures=-1 | uneven in.mp4
UnevenMkv in.mkv | pictures=-1 | uneven in.mkv
UnevenTs in.ts | pictures=-1 | uneven in.ts
# ---- What changes in the middle. The pictures of a first part begin two behind the start of decoding
AspectChanges in.ts | pictures=-1 sound=3.2 | ffmpeg $P $S -t 1.6 -c:v mpeg2video -q:v 2 -aspect 3:2
  $A a.ts; ffmpeg $P $S -t 1.6 -output_ts_offset 1.68 -c:v mpeg2video -q:v 2 -aspect 16:9 $A b.ts;
  join ts
RangeChanges in.ts | pictures=80 sound=3.2 | ffmpeg $P $S -t 1.6 $X $A a.ts; ffmpeg $P $S -vf
  scale=out_range=full -t 1.6 -output_ts_offset 1.68 $X -pix_fmt yuvj420p $A b.ts; join ts
SizeChanges in.ts | pictures=80 sound=3.2 | ffmpeg $P $S -t 1.6 $X $A a.ts; ffmpeg $P $S -vf
  scale=128:96,setsar=1 -t 1.6 -output_ts_offset 1.68 $X $A b.ts; join ts
SizeChangesAtAnotherRate in.ts | like=full.mkv pictures=160 options=--fps,50 | ffmpeg $P -t 1.6 $X -bf 0
  a.ts; ffmpeg $P -vf scale=128:96,setsar=1 -t 1.6 -output_ts_offset 1.6 $X -bf 0 b.ts; join ts; ffmpeg
  -i a.ts -i b.ts -lavfi [0]setsar=1[a],[1]scale=96:64,setsar=1[b],[a][b]concat,fps=50 -c:v ffv1
  full.mkv
PixelFormatChanges in.ts | pictures=80 sound=3.2 | ffmpeg $P $S -t 1.6 $X $A a.ts; ffmpeg $P $S -t
  1.6 -output_ts_offset 1.68 $X -pix_fmt yuv422p $A b.ts; join ts
ChannelsChange in.aac | like=clean.wav sound=3 | ffmpeg $S -t 1.5 $A a.aac; ffmpeg $S -t 1.5 -ac 1
  $A b.aac; join aac; ffmpeg -i a.aac -i b.aac -filter_complex
  [1]aformat=channel_layouts=stereo[b],[0][b]concat=v=0:a=1 clean.wav
RateAndChannelsChange in.aac | like=clean.wav sound=0 unlike=rate | ffmpeg $S -t 1.5 $A a.aac;
  ffmpeg $S -t 1.5 -ac 1 -ar 24000 $A b.aac; join aac; ffmpeg -i a.aac -i b.aac -filter_complex
  [1]aresample=48000,aformat=channel_layouts=stereo[b],[0][b]concat=v=0:a=1 clean.wav
SoundRateChanges in.ts | like=clean.wav sound=3.2 | ffmpeg $S -t 1.6 $A a.ts; ffmpeg $S -t 1.6
  -output_ts_offset 1.644553 -ar 44100 $A b.ts; join ts; ffmpeg -i a.ts -i b.ts -filter_complex
  [1]aresample=48000[b],[0][b]concat=v=0:a=1 clean.wav
# ---- Orientation, edit lists, fragments
MirroredLeftRight in.mp4 | whole=clean.mp4 looks=hflip | clean mp4; @mp4-matrix clean.mp4 -1 0 0 1
  in.mp4
UpsideDown in.mp4 | whole=clean.mp4 looks=vflip | clean mp4; @mp4-matrix clean.mp4 1 0 0 -1 in.mp4
TurnedAndMirrored in.mp4 | like=clean.mp4 pictures=75,64,96 sound=3 looks=transpose=cclock_flip |
  clean mp4; @mp4-matrix clean.mp4 0 1 1 0 in.mp4
TurnedAndMirroredOtherwise in.mp4 | like=clean.mp4 pictures=75,64,96 sound=3
  looks=transpose=clock_flip | clean mp4; @mp4-matrix clean.mp4 0 -1 -1 0 in.mp4
Turned90 in.mp4 | like=clean.mp4 pictures=75,64,96 sound=3 looks=transpose=clock | clean mp4;
  @mp4-matrix clean.mp4 0 1 -1 0 in.mp4
Turned180 in.mp4 | whole=clean.mp4 looks=hflip,vflip | clean mp4; @mp4-matrix clean.mp4 -1 0 0 -1
  in.mp4
Turned270 in.mp4 | like=clean.mp4 pictures=75,64,96 sound=3 looks=transpose=cclock | clean mp4;
  @mp4-matrix clean.mp4 0 -1 1 0 in.mp4
WidePoints in.mp4 | pictures=25,384,288 | ffmpeg -f lavfi -i testsrc2=s=352x288:d=1 -vf setsar=12/11
  $X in.mp4
NarrowPoints in.mp4 | pictures=25,240,240 | ffmpeg -f lavfi -i testsrc2=s=320x240:d=1 -vf setsar=3/4
  $X in.mp4
WidePointsTurned in.mp4 | like=clean.mp4 pictures=25,288,512 looks=transpose=clock | ffmpeg -f lavfi
  -i testsrc2=s=352x288:d=1 -vf setsar=16/11 $X clean.mp4; @mp4-matrix clean.mp4 0 1 -1 0 in.mp4
PointsOfTheStreamAlone in.mp4 | pictures=25,384,288 | points yuv420p 0
PointsOfFragments in.mp4 | pictures=25,384,288 | points yuv420p frag_keyframe+empty_moov
PointsOfAnotherProfile in.mp4 | pictures=25,384,288 | points yuv444p 0
PointsOfHevc in.mp4 | pictures=25,384,288 | ffmpeg -f lavfi -i testsrc2=s=352x288:d=1 -vf setsar=0
  -c:v libx265 -preset ultrafast -pix_fmt yuv420p -x265-params log-level=error -tag:v hvc1 clean.mp4;
  copy mp4 -tag:v hvc1 -bsf:v hevc_metadata=sample_aspect_ratio=12/11; ! grep -q pasp in.mp4
BeginsInsideAGroup in.mp4 | pictures=62 sound=2.48 | clean mp4; ffmpeg -ss 0.52 -i clean.mp4 -c copy
  in.mp4
LateSound in.mp4 | pictures=75 sound=3.3 | clean mp4; ffmpeg -i clean.mp4 -itsoffset 0.3 -i
  clean.mp4 -map 0:v -map 1:a -c copy in.mp4
LatePicture in.mp4 | whole | clean mp4; ffmpeg -itsoffset 0.7 -i clean.mp4 -i clean.mp4 -map 0:v
  -map 1:a -c copy in.mp4
FragmentedWithLateDecoding in.mp4 | pictures=75 sound=0 | ffmpeg $P $S $X $A -movflags
  frag_keyframe+empty_moov+default_base_moof in.mp4
# ---- Groups, fields
OpenGroupH264 in.ts | pictures=-1 sound=0 | ffmpeg $P $S $X -x264-params
  open-gop=1:keyint=12:min-keyint=12:scenecut=0 $A whole.ts; ffmpeg -ss 1 -i whole.ts -c copy in.ts
OpenGroupMpeg2 in.ts | pictures=-1 sound=0 | ffmpeg $P $S -c:v mpeg2video -q:v 2 -g 12 -bf 2 -flags
  -cgop -c:a mp2 whole.ts; ffmpeg -ss 1 -i whole.ts -c copy in.ts
FieldsInOnePicture in.mp4 | whole looks=bwdif=mode=send_frame:deint=interlaced
  options=--deinterlace,1 | ffmpeg $P $S $X -flags +ildct+ilme $A in.mp4
FieldsLeft in.mp4 | whole options=--deinterlace,0 | fields
FieldsByDefault in.ts | whole looks=bwdif=mode=send_frame:deint=interlaced | ffmpeg $P $S
  -c:v mpeg2video -q:v 2 -flags +ildct+ilme -top 1 -c:a mp2 in.ts
EachFieldAPicture in.mp4 | like=full.mp4 pictures=150 sound=3 options=--deinterlace,2 | fields;
  filtered bwdif=mode=send_field:deint=interlaced
FewerSmallerFields in.mp4 | like=full.mp4 pictures=120,48,32 sound=3
  options=--deinterlace,2,--size,48x32,--fps,40 | fields; filtered
  bwdif=mode=send_field:deint=interlaced,fps=40
# ---- Other sizes and rates than the file's
Smaller in.mp4 | pictures=75,48,32 sound=3 options=--size,48x32 | clean mp4; mv clean.mp4 in.mp4
Stretched in.mp4 | pictures=75,80,200 sound=3 options=--size,80x200 | clean mp4; mv clean.mp4 in.mp4
FewerPictures in.mp4 | like=full.mp4 pictures=36 sound=3 options=--fps,12 | ffmpeg $P $S $X $A in.mp4;
  filtered fps=12
MorePictures in.mp4 | like=full.mp4 pictures=90 sound=3 options=--fps,30 | ffmpeg $P $S $X $A in.mp4;
  filtered fps=30
TurnedSmallerFewer in.mp4 | like=full.mp4 pictures=36,32,48 sound=3 options=--size,32x48,--fps,12 |
  clean mp4; @mp4-matrix clean.mp4 0 1 -1 0 in.mp4; filtered fps=12
# ---- The sound's place in time
GapOf30ms in.mkv | pictures=75 sound=3.03 | clean0 mkv; copy mkv -bsf:a setts=ts='PTS+gte(N\,60)*30'
GapOf60ms in.mkv | pictures=75 sound=3.06 | clean0 mkv; copy mkv -bsf:a setts=ts='PTS+gte(N\,60)*60'
GapOf90ms in.mkv | pictures=75 sound=3.09 | clean0 mkv; copy mkv -bsf:a setts=ts='PTS+gte(N\,60)*90'
ManySmallGaps in.mkv | pictures=75 sound=0 | clean0 mkv; copy mkv -bsf:a
  setts=ts='PTS+floor(N/10)*8'
OverlapOf60ms in.mkv | pictures=75 sound=0 | clean0 mkv; copy mkv -bsf:a
  noise=drop='between(n\,60\,62)',setts=ts='PTS-gte(N\,60)*(60+64)'
SmallOverlaps in.mkv | pictures=75 sound=0 | clean0 mkv; copy mkv -bsf:a
  setts=ts='PTS-floor(N/30)*15'
SoundRunsSlow in.mkv | pictures=75 sound=3.09 | clean0 mkv; copy mkv -bsf:a setts=ts='PTS*1.03'
SoundRunsFast in.mkv | pictures=75 sound=2.91 | clean0 mkv; copy mkv -bsf:a setts=ts='PTS*0.97'
HoleInTheSound in.mkv | pictures=75 sound=3 | clean0 mkv; copy mkv -bsf:a
  noise=drop='between(pts\,1000\,2000)'
SoundEndsBeforeThePicture in.mkv | pictures=75 sound=3 | clean0 mkv; copy mkv -bsf:v
  setts=ts='PTS+3000'
SoundMuchLonger in.mkv | pictures=75 sound=60 | ffmpeg $P -f lavfi -i
  anoisesrc=d=60:c=pink:a=0.5:seed=7 -ac 2 $X -c:a mp2 in.mkv
PictureMuchLonger in.mp4 | pictures=600 sound=3 | ffmpeg -f lavfi -i testsrc2=s=96x64:r=10:d=60 $S $X
  $A in.mp4
# ---- Kinds of pictures
H264With10Bits in.mkv | pictures=75 | ffmpeg $P $X -pix_fmt yuv420p10 in.mkv
H264With422 in.mkv | pictures=75 | ffmpeg $P $X -pix_fmt yuv422p in.mkv
H264With444 in.mkv | pictures=75 | ffmpeg $P $X -pix_fmt yuv444p in.mkv
H264WithRgb in.mkv | pictures=75 | ffmpeg $P -c:v libx264rgb -qp 18 in.mkv
Gray in.mkv | pictures=75 | ffmpeg $P -c:v ffv1 -pix_fmt gray in.mkv
Palette in.mkv | pictures=75 | ffmpeg $P -c:v png -pix_fmt pal8 in.mkv
AnimatedGif in.gif | pictures=75 | ffmpeg $P in.gif
OneJpeg in.jpg | pictures=1 | ffmpeg $P -frames:v 1 -q:v 2 in.jpg
OnePng in.png | pictures=1 | ffmpeg $P -frames:v 1 in.png
OnePictureGif in.gif | pictures=1 | ffmpeg $P -frames:v 1 in.gif
OnePictureBehindADelay in.mp4 | pictures=1 | ffmpeg $P -frames:v 1 $X -bf 3 in.mp4
OnePictureWithSound in.mp4 | pictures=1 sound=3 | ffmpeg $P $S -vf trim=end_frame=1 $X $A in.mp4
SoundWithACover in.mp3 | sound=3 | ffmpeg $S $P -map 0 -map 1 -c:a libmp3lame -c:v mjpeg -vf trim=end_frame=1
  -disposition:v attached_pic -t 3 in.mp3
FourteenByTenPoints in.mkv | pictures=25,14,10 | ffmpeg -f lavfi -i testsrc2=s=14x10:d=1 -c:v
  libx264 -qp 10 in.mkv
SixPoints in.mkv | pictures=25,6,6 | ffmpeg -f lavfi -i testsrc2=s=6x6:d=1 -c:v ffv1 in.mkv
FourPoints in.mkv | pictures=25,4,4 | ffmpeg -f lavfi -i testsrc2=s=4x4:d=1 -c:v ffv1 in.mkv
TwoPoints in.mkv | pictures=25,2,2 | ffmpeg -f lavfi -i testsrc2=s=2x2:d=1 -c:v ffv1 in.mkv
# ---- Kinds of sound
AviWithLateDecoding in.avi | whole times=41 | ffmpeg $P $S -c:v mpeg4 -q:v 2 -bf 2 -c:a libmp3lame
  in.avi
Webm in.webm | whole | ffmpeg $P $S -c:v libvpx -b:v 1M -c:a libopus in.webm
AacMono in.m4a | sound=2.345,44100,mono | ffmpeg $S -t 2.345 -ar 44100 -ac 1 $A in.m4a
Alac in.m4a | sound=2.345,44100 | ffmpeg $S -t 2.345 -ar 44100 -c:a alac in.m4a
Flac in.flac | sound=2.345 | ffmpeg $S -t 2.345 -c:a flac in.flac
Mp2 in.mpg | sound=2.345 | ffmpeg $S -t 2.345 -c:a mp2 in.mpg
Mp3 in.mp3 | sound=2.345,44100 | ffmpeg $S -t 2.345 -ar 44100 -c:a libmp3lame in.mp3
Opus in.ogg | sound=2.345 | ffmpeg $S -t 2.345 -c:a libopus in.ogg
OpusMono in.webm | sound=2.345,48000,mono | ffmpeg $S -t 2.345 -ac 1 -c:a libopus in.webm
Vorbis in.ogg | sound=2.345,44100 | ffmpeg $S -t 2.345 -ar 44100 -c:a libvorbis in.ogg
VorbisMono in.webm | sound=2.345,22050,mono | ffmpeg $S -t 2.345 -ar 22050 -ac 1 -c:a libvorbis in.webm
Pcm24 in.wav | sound=2.345 | ffmpeg $S -t 2.345 -c:a pcm_s24le in.wav
# Blocks as large as can be, of what does not compress
LargeFlacBlocks in.flac | sound=3 options=--audio-bitrate,320k | ffmpeg $W -ac 2 -frame_size 65535
  in.flac
LargeSurroundBlocks in.mka | sound=3,48000,5.1 options=--audio-bitrate,640k | ffmpeg $W -ac 6 -c:a flac
  -frame_size 65535 -sample_fmt s32 in.mka
LargeTtaBlocks in.tta | sound=3,96000 options=--audio-bitrate,320k | ffmpeg $W -ac 2 -ar 96000
  -sample_fmt s32 in.tta
Rate37800 in.wav | sound=3 | ffmpeg $S -ar 37800 in.wav
Rate96000 in.wav | sound=3,96000 | ffmpeg $S -ar 96000 in.wav
Rate8000 in.wav | sound=3,8000,mono | ffmpeg $S -ar 8000 -ac 1 in.wav
Rate192000 in.wav | sound=3 | ffmpeg $S -ar 192000 in.wav
Quad in.wav | sound=3,48000,quad | places quad in.wav 0.4 0.2 0.1 0.05
StereoWithBass in.wav | sound=3,48000,2.1 | places 2.1 in.wav 0.4 0.2 bass
AlikeWithBass in.wav | sound=3,44100,2.1 | ffmpeg $S -af 'pan=2.1|c0=c0|c1=c0|c2=0*c0' -ar 44100
  in.wav
Surround in.ac3 | sound=3,48000,5.1 | places 5.1 in.ac3 0.2 0.1 0.15 bass 0.05 0.08
MonoToStereo in.wav | sound=3 options=--audio-rate,48000,--audio-channels,2 | ffmpeg $S -ac 1 -ar 44100
  in.wav
StereoToMono in.wav | sound=3,48000,mono options=--audio-channels,1 | ffmpeg $S in.wav
StereoToSurround in.wav | sound=3,48000,5.1 options=--audio-channels,6 | ffmpeg $S in.wav
To22050 in.wav | sound=3,22050 options=--audio-rate,22050 | ffmpeg $S -ar 44100 in.wav
To44100 in.wav | sound=3,44100 options=--audio-rate,44100 | ffmpeg $S in.wav
PhoneTo48000 in.wav | sound=3,48000,mono options=--audio-rate,48000 | ffmpeg $S -ar 8000 -ac 1 in.wav
QuadToStereo in.wav | sound=3 options=--audio-channels,2 | places quad in.wav 0.4 0.2 0.1 0.05
BassToStereo in.wav | sound=3,44100 options=--audio-rate,44100,--audio-channels,2 | places 2.1 in.wav
  0.4 0.2 bass
SurroundToStereo in.wav | sound=3 options=--audio-channels,2 | places 5.1 in.wav 0.2 0.1 0.15 bass 0.05
  0.08
SidesToStereo in.wav | sound=3 options=--audio-channels,2 | places '5.1(side)' in.wav 0.2 0.1 0.15 bass
  0.05 0.08
SurroundToMono in.wav | sound=3,44100,mono options=--audio-rate,44100,--audio-channels,1 | places 5.1
  in.wav 0.2 0.1 0.15 bass 0.05 0.08
SevenPointOne in.wav | sound=3,48000,5.1 | places 7.1 in.wav 0.2 0.1 0.15 bass 0.05 0.08 0.12 0.03
# ---- Damaged, refused, several
Encrypted in.mp4 | refused=3,encrypted | ffmpeg $P $S $X $A -encryption_scheme cenc-aes-ctr
  -encryption_key 76a6c65c5ea762046bd749a2e632ccbb -encryption_kid a7e61c373e219033c21091fa607bf3b8
  in.mp4
EncryptedMatroska in.mkv | refused=3,encrypted | ffmpeg $P $X -metadata:s:v title='seventeen
  letters' clean.mkv; @mkv-encrypt clean.mkv in.mkv
ScrambledPicture in.ts | refused=3,encrypted | clean ts; @ts-scramble clean.ts 256 in.ts
MarkedAsScrambled in.ts | whole=clean.ts | clean ts; @ts-mark clean.ts 256 in.ts
ScrambledOtherProgramme in.ts | whole=b.ts unlike=programmes | clean ts; @ts-scramble clean.ts 256
  other.ts; ffmpeg $P $S $X $A $N b.ts; @ts-together other.ts b.ts in.ts
CutMp4 in.mp4 | pictures=-1 sound=0 damaged=2 | clean mp4; ffmpeg -i clean.mp4 -c copy -movflags
  +faststart fast.mp4; @cut fast.mp4 0.6 in.mp4
CutTransportStream in.ts | pictures=-1 sound=0 damaged=1 | clean ts; @cut clean.ts 0.6 in.ts
WithoutIndex in.mp4 | refused=3,in.mp4 | clean mp4; @cut clean.mp4 0.6 in.mp4
SeveralStreams in.mp4 | whole=clean.mp4 | clean mp4; ffmpeg $P $O -vf hflip,scale=128:96 $X $A
  b.mp4; ffmpeg -i clean.mp4 -i b.mp4 -map 0:v -map 1:v -map 0:a -map 1:a -c copy in.mp4
)table";

constexpr char kRare[] = R"table(
ClockWrapsEarly in.ts | whole=clean.ts | clean ts; copy ts -output_ts_offset 95442.3
TwoJumps in.ts | whole=clean.ts | clean ts; @ts-jump clean.ts -1 1.0 5000 once.ts; @ts-jump once.ts
  -1 2000 -300 in.ts; ffmpeg $P $S $X $A -output_ts_offset 700 clean.ts
SoundAloneJumpsFar in.ts | whole=clean.ts | clean ts; @ts-jump clean.ts 257 1.0 100 in.ts
FlvJumpsForward in.flv | whole=clean.flv unlike=jump | clean0 flv; @flv-times clean.flv -1 1000
  100000 500000 in.flv
MkvJumpsInsideAGroup in.mkv | whole=clean.mkv unlike=jump | ffmpeg $P $S $X -b_strategy 0 $A
  clean.mkv; copy mkv -bsf:v setts=pts='PTS+gte(N\,38)*400000' -bsf:a
  setts=ts='PTS+gte(PTS\,1520)*400000'
JoinedStreams in.ts | like=twice.mkv pictures=150 options=--only,video times=30 unlike=jump |
  ffmpeg $P $S $X -c:a mp2 clean.ts; cat clean.ts clean.ts > in.ts; ffmpeg -i clean.ts -map 0:v -c
  copy once.mkv; printf 'file once.mkv\nfile once.mkv\n' > list; ffmpeg -f concat -i list -c copy
  twice.mkv
MkvWildSound in.mkv | whole=clean.mkv unlike=wild | clean0 mkv; copy mkv -bsf:a
  setts=pts='PTS+eq(N\,60)*2000000'
WildFirstPicture in.mkv | whole=clean.mkv unlike=wild | clean0 mkv; copy mkv -bsf:v
  setts=pts='PTS+eq(N\,0)*2000000'
WildFirstPictures in.mkv | whole=clean.mkv unlike=wild | clean0 mkv; copy mkv -bsf:v
  setts=pts='PTS+lt(N\,3)*2000000'
WildFirstPictureOfMany in.mkv | whole=clean.mkv unlike=wild | clean mkv; copy mkv -bsf:v
  setts=pts='PTS+eq(N\,0)*2000000'
MissingTimesOfSound in.ts | whole=clean.ts | clean ts; @ts-drop-times clean.ts 257 2 in.ts
VariableRate in.mp4 | whole | ffmpeg $P $S -vf setpts='(N+0.2*mod(N\,4))/25/TB' -fps_mode
  passthrough -enc_time_base 1/12800 $X $A in.mp4
RawMpeg4 in.m4v | like=clean.mp4 pictures=75 | ffmpeg $P -c:v mpeg4 -q:v 2 clean.mp4; ffmpeg -i
  clean.mp4 -c copy in.m4v
RawLatm in.loas | sound=3 | ffmpeg $S $A -f latm in.loas
DtsInTransportStream in.ts | sound=3 | ffmpeg $S -ar 48000 -c:a dca -strict -2 in.ts
RawEac3 in.eac3 | sound=3 | ffmpeg $S -c:a eac3 in.eac3
LatmWithPicture in.ts | whole | ffmpeg $P $S $X $A -mpegts_flags latm in.ts
SmallerSizeFollows in.ts | pictures=80,128,96 sound=3.2 | ffmpeg $P $S -vf scale=128:96,setsar=1 -t
  1.6 $X $A a.ts; ffmpeg $P $S -t 1.6 -output_ts_offset 1.68 $X $A b.ts; join ts
PartsOverlap in.ts | pictures=80 sound=0 times=81 unlike=times | ffmpeg $P $S -t 1.6 $X $A a.ts;
  ffmpeg $P $S -t 1.6 -output_ts_offset 1.64 $X $A b.ts; join ts
PictureRateChanges in.ts | pictures=120 sound=3.2 | ffmpeg $P $S -t 1.6 $X $A a.ts; ffmpeg $P $S -r
  50 -fps_mode cfr -t 1.6 -output_ts_offset 1.68 $X $A b.ts; join ts
BitDepthChanges in.ts | pictures=80 sound=3.2 | ffmpeg $P $S -t 1.6 $X $A a.ts; ffmpeg $P $S -t 1.6
  -output_ts_offset 1.68 $X -pix_fmt yuv420p10 $A b.ts; join ts
ChannelsChangeInTransportStream in.ts | like=clean.wav sound=3.2 | ffmpeg $S -t 1.6 -c:a ac3 a.ts;
  ffmpeg $S -t 1.6 -output_ts_offset 1.6 -ac 6 -c:a ac3 b.ts; join ts; ffmpeg -i a.ts -i b.ts
  -filter_complex [1]atrim=start_sample=256,aformat=channel_layouts=stereo[b],[0][b]concat=v=0:a=1
  clean.wav
MirroredAndScaled in.mp4 | like=clean.mp4 pictures=75,64,48 sound=3 looks=hflip options=--size,64x48
  | clean mp4; @mp4-matrix clean.mp4 -1 0 0 1 in.mp4
FragmentedWithEdits in.mp4 | whole | ffmpeg $P $S $X $A -movflags frag_keyframe+delay_moov in.mp4
SmallFragments in.mp4 | pictures=75 sound=0 | ffmpeg $P $S $X $A -movflags
  empty_moov+default_base_moof+dash -frag_duration 200000 in.mp4
QuickTimeWithPcm in.mov | whole | ffmpeg $P $S $X -c:a pcm_s16be in.mov
OpenGroupHevc in.ts | pictures=-1 sound=0 | ffmpeg $P $S -c:v libx265 -preset ultrafast -pix_fmt
  yuv420p -x265-params open-gop=1:keyint=12:min-keyint=12:bframes=2:log-level=error $A whole.ts;
  ffmpeg -ss 1 -i whole.ts -c copy in.ts
FieldsInMpeg2 in.ts | whole looks=bwdif=mode=send_frame:deint=interlaced options=--deinterlace,1 |
  ffmpeg $P $S -c:v mpeg2video -q:v 2 -flags +ildct+ilme -top 1 -c:a mp2 in.ts
GapOf200ms in.mkv | pictures=75 sound=3.2 | clean0 mkv; copy mkv -bsf:a
  setts=ts='PTS+gte(N\,60)*200'
OverlapOf30ms in.mkv | pictures=75 sound=0 | clean0 mkv; copy mkv -bsf:a
  setts=ts='max(PTS-gte(N\,60)*30\,PREV_OUTPTS)'
GapInPcm in.mkv | pictures=75 sound=3.045 | ffmpeg $P $S $X -c:a pcm_s16le clean.mkv; copy mkv
  -bsf:a setts=ts='PTS+gte(N\,60)*45'
LostSoundPackets in.ts | whole | clean ts; copy ts -bsf:a noise=drop='between(n\,60\,62)'
EightPoints in.mkv | pictures=25,8,8 | ffmpeg -f lavfi -i testsrc2=s=8x8:d=1 -c:v ffv1 in.mkv
SixteenByTwoPoints in.mkv | pictures=25,16,2 | ffmpeg -f lavfi -i testsrc2=s=16x2:d=1 -c:v ffv1
  in.mkv
HevcWith10Bits in.mkv | pictures=75 | ffmpeg $P -c:v libx265 -preset ultrafast -x265-params
  log-level=error -pix_fmt yuv420p10 in.mkv
Vp9With10Bits in.webm | pictures=75 | ffmpeg $P -c:v libvpx-vp9 -cpu-used 8 -b:v 1M -pix_fmt
  yuv420p10 in.webm
PlanarRgb in.mkv | pictures=75 | ffmpeg $P -c:v ffv1 -pix_fmt gbrp in.mkv
Transparent in.mkv | pictures=75 | ffmpeg $P -vf format=rgba,colorchannelmixer=aa=0.5 -c:v png
  in.mkv
Gray16 in.mkv | pictures=75 | ffmpeg $P -c:v ffv1 -pix_fmt gray16le in.mkv
BlackAndWhite in.mkv | pictures=75 | ffmpeg $P -c:v rawvideo -pix_fmt monob in.nut; ffmpeg -i in.nut
  -c:v png -pix_fmt monob in.mkv
FullRange in.avi | pictures=75 | ffmpeg $P -c:v mjpeg -q:v 2 -pix_fmt yuvj420p in.avi
OddSize in.mkv | pictures=75 | ffmpeg -f lavfi -i testsrc2=s=97x65:r=25:d=3 -c:v ffv1 in.mkv
OnePictureWebp in.webp | pictures=1 | ffmpeg $P -frames:v 1 -c:v libwebp -q:v 95 in.webp
SixtyThousandPictures in.mp4 | pictures=60000,16,16 | ffmpeg -f lavfi -i
  testsrc2=s=16x16:r=1000:d=60 -c:v libx264 -preset ultrafast in.mp4
Rate11025 in.wav | sound=3,11025 | ffmpeg $S -ar 11025 in.wav
ThreeFronts in.wav | sound=3,48000,3.0 | places 3.0 in.wav 0.4 0.2 0.1
FourPointNought in.wav | sound=3,48000,4.0 | places 4.0 in.wav 0.4 0.2 0.1 0.05
FourPointOne in.wav | sound=3,48000,5.0 | places 4.1 in.wav 0.4 0.2 0.1 bass 0.05
Hexagonal in.wav | sound=3,48000,5.1 | places hexagonal in.wav 0.2 0.1 0.15 0.05 0.08 0.03
FivePointNought in.wav | sound=3,48000,5.0 | places 5.0 in.wav 0.4 0.2 0.1 0.05 0.3
FivePointOneAtTheSides in.flac | sound=3,48000,5.1 | places '5.1(side)' in.flac 0.4 0.2 0.1 bass 0.05
  0.3
SixPointOne in.wav | sound=3,48000,5.1 | places 6.1 in.wav 0.2 0.1 0.15 bass 0.05 0.08 0.03
FloatBeyondFullScale in.wav | sound=3 | ffmpeg $S -af volume=4 -c:a pcm_f32le in.wav
CutMkv in.mkv | pictures=-1 sound=0 damaged=1 | clean0 mkv; @cut clean.mkv 0.6 in.mkv
CutFlv in.flv | pictures=-1 sound=0 damaged=1 | clean flv; @cut clean.flv 0.6 in.flv
CutAac in.aac | sound=0 damaged=0 | ffmpeg $S $A a.aac; @cut a.aac 0.6 in.aac
ManySoundStreams in.mkv | whole | clean0 mkv; ffmpeg -i clean.mkv $O -map 0:v -map 0:a -map 1 -map 1
  -map 1 -c:v copy -c:a aac in.mkv
)table";

std::vector<std::string> split(const std::string& text, char at) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);)
        parts.push_back(part);
    return parts;
}

void setPictures(DifficultFile* file, const std::vector<std::string>& values) {
    file->pictureCount = std::stoi(values[0]);
    file->width = values.size() > 1 ? std::stoi(values[1]) : 96;
    file->height = values.size() > 1 ? std::stoi(values[2]) : 64;
}

void setSound(DifficultFile* file, const std::vector<std::string>& values) {
    file->hasSound = true;
    file->soundSeconds = std::stod(values[0]);
    file->sampleRate = values.size() > 1 ? std::stoi(values[1]) : 48000;
    file->layout = values.size() > 2 ? values[2] : "stereo";
}

// One word of what must come out.
void expect(DifficultFile* file, const std::string& word) {
    const std::string key = word.substr(0, word.find('='));
    const std::string value = key.size() < word.size() ? word.substr(key.size() + 1) : "";
    const std::vector<std::string> values = split(value, ',');
    if (key == "whole" || key == "like") file->reference = value;
    if (key == "whole") setPictures(file, {"75"});
    if (key == "whole") setSound(file, {"3"});
    if (key == "pictures") setPictures(file, values);
    if (key == "sound") setSound(file, values);
    if (key == "looks") file->look = value;
    if (key == "options") file->options = std::regex_replace(value, std::regex(","), " ");
    if (key == "times") file->timeToleranceMs = std::stoi(value);
    if (key == "ends") file->pictureEndSeconds = std::stod(value);
    if (key == "damaged") file->pictureTolerance = std::stoi(value);
    if (key == "refused") file->refusalExit = std::stoi(values[0]);
    if (key == "refused") file->refusalText = values[1];
    if (key == "unlike") file->isUnlikePeer = true;
    const auto known =
            words("whole like pictures sound looks options times ends damaged refused unlike");
    if (std::count(known.begin(), known.end(), key) == 0) abort();
}

std::vector<DifficultFile> parse(const std::string& table) {
    std::vector<DifficultFile> files;
    const std::string rows = std::regex_replace(table, std::regex("\n +"), " ");
    for (const std::string& row : split(rows, '\n')) {
        if (row.empty() || row[0] == '#') continue;
        const size_t expected = row.find('|');
        const size_t recipe = row.find('|', expected + 1);
        DifficultFile file;
        std::istringstream(row) >> file.name >> file.input;
        for (const std::string& word : words(row.substr(expected + 1, recipe - expected - 1)))
            expect(&file, word);
        file.recipe = std::regex_replace(row.substr(recipe + 2), std::regex("; "), "\n");
        files.push_back(file);
    }
    return files;
}

}  // namespace

const std::vector<DifficultFile>& everydayFiles() {
    static const std::vector<DifficultFile> files = parse(kEveryday);
    return files;
}

const std::vector<DifficultFile>& rareFiles() {
    static const std::vector<DifficultFile> files = parse(kRare);
    return files;
}

void PrintTo(const DifficultFile& file, std::ostream* out) {
    *out << file.name << ": " << std::regex_replace(file.recipe, std::regex("\n"), "; ");
}

std::string makeFile(const DifficultFile& file, const std::string& folder) {
    for (const std::string& line : split(file.recipe, '\n')) {
        if (line[0] == '@') {
            editBytes(folder, words(line.substr(1)));
        } else {
            runOrDie({"sh", "-c", kPrologue + ("cd " + folder + "\n") + line});
        }
    }
    return folder + "/" + file.input;
}

}  // namespace oxa::test

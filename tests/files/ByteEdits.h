// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace oxa::test {

// clang-format off
// Makes a file from another by an edit of its bytes, for what the `ffmpeg` command does not write.
// The first word is the edit, the second and the last are the files in `folder`; aborts the test
// program if the edit is not known or finds nothing to change.
//   ts-jump IN PID FROM BY OUT        times of a stream (-1: all and the clocks) from FROM seconds on
//   ts-drop-times IN PID NTH OUT      every n-th packet of a stream loses its times
//   ts-scramble IN PID OUT            a stream is marked as scrambled, and is; ts-mark: it is not
//   ts-together IN IN OUT             packets of two files in turn, as two programmes of one
//   flv-times IN TYPE FROM TO BY OUT  times of tags (8 sound, 9 picture, -1 all), in milliseconds
//   mkv-encrypt IN OUT                the track whose name is "seventeen letters" has a key
//   mp4-matrix IN A B C D OUT         the display matrix of the first track, without its offsets
//   h264-no-rate IN OUT               the sequence parameters of a raw stream of 25 a second lose it
//   cut IN FRACTION OUT               the first part
// clang-format on
void editBytes(const std::string& folder, const std::vector<std::string>& words);

}  // namespace oxa::test

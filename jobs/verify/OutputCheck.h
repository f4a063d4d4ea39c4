// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "verify/MediaSignature.h"

namespace oxa::jobs {

// What is wrong with an output, for people ("picture 17 of 250 is another one"); empty when it has
// the source's pictures at their times, and its sound in its place and to its end, as far as ears
// and eyes tell.
std::string differenceOf(const MediaSignature& source, const MediaSignature& output);

// Whether the first sample of a source gives nothing to be seen or heard, as with a decoder of
// sound that starts with a frame in hand: its clock then begins in front of the output's.
bool beginsLate(const MediaSignature& source);

// A transport stream begins with the first sample that is in it, which need not be the source's,
// nor does any output of a source that begins late: moves the output's clock so that its first
// picture is at the source's time. Moves by a frame of sound or two at most.
void alignToPictures(const MediaSignature& source, MediaSignature* output);

// A reader's clock begins with the first sample that is in a file, so that of a kind alone does not
// tell when the source's began: moves the source's clock to that of the output.
void alignAlone(const MediaSignature& output, MediaSignature* source);

}  // namespace oxa::jobs

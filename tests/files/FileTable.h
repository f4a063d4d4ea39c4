// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <iosfwd>

#include "support/Test.h"

namespace oxa::test {

// One difficult file: how it is made, and what a transcode of it must be.
//
// A recipe is a list of lines: each is a command of the shell in which $P, $S, $X and $A are a
// picture, a sound and their usual encoders and `ffmpeg` replaces its output, or, after `@`, an
// edit of editBytes(). What must come out is told by a file of the recipe, the input itself or one
// whose times and pictures are as those of the input should be understood, as the `ffmpeg` command
// decodes it, and by the numbers that the recipe was made from.
struct DifficultFile {
    std::string name = {};
    std::string input = {};
    std::string recipe = {};
    std::string reference = {};  // empty: the input
    std::string look = {};
    std::string options = {};
    int pictureCount = 0;
    int width = 0;
    int height = 0;
    int pictureTolerance = -1;
    int timeToleranceMs = 1;
    double pictureEndSeconds = 0;
    double leastPsnrDb = 30;
    bool hasSound = false;
    double soundSeconds = 0;
    int sampleRate = 0;
    std::string layout = {};
    int refusalExit = 0;
    std::string refusalText = {};
    bool isUnlikePeer = false;
};
void PrintTo(const DifficultFile& file, std::ostream* out);

// Those that belong to every change, and those that take too long for it or add little.
const std::vector<DifficultFile>& everydayFiles();
const std::vector<DifficultFile>& rareFiles();

// Makes the file in `folder`; returns its path. Aborts the test program if that fails.
std::string makeFile(const DifficultFile& file, const std::string& folder);

}  // namespace oxa::test

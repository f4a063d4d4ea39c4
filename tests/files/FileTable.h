// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace oxa::test {

// One difficult file: how it is made, and what a transcode of it must be.
//
// A recipe is a list of lines: each is a command of the shell in which $P, $S, $X and $A are a
// picture, a sound and their usual encoders and `ffmpeg` replaces its output, or, after `@`, an
// edit of editBytes(). What must come out is told by a file of the recipe, the input itself or one
// whose times and pictures are as those of the input should be understood, as the `ffmpeg` command
// decodes it, and by the numbers that the recipe was made from.
struct DifficultFile {
    DifficultFile(std::string name_, std::string input_, std::string recipe_)
        : name(std::move(name_)), input(std::move(input_)), recipe(std::move(recipe_)) {}

    // ---- What must come out

    DifficultFile& pictures(int count, int width_ = 96, int height_ = 64) {
        pictureCount = count;
        width = width_;
        height = height_;
        return *this;
    }
    // The length within an AAC frame; 0: as the reference's. Channels are told by their places.
    DifficultFile& sound(double seconds, int rate = 48000, const std::string& layout_ = "stereo") {
        hasSound = true;
        soundSeconds = seconds;
        sampleRate = rate;
        layout = layout_;
        return *this;
    }
    // The file of the recipe that says how the input should be understood, and filters that make
    // of its pictures those that must come out.
    DifficultFile& like(const char* file) {
        reference = file;
        return *this;
    }
    // All that $P and $S make.
    DifficultFile& whole(const char* file = "") { return like(file).pictures(75).sound(3); }
    DifficultFile& looks(const char* filters) {
        look = filters;
        return *this;
    }
    // Where the source does not say when a picture is shown: how far from the reference it may be.
    DifficultFile& timesWithin(int ms) {
        timeToleranceMs = ms;
        return *this;
    }
    // Where the last picture ends, in an MP4.
    DifficultFile& pictureEnds(double seconds) {
        pictureEndSeconds = seconds;
        return *this;
    }
    DifficultFile& psnr(double db) {
        leastPsnrDb = db;
        return *this;
    }
    DifficultFile& option(const char* words) {
        options = words;
        return *this;
    }
    // Damage is told, and what is decoded of a damaged packet is a matter of taste.
    DifficultFile& damaged(int pictures) {
        pictureTolerance = pictures;
        return *this;
    }
    // Nothing is written and the reason is told, with this in it.
    DifficultFile& refused(int exit, const char* text) {
        refusalExit = exit;
        refusalText = text;
        return *this;
    }
    // The `ffmpeg` command itself does not make of it what it should be.
    DifficultFile& unlikePeer(const char* why) {
        peerFault = why;
        return *this;
    }

    std::string name;
    std::string input;
    std::string recipe;
    std::string reference;  // empty: the input
    std::string look;
    std::string options;
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
    std::string layout;
    int refusalExit = 0;
    std::string refusalText;
    std::string peerFault;
};

void PrintTo(const DifficultFile& file, std::ostream* out);

// Those that belong to every change, and those that take too long for it or add little.
const std::vector<DifficultFile>& everydayFiles();
const std::vector<DifficultFile>& rareFiles();

// Makes the file in `folder`; returns its path. Aborts the test program if that fails.
std::string makeFile(const DifficultFile& file, const std::string& folder);

}  // namespace oxa::test

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <fstream>

#include "files/FileTable.h"
#include "support/Pictures.h"
#include "support/Sound.h"
#include "support/Test.h"

namespace oxa::test {

// Pictures in a file, one after the other: those of a film need not be in memory.
class PictureFile {
  public:
    PictureFile(const std::string& path, int width, int height) : mStream(path, std::ios::binary) {
        mImage.width = width;
        mImage.height = height;
        size_t size = 0;
        for (int plane = 0; plane < 3; ++plane) {
            mImage.planes[plane].resize(static_cast<size_t>(mImage.planeWidth(plane)) *
                                        mImage.planeHeight(plane));
            size += mImage.planes[plane].size();
        }
        if (size > 0) mCount = static_cast<size_t>(std::max<int64_t>(0, fileSize(path))) / size;
    }

    size_t count() const { return mCount; }
    const Image& next() {
        for (std::vector<uint8_t>& plane : mImage.planes)
            mStream.read(reinterpret_cast<char*>(plane.data()),
                         static_cast<std::streamsize>(plane.size()));
        return mImage;
    }

  private:
    std::ifstream mStream;
    Image mImage;
    size_t mCount = 0;
};

// What the `ffmpeg` command decodes of a file.
struct DecodedFile {
    const std::unique_ptr<TempDir> folder;
    const int width;
    const int height;
    const Sound sound;  // from the file's start, each sample at its time

    PictureFile pictures() const { return PictureFile(folder->file("pictures"), width, height); }
};

// Decodes to the size, the rate and the layout that a file's transcode has, the pictures turned by
// these filters. Sound that is not where the sample before it ended is put to its place, by silence
// or a cut.
DecodedFile decodeByPeer(const DifficultFile& file, const std::string& path,
                         const std::string& look = "");

int channelsOf(const std::string& layout);

}  // namespace oxa::test

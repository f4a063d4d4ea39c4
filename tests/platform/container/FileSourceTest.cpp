// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <datasource/FileSource.h>
#include <fcntl.h>
#include <media/stagefright/MediaErrors.h>
#include <unistd.h>

#include <future>

#include "support/Test.h"

namespace android {
namespace {

using oxa::test::TempDir;

class FileSourceTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(oxa::test::writeFile(mPath, "0123456789")); }

    static std::string read(const sp<DataSource>& source, off64_t offset, size_t size) {
        std::string data(size, '?');
        const ssize_t count = source->readAt(offset, data.data(), size);
        return count < 0 ? "error " + std::to_string(count) : data.substr(0, count);
    }

    TempDir mDir;
    const std::string mPath = mDir.file("digits");
};

TEST_F(FileSourceTest, aPartIsClippedToTheFile) {
    const std::tuple<int64_t, int64_t, std::string> kParts[] = {
            {0, 10, "0123456789"}, {3, 4, "3456"}, {3, INT64_MAX, "3456789"},
            {-5, 2, "01"},         {2, -1, ""},    {20, 5, ""}};
    for (const auto& [offset, length, content] : kParts) {
        const int fd = open(mPath.c_str(), O_RDONLY);
        sp<FileSource> source = new FileSource(fd, offset, length);
        off64_t size = -1;
        EXPECT_EQ(source->getSize(&size), OK);
        EXPECT_EQ(size, static_cast<off64_t>(content.size()));
        EXPECT_EQ(read(source, 0, 100), content);
        EXPECT_EQ(read(source, 99, 4), "");
        EXPECT_STREQ(source->toString().c_str(), mPath.c_str());
        // Nobody who shares the descriptor notices, and it is closed with the source.
        EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 0);
        source.clear();
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    }
}

TEST_F(FileSourceTest, saysWhyNothingCanBeRead) {
    sp<FileSource> negative = new FileSource(-1, 0, 100);
    off64_t size = 0;
    EXPECT_EQ(negative->initCheck(), NO_INIT);
    EXPECT_EQ(negative->getSize(&size), NO_INIT);
    EXPECT_EQ(read(negative, 0, 1), "error " + std::to_string(NO_INIT));
    sp<FileSource> writeOnly = new FileSource(open(mPath.c_str(), O_WRONLY), 0, 10);
    EXPECT_EQ(read(writeOnly, 0, 1), "error " + std::to_string(-EBADF));
    sp<FileSource> shortened = new FileSource(mPath.c_str());
    ASSERT_EQ(truncate(mPath.c_str(), 4), 0);
    errno = EIO;
    EXPECT_EQ(read(shortened, 6, 2), "") << "an end is no error";
}

TEST_F(FileSourceTest, aPipeIsReadFromFrontToBack) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    sp<FileSource> source = new FileSource(ends[0], 0, 0);
    EXPECT_EQ(source->initCheck(), OK);
    off64_t size = 0;
    EXPECT_EQ(source->getSize(&size), ERROR_UNSUPPORTED);
    EXPECT_THAT(source->toString().c_str(), testing::StartsWith("fd "));
    // A reader that is there before the bytes waits for them.
    auto first = std::async(std::launch::async, [&] { return read(source, 0, 3); });
    ASSERT_EQ(write(ends[1], "0123456789", 10), 10);
    EXPECT_EQ(first.get(), "012");
    EXPECT_EQ(read(source, 5, 2), "56") << "steps over what nobody wants";
    EXPECT_EQ(read(source, 0, 1), "error " + std::to_string(-ESPIPE));
    EXPECT_EQ(read(source, 7, 9), "789") << "the refused step changed nothing";
    close(ends[1]);
    EXPECT_EQ(read(source, 10, 1), "");
}

}  // namespace
}  // namespace android

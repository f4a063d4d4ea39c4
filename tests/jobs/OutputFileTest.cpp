// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/OutputFile.h"

#include <android/log.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "oxa/jobs/Cleanup.h"
#include "support/Test.h"

namespace oxa::jobs {
namespace {

using oxa::test::readFile;
using oxa::test::writeFile;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class OutputFileTest : public testing::Test {
  protected:
    std::vector<std::string> names() const { return test::namesIn(mFolder.path()); }
    // Opens and fills an output; what it refuses is a failure of the test.
    void write(OutputFile* output, const std::string& path, bool force, const std::string& text) {
        const auto failure = output->open(path, force, -1);
        ASSERT_FALSE(failure) << failure->text;
        ASSERT_TRUE(writeFully(output->descriptor(), text.data(), text.size()));
    }

    oxa::test::TempDir mFolder;
    const std::string mFinal = mFolder.file("film.mp4");
};

TEST_F(OutputFileTest, takesItsNameOnlyWhenComplete) {
    const mode_t former = umask(027);
    OutputFile output;
    write(&output, mFinal, false, "new");
    umask(former);
    EXPECT_FALSE(std::filesystem::exists(mFinal));
    EXPECT_EQ(output.bytes(), 3);
    EXPECT_FALSE(output.finish());
    EXPECT_THAT(names(), UnorderedElementsAre("film.mp4"));
    EXPECT_EQ(readFile(mFinal), "new");
    struct stat status;
    ASSERT_EQ(stat(mFinal.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
    output.discard();
    EXPECT_EQ(output.currentName(), mFinal) << "what is complete stays";
}

TEST_F(OutputFileTest, inItsPlaceStaysOnlyWhenItIsKept) {
    for (const bool kept : {false, true}) {
        ASSERT_TRUE(writeFile(mFinal, "old"));
        OutputFile output;
        ASSERT_FALSE(output.openInPlace(mFinal, true, -1));
        ASSERT_TRUE(writeFully(output.descriptor(), "new", 3));
        if (kept) output.keep();
        EXPECT_EQ(output.isKept(), kept);
        removeUnfinished();
        EXPECT_EQ(readFile(mFinal), kept ? "new" : "old");
        EXPECT_THAT(names(), UnorderedElementsAre("film.mp4"));
    }
}

using OutputFileDeathTest = OutputFileTest;

TEST_F(OutputFileDeathTest, fatalAssertionLeavesNothingAndBringsAnOldFileBack) {
    const auto fail = [this](auto open) {
        removeUnfinishedAtFatalError();
        OutputFile output;
        (output.*open)(mFinal, true, -1);
        __android_log_assert(nullptr, "test", "broken invariant");
    };
    EXPECT_DEATH(fail(&OutputFile::open), "broken invariant");
    EXPECT_THAT(names(), IsEmpty());
    ASSERT_TRUE(writeFile(mFinal, "old"));
    EXPECT_DEATH(fail(&OutputFile::openInPlace), "broken invariant");
    EXPECT_EQ(readFile(mFinal), "old");
    EXPECT_THAT(names(), UnorderedElementsAre("film.mp4"));
}

TEST_F(OutputFileDeathTest, nothingIsBegunBehindTheLastCleanup) {
    const auto end = [this](auto open) {
        removeUnfinishedForGood();
        OutputFile output;
        _exit((output.*open)(mFinal, false, -1) ? 0 : 1);
    };
    EXPECT_EXIT(end(&OutputFile::open), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(end(&OutputFile::openInPlace), testing::ExitedWithCode(0), "");
    EXPECT_THAT(names(), IsEmpty());
}

// Beside its place and in its place: what a link leads to is replaced, not the link.
TEST_F(OutputFileTest, forceReplacesTheFileBehindALink) {
    const std::string link = mFolder.file("link.mp4");
    std::filesystem::create_symlink(mFinal, link);
    for (const auto open : {&OutputFile::open, &OutputFile::openInPlace}) {
        ASSERT_TRUE(writeFile(mFinal, "old"));
        OutputFile refused;
        EXPECT_TRUE((refused.*open)(link, false, -1));
        for (const bool complete : {false, true}) {
            OutputFile output;
            ASSERT_FALSE((output.*open)(link, true, -1));
            ASSERT_TRUE(writeFully(output.descriptor(), "new", 3));
            if (complete) {
                EXPECT_FALSE(output.finish());
            } else {
                output.discard();
            }
            EXPECT_EQ(readFile(mFinal), complete ? "new" : "old");
            EXPECT_TRUE(std::filesystem::is_symlink(link));
            EXPECT_THAT(names(), UnorderedElementsAre("film.mp4", "link.mp4"));
        }
    }
}

// Two jobs with one output, or a file that someone else creates meanwhile.
TEST_F(OutputFileTest, fileThatAppearedMeanwhileIsNotOverwritten) {
    OutputFile output;
    write(&output, mFinal, false, "ours");
    ASSERT_TRUE(writeFile(mFinal, "theirs"));
    const auto failure = output.finish();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, FailureKind::kOutput);
    EXPECT_THAT(failure->text, testing::HasSubstr(output.currentName()));
    output.discard();
    EXPECT_EQ(readFile(mFinal), "theirs");
    EXPECT_EQ(readFile(output.currentName()), "ours");
}

TEST_F(OutputFileTest, shortenedFileTakesOnlyAFreeName) {
    OutputFile output;
    write(&output, mFinal, false, "short");
    EXPECT_FALSE(output.keepShortened());
    EXPECT_EQ(readFile(mFinal), "short");
    EXPECT_THAT(names(), UnorderedElementsAre("film.mp4"));
    OutputFile other;
    write(&other, mFinal, true, "other");
    EXPECT_FALSE(other.keepShortened());
    other.discard();
    EXPECT_EQ(readFile(mFinal), "short");
    EXPECT_EQ(readFile(other.currentName()), "other");
}

TEST_F(OutputFileTest, namedPipeIsWrittenOnceItHasAReader) {
    const std::string pipe = mFolder.file("pipe.ts");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = readFile(pipe); });
    {
        OutputFile output;
        write(&output, pipe, false, "stream");
        EXPECT_FALSE(output.isSeekable());
        EXPECT_FALSE(output.bytes());
        EXPECT_FALSE(output.finish());
    }
    reader.join();
    EXPECT_EQ(received, "stream");
    EXPECT_THAT(names(), UnorderedElementsAre("pipe.ts"));
}

TEST(TemporaryPattern, keepsFolderAndExtensionAndFits) {
    int suffix = 0;
    EXPECT_EQ(temporaryPattern("a/film.mp4", &suffix), "a/film.part-XXXXXX.mp4");
    EXPECT_EQ(suffix, 4);
    EXPECT_EQ(temporaryPattern("film.mpegfil", &suffix), "film.part-XXXXXX.mpegfil");
    EXPECT_EQ(temporaryPattern("film.mpegfile", &suffix), "film.mpegfile.part-XXXXXX");
    EXPECT_EQ(temporaryPattern("film", &suffix), "film.part-XXXXXX");
    EXPECT_EQ(suffix, 0);
    EXPECT_EQ(temporaryPattern("a.b/.hidden", &suffix), "a.b/.hidden.part-XXXXXX");
    EXPECT_EQ(temporaryPattern(std::string(251, 'x') + ".mp4", &suffix).size(), 255u);
}

}  // namespace
}  // namespace oxa::jobs

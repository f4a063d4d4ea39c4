// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdlib>
#include <filesystem>
#include <set>

#include "files/FileCheck.h"
#include "files/FileTable.h"

namespace oxa::test {
namespace {

class DifficultFileTest : public testing::TestWithParam<DifficultFile> {
  protected:
    void expectNone(const Misses& misses) const {
        for (const std::string& miss : misses)
            ADD_FAILURE() << GetParam().name << ": " << miss;
    }

    const TempDir mFolder;
};

TEST_P(DifficultFileTest, comesOutRight) {
    makeFile(GetParam(), mFolder.path());
    expectNone(missesOf(GetParam(), mFolder.path(), mFolder.file("out.mp4")));
}

INSTANTIATE_TEST_SUITE_P(Everyday, DifficultFileTest, testing::ValuesIn(everydayFiles()),
                         [](const auto& info) { return info.param.name; });
INSTANTIATE_TEST_SUITE_P(Rare, DifficultFileTest, testing::ValuesIn(rareFiles()),
                         [](const auto& info) { return info.param.name; });

class AgainstPeerTest : public DifficultFileTest {};

TEST_P(AgainstPeerTest, isNoWorseThanThePeers) {
    makeFile(GetParam(), mFolder.path());
    const std::string stream = mFolder.file("out.ts");
    expectNone(missesOf(GetParam(), mFolder.path(), stream));
    if (GetParam().refusalExit != 0 || GetParam().isUnlikePeer) return;
    const std::string output = mFolder.file("out.mp4");
    expectNone(missesOf(GetParam(), mFolder.path(), output));
    expectNone(missesAgainstPeer(GetParam(), mFolder.path(), output));
}

INSTANTIATE_TEST_SUITE_P(Everyday, AgainstPeerTest, testing::ValuesIn(everydayFiles()),
                         [](const auto& info) { return info.param.name; });
INSTANTIATE_TEST_SUITE_P(Rare, AgainstPeerTest, testing::ValuesIn(rareFiles()),
                         [](const auto& info) { return info.param.name; });

// ---- Files as they are --------------------------------------------------------------------------

// Those of a size, whose extension is none of a text.
std::vector<std::string> filesIn(const std::string& folder, int64_t from = 0,
                                 int64_t to = INT64_MAX) {
    const std::set<std::string> others = {".md", ".txt", ".json"};
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const bool isMedia = entry.is_regular_file() && others.count(entry.path().extension()) == 0;
        const int64_t size = fileSize(entry.path());
        if (isMedia && size >= from && size < to) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void expectNoMisses(const std::string& path) {
    const TempDir folder;
    for (const std::string& miss : missesOfUnknown(path, folder.path()))
        ADD_FAILURE() << path << ": " << miss;
}

std::string nameOf(const testing::TestParamInfo<std::string>& info) {
    std::string name = std::filesystem::path(info.param).stem();
    std::replace_if(
            name.begin(), name.end(), [](char c) { return !isalnum(c); }, '_');
    return name;
}

class RealFileTest : public testing::TestWithParam<std::string> {};

TEST_P(RealFileTest, isWholeInOrderAndAsGoodAsThePeers) {
    expectNoMisses(GetParam());
}

constexpr int64_t kLarge = 550'000;
INSTANTIATE_TEST_SUITE_P(Media, RealFileTest, testing::ValuesIn(filesIn(mediaPath(""), 0, kLarge)),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Large, RealFileTest, testing::ValuesIn(filesIn(mediaPath(""), kLarge)),
                         nameOf);

// A folder of one's own: OXA_TEST_FILES names it.
TEST(OwnFilesTest, areWholeInOrderAndAsGoodAsThePeers) {
    const char* folder = getenv("OXA_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "OXA_TEST_FILES names no folder";
    for (const std::string& path : filesIn(folder))
        expectNoMisses(path);
}

}  // namespace
}  // namespace oxa::test

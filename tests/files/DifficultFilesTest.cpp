// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/FileCheck.h"
#include "files/FileTable.h"
#include "support/Test.h"

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

}  // namespace
}  // namespace oxa::test

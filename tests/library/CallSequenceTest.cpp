// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Random orders of calls, on a real player over simulated sources, against a model of it.
//   OXA_SEQUENCES=3000       how many, else 60
//   OXA_SEQUENCE_SEED=5      which ones, else others in each run
//   OXA_SEQUENCE_JOB=play-file   only that word of initiate
//   OXA_SEQUENCE="create..." this one alone, as a finding tells it

#include <rapidcheck/gtest.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>

#include "library/SequenceGenerator.h"
#include "library/SequenceProcess.h"
#include "support/Test.h"

namespace oxa::test {

// How RapidCheck prints a counterexample.
void showValue(const Sequence& sequence, std::ostream& out) {
    for (const Call& call : sequence)
        out << "\n    " << textOf(call);
    out << "\nOXA_SEQUENCE=\"" << textOf(sequence) << '"';
}

namespace {

// A folder with a file for each Source.
std::string clips() {
    const std::string folder = TempDir::ofProcess().file("clips");
    std::filesystem::create_directory(folder);
    ClipOptions options;
    options.width = 160;
    options.height = 120;
    options.seconds = 0.4;
    std::filesystem::copy(testClip(options), folder + "/short.mp4");
    options.audio = false;
    std::filesystem::copy(testClip(options), folder + "/silent.mp4");
    options.audio = true;
    options.seconds = 3;
    std::filesystem::copy(testClip(options), folder + "/long.mp4");
    return folder;
}

// What two findings with the same cause have in common: the assertion, or the words.
std::string causeOf(const std::string& finding) {
    const size_t assertion = finding.rfind("CHECK");
    std::string kind = finding.substr(assertion == std::string::npos ? 0 : assertion);
    if (assertion == std::string::npos) kind = kind.substr(0, kind.find(" at "));
    kind.erase(std::remove_if(kind.begin(), kind.end(), isdigit), kind.end());
    return kind;
}

class CallSequenceTest : public testing::Test {
  protected:
    // After the first finding a sequence is one that is to be smaller: it must show the same, and
    // gets more chances, since some things happen only sometimes.
    std::string play(const Sequence& sequence) {
        constexpr int kChances = 4;
        if (mFirst.empty()) {
            mFirst = mProcess.play(sequence);
            ++mPlayed;
            if (!mFirst.empty())
                std::cout << "sequence " << mPlayed << ": " << mFirst << "\n"
                          << textOf(sequence) << std::endl;
            return mFirst;
        }
        for (int i = 0; i < kChances; ++i) {
            const std::string finding = mProcess.play(sequence);
            if (causeOf(finding) == causeOf(mFirst)) return finding;
        }
        return "";
    }

    int mPlayed = 0;  // before any was found

  private:
    SequenceProcess mProcess{clips()};
    std::string mFirst;  // finding
};

TEST_F(CallSequenceTest, noneIsAnsweredWronglyOrLosesAnything) {
    if (const char* given = getenv("OXA_SEQUENCE")) {
        EXPECT_EQ(play(parseSequence(given)), "");
        return;
    }
    const auto begin = std::chrono::steady_clock::now();
    rc::detail::checkGTest([&] {
        const Sequence sequence = *sequences();
        const std::string finding = play(sequence);
        if (!finding.empty()) RC_FAIL(finding);
    });
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::cout << mPlayed << " sequences, " << taken.count() / mPlayed << " s each\n";
}

// Before RapidCheck reads its parameters.
void setParameters() {
    const char* count = getenv("OXA_SEQUENCES");
    const char* given = getenv("OXA_SEQUENCE_SEED");
    const std::string seed = given != nullptr ? given : std::to_string(std::random_device()());
    std::cout << "OXA_SEQUENCE_SEED=" << seed << std::endl;
    const std::string parameters =
            "seed=" + seed + " max_success=" + (count != nullptr ? count : "60");
    setenv("RC_PARAMS", parameters.c_str(), 1);
}

}  // namespace
}  // namespace oxa::test

int main(int argc, char** argv) {
    using oxa::test::SequenceProcess;
    if (SequenceProcess::isChild(argc, argv)) return SequenceProcess::runChild(argv);
    oxa::test::setParameters();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

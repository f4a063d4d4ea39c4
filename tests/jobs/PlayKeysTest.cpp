// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/jobs/Play.h>

#include <future>
#include <random>

#include "jobs/JobKit.h"
#include "support/Sound.h"

namespace oxa::jobs {
namespace {

constexpr int kFrameRate = 10;
constexpr int kSeekPictures = 10 * kFrameRate;

// 22 seconds of pictures of which no two are equal, with sound.
std::string film() {
    test::ClipOptions options;
    options.seconds = 22;
    options.width = 96;
    options.height = 64;
    options.frameRateNum = kFrameRate;
    return test::testClip(options);
}

PlayOptions playInto(const std::string& folder) {
    PlayOptions options;
    options.input = film();
    options.display = {DisplayChoice::Kind::kPng, folder};
    options.sound.kind = SoundChoice::Kind::kNull;
    return options;
}

// The number of each picture of the film, by what is in its file.
std::map<std::string, int> numbersOfPictures() {
    const test::TempDir folder;
    PlayOptions options = playInto(folder.path());
    options.freeRun = true;
    Play(options).run();
    std::map<std::string, int> numbers;
    for (const std::string& name : namesIn(folder.path()))
        numbers.emplace(test::readFile(folder.file(name)), static_cast<int>(numbers.size()));
    return numbers;
}

// Paused, each key shows one picture, and that is the one that was asked for.
TEST(PlayKeys, movePictureByPicture) {
    const std::map<std::string, int> numbers = numbersOfPictures();
    ASSERT_EQ(numbers.size(), 22U * kFrameRate);
    const test::TempDir folder;
    Play play(playInto(folder.path()));
    auto result = std::async(std::launch::async, [&play] { return play.run(); });
    const auto shows = [&](const std::string& end) {
        const auto names = namesIn(folder.path());
        return std::any_of(names.begin(), names.end(), [&end](const std::string& name) {
            return name.size() > end.size() &&
                   name.compare(name.size() - end.size(), end.size(), end) == 0;
        });
    };
    ASSERT_TRUE(test::waitFor([&] { return !namesIn(folder.path()).empty(); }));
    play.press(PlayKey::kForward);
    const size_t before = namesIn(folder.path()).size();
    ASSERT_TRUE(test::waitFor([&] { return namesIn(folder.path()).size() > before + kFrameRate; }))
            << "it does not play on";
    play.press(PlayKey::kBack);
    play.press(PlayKey::kNextPicture);
    // One that begins a run of its own, half a millisecond behind the one before.
    ASSERT_TRUE(test::waitFor([&] { return shows("-0.099500s.png"); }));
    const size_t first = namesIn(folder.path()).size();
    const std::pair<PlayKey, int> kMoves[] = {{PlayKey::kNextPicture, 1},
                                              {PlayKey::kNextPicture, 1},
                                              {PlayKey::kForward, kSeekPictures},
                                              {PlayKey::kNextPicture, 1},
                                              {PlayKey::kBack, -kSeekPictures}};
    size_t shown = first;
    for (const auto& [key, step] : kMoves) {
        play.press(PlayKey::kMute);
        play.press(key);
        ++shown;
        ASSERT_TRUE(test::waitFor([&] { return namesIn(folder.path()).size() == shown; }));
    }
    play.press(PlayKey::kPause);
    ASSERT_TRUE(test::waitFor([&] { return namesIn(folder.path()).size() >= shown + 2; }));
    play.press(PlayKey::kQuit);
    EXPECT_TRUE(result.get().ok());

    const auto names = namesIn(folder.path());
    std::vector<int> order;
    for (const std::string& name : names) {
        const auto number = numbers.find(test::readFile(folder.file(name)));
        ASSERT_NE(number, numbers.end()) << name;
        order.push_back(number->second);
    }
    for (size_t i = 0; i < std::size(kMoves); ++i)
        EXPECT_EQ(order[first + i] - order[first + i - 1], kMoves[i].second) << i;
    EXPECT_EQ(order[shown], order[shown - 1]);
    EXPECT_EQ(order[shown + 1], order[shown] + 1);
}

TEST(PlayKeys, leaveNothingBehind) {
    const auto playWithKeys = [](int keys) {
        PlayOptions options = playInto("");
        options.display.kind = DisplayChoice::Kind::kNull;
        std::mt19937 random(7);
        Play* player = nullptr;
        int left = keys;
        HearingListener listener([&] {
            const auto key = static_cast<PlayKey>(random() % static_cast<int>(PlayKey::kQuit));
            player->press(key);
            // One that pauses is followed by one that goes on: nobody hears from a pause.
            if (key == PlayKey::kPause || key == PlayKey::kNextPicture) {
                player->press(PlayKey::kPause);
            }
            if (--left == 0) player->press(PlayKey::kQuit);
        });
        Play play(options, &listener);
        player = &play;
        return play.run();
    };
    EXPECT_TRUE(playWithKeys(3).ok());  // loads what stays loaded
    const int descriptors = entriesOf("/proc/self/fd");
    const int threads = entriesOf("/proc/self/task");
    EXPECT_TRUE(playWithKeys(60).ok());
    EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
    EXPECT_TRUE(test::waitFor([threads] { return entriesOf("/proc/self/task") <= threads; }));
}

// What is heard is as loud as was asked for, and silent while it is muted.
TEST(PlayKeys, volumeIsWhatIsHeard) {
    const test::TempDir folder;
    int runs = 0;
    const auto loudest = [&](int volume, const std::vector<PlayKey>& keys) {
        PlayOptions options = playInto("");
        options.display.kind = DisplayChoice::Kind::kNull;
        options.part.endUs = 500'000;
        options.volume = volume;
        options.sound = {SoundChoice::Kind::kWav, folder.file(std::to_string(runs++) + ".wav")};
        Play play(options);
        for (const PlayKey key : keys)
            play.press(key);
        EXPECT_TRUE(play.run().ok());
        double loudest = 0;
        for (const float sample : test::decodeSound(options.sound.file).samples)
            loudest = std::max(loudest, static_cast<double>(std::abs(sample)));
        return loudest;
    };
    const double whole = loudest(100, {});
    EXPECT_NEAR(loudest(20, {}), whole / 5, whole / 50);
    EXPECT_NEAR(loudest(40, {PlayKey::kQuieter, PlayKey::kQuieter}), whole / 5, whole / 50);
    EXPECT_NEAR(loudest(0, {PlayKey::kQuieter, PlayKey::kLouder}), whole / 10, whole / 50);
    EXPECT_EQ(loudest(100, {PlayKey::kMute}), 0);
    EXPECT_NEAR(loudest(90, {PlayKey::kMute, PlayKey::kLouder, PlayKey::kLouder, PlayKey::kMute}),
                whole, whole / 50);
}

}  // namespace
}  // namespace oxa::jobs

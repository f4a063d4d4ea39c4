// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <camera/CameraParameters.h>
#include <gtest/gtest.h>

namespace oxa::test {
namespace {

using namespace android;

TEST(CameraParameters, KeepTheirTextForm) {
    CameraParameters params(String8("zoom=3;preview-size=640x480;empty=;nonsense"));
    EXPECT_STREQ("empty=;preview-size=640x480;zoom=3", params.flatten().string());
    EXPECT_EQ(nullptr, params.get("empty"));
    EXPECT_EQ(nullptr, params.get("nonsense"));
    EXPECT_EQ(3, params.getInt("zoom"));
    EXPECT_EQ(-1, params.getInt("absent"));

    params.set("zoom", "0x10");
    EXPECT_EQ(16, params.getInt("zoom"));
    params.set("zoom", "a;b");
    params.set("zo=om", "1");
    EXPECT_STREQ("0x10", params.get("zoom")) << "a separator in a value would make another key";
    params.remove("zoom");
    params.remove("empty");
    params.setPreviewSize(1280, 720);
    params.setPreviewFrameRate(30);
    EXPECT_STREQ("preview-frame-rate=30;preview-size=1280x720", params.flatten().string());

    const CameraParameters copy = params;
    params.unflatten(String8("no pairs here"));
    EXPECT_STREQ("", params.flatten().string());
    EXPECT_EQ(30, copy.getPreviewFrameRate());
}

TEST(CameraParameters, ParseListsUpToWhatIsNoSize) {
    const struct {
        const char* list;
        size_t count;
    } cases[] = {
            {"640x480,1280x720,1920x1080", 3},
            {"640x480", 1},
            {"640x480,1280*720,1920x1080", 1},
            {"640x480;", 1},
            {"x480", 0},
            {"640x", 0},
    };
    for (const auto& c : cases) {
        CameraParameters params(String8::format("video-size-values=%s", c.list));
        Vector<Size> sizes;
        sizes.push(Size(1, 1));
        params.getSupportedVideoSizes(sizes);
        ASSERT_EQ(1 + c.count, sizes.size()) << c.list;
        EXPECT_EQ(c.count > 0 ? 480 : 1, sizes[sizes.size() > 1 ? 1 : 0].height);
    }
    Size size;
    CameraParameters().getPreviewSize(&size.width, &size.height);
    EXPECT_EQ(-1, size.width);
    EXPECT_EQ(-1, size.height);
}

}  // namespace
}  // namespace oxa::test

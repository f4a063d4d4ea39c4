// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/graphics/TestPictures.h"

namespace oxa::test {

// What a window shows.
struct Screenshot {
    int width = 0;
    int height = 0;
    std::string pixels;  // RGB

    // All -1 outside.
    Rgb at(int x, int y) const;
};

// An X server without a screen (Xvfb) on a free display, with a window manager if one is installed.
// While it lives, this process's DISPLAY names it.
class XServer {
  public:
    static constexpr int kWidth = 1024;
    static constexpr int kHeight = 768;

    XServer();
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    // Empty, or what is missing.
    const std::string& error() const { return mError; }
    bool hasWindowManager() const { return mManager > 0; }

    // Whether a program is installed.
    static bool has(const std::string& program);
    // Runs xdotool with these arguments; its output, without the newline.
    std::string command(std::vector<std::string> arguments) const;
    // The X window with this title; empty when none appears.
    std::string findWindow(const std::string& title) const;
    // Empty while the window is being changed.
    Screenshot grab(const std::string& window) const;

  private:
    bool startServer();
    void startManager();
    static pid_t spawn(const std::vector<std::string>& command, int inheritedFd);
    static void end(pid_t process);

    std::string mError;
    std::string mDisplay;
    pid_t mServer = -1;
    pid_t mManager = -1;
};

}  // namespace oxa::test

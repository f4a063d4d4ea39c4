// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SdlDisplayThread"

#include "modules/sdl/SdlDisplayThread.h"

#include <SDL.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "modules/sdl/SdlLog.h"
#include "modules/sdl/SdlSubsystemLock.h"

namespace android {

namespace {

// How late a key or a new window size may be seen. SDL's own wait for events could be ended by an
// event only, and to send one from a codec's thread means to talk to the X server there.
constexpr std::chrono::milliseconds kPollInterval(10);

AnnotatedMutex gUsersLock;  // held while the thread starts and ends, so that there is one
size_t gUserCount GUARDED_BY(gUsersLock) = 0;
SdlDisplayThread* gThread GUARDED_BY(gUsersLock) = nullptr;

bool isSet(const char* variable) {
    const char* value = getenv(variable);
    return value != nullptr && *value != '\0';
}

}  // namespace

SdlDisplayThread::User::User() {
    AnnotatedLock lock(gUsersLock);
    if (gUserCount++ == 0) gThread = new SdlDisplayThread;
    mThread = gThread;
}

SdlDisplayThread::User::~User() {
    AnnotatedLock lock(gUsersLock);
    if (--gUserCount > 0) return;
    delete gThread;
    gThread = nullptr;
}

SdlDisplayThread::SdlDisplayThread() : mThread([this] { run(); }) {}

SdlDisplayThread::~SdlDisplayThread() {
    {
        AnnotatedLock lock(mLock);
        mStopping = true;
        mWake.notify_one();
    }
    mThread.join();
}

std::string SdlDisplayThread::error() {
    AnnotatedLock lock(mLock);
    mChanged.wait(mLock, [this]() REQUIRES(mLock) { return mTried; });
    return mError;
}

void SdlDisplayThread::add(Window* window) {
    AnnotatedLock lock(mLock);
    mAdded.push_back(window);
    mWake.notify_one();
}

void SdlDisplayThread::remove(Window* window) {
    AnnotatedLock lock(mLock);
    mRemoved.push_back(window);
    mWake.notify_one();
    mChanged.wait(mLock, [&]() REQUIRES(mLock) {
        return std::find(mRemoved.begin(), mRemoved.end(), window) == mRemoved.end();
    });
}

void SdlDisplayThread::wake() {
    AnnotatedLock lock(mLock);
    mWoken = true;
    mWake.notify_one();
}

// ---- The display thread

void SdlDisplayThread::run() {
    prctl(PR_SET_NAME, "SdlDisplay");
    const std::string error = startVideo();
    AnnotatedLock lock(mLock);
    mError = error;
    mTried = true;
    mChanged.notify_all();
    while (!mStopping) {
        mWoken = false;
        mWindows.insert(mWindows.end(), mAdded.begin(), mAdded.end());
        mAdded.clear();
        const std::vector<Window*> removed = mRemoved;
        for (Window* window : removed)
            mWindows.erase(std::remove(mWindows.begin(), mWindows.end(), window), mWindows.end());
        lock.unlock();

        for (Window* window : removed)
            window->onRemoved();
        if (!mWindows.empty()) takeEvents();
        for (Window* window : mWindows)
            window->onTurn();

        lock.lock();
        mRemoved.erase(mRemoved.begin(), mRemoved.begin() + static_cast<ptrdiff_t>(removed.size()));
        if (!removed.empty()) mChanged.notify_all();
        const auto hasWork = [this]() REQUIRES(mLock) {
            return mWoken || mStopping || !mAdded.empty() || !mRemoved.empty();
        };
        if (mWindows.empty()) {
            mWake.wait(mLock, hasWork);
        } else {
            mWake.wait_for(mLock, kPollInterval, hasWork);
        }
    }
    lock.unlock();
    if (!error.empty()) return;
    AnnotatedLock subsystemLock(sdlSubsystemLock());
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

std::string SdlDisplayThread::startVideo() {
    if (!isSet("SDL_VIDEODRIVER")) {
        if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) {
            return "neither DISPLAY nor WAYLAND_DISPLAY is set";
        }
        // Never the drivers that would take the whole console.
        SDL_SetHint(SDL_HINT_VIDEODRIVER, isSet("DISPLAY") ? "x11,wayland" : "wayland");
    }
    routeSdlLog();
    // Signals are the program's matter.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_QUIT_ON_LAST_WINDOW_CLOSE, "0");
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    AnnotatedLock lock(sdlSubsystemLock());
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
        return std::string("SDL cannot open the screen: ") + SDL_GetError();
    }
    // Keys are commands here; an input method would swallow them.
    SDL_StopTextInput();
    return "";
}

void SdlDisplayThread::takeEvents() {
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
        for (Window* window : mWindows)
            window->onEvent(event);
    }
}

}  // namespace android

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <SDL_events.h>

#include <string>
#include <thread>
#include <vector>

#include "base/AnnotatedMutex.h"

namespace android {

// The one thread of the process that uses SDL's video: it starts the subsystem, and in turns it
// takes SDL's events and lets each window do its work. It lives while somebody uses it.
class SdlDisplayThread {
  public:
    // All calls on the display thread; they must not wait for anything but the screen.
    class Window {
      public:
        virtual ~Window() = default;
        // After wake(), and every few milliseconds.
        virtual void onTurn() = 0;
        virtual void onEvent(const SDL_Event& event) = 0;
        // The last call: frees all that is SDL's.
        virtual void onRemoved() = 0;
    };

    // Holds the thread: the first one starts it, the last one ends it and waits for its end.
    class User {
      public:
        User();
        ~User();
        User(const User&) = delete;
        User& operator=(const User&) = delete;

        SdlDisplayThread* operator->() const { return mThread; }

      private:
        SdlDisplayThread* mThread;
    };

    // Why SDL cannot show anything, in one line; empty when it can. Waits until it has tried.
    std::string error();

    void add(Window* window);
    // The window is not called any more when this returns. Not to be called on the display thread.
    void remove(Window* window);
    // One of the windows has something to do. Does not wait.
    void wake();

  private:
    SdlDisplayThread();
    ~SdlDisplayThread();

    void run();
    std::string startVideo();
    void takeEvents();

    AnnotatedMutex mLock;
    AnnotatedCondition mWake;     // the display thread waits for it
    AnnotatedCondition mChanged;  // others wait for the display thread
    bool mTried GUARDED_BY(mLock) = false;
    std::string mError GUARDED_BY(mLock);
    std::vector<Window*> mAdded GUARDED_BY(mLock);
    std::vector<Window*> mRemoved GUARDED_BY(mLock);
    bool mWoken GUARDED_BY(mLock) = false;
    bool mStopping GUARDED_BY(mLock) = false;

    std::vector<Window*> mWindows;  // the display thread's
    std::thread mThread;
};

}  // namespace android

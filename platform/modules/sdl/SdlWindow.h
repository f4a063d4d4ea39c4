// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <SDL_events.h>
#include <SDL_render.h>
#include <oxa/host/Display.h>

#include <memory>
#include <optional>
#include <string>

#include "display/DisplayInput.h"
#include "display/PictureConverter.h"

namespace android {

// One window on the screen with the picture that was shown last. Bound to the display thread.
class SdlWindow {
  public:
    // What the user wants that is not the window's own matter.
    using Request = std::optional<oxa::host::DisplayEvent>;

    // Opens it as large as the picture, or as the screen allows. Null with the reason in `error`
    // when that fails.
    static std::unique_ptr<SdlWindow> open(const std::string& title, bool fullScreen,
                                           const IntakePicture& first, std::string* error);
    ~SdlWindow();
    SdlWindow(const SdlWindow&) = delete;
    SdlWindow& operator=(const SdlWindow&) = delete;

    // Uploads the picture, which is not needed any more when this returns, and presents it.
    bool show(const IntakePicture& picture, std::string* error);

    // Does what an event asks of this window; what is the program's matter is answered.
    Request handleEvent(const SDL_Event& event);
    void toggleFullScreen() { setFullScreen(!mFullScreen); }

  private:
    SdlWindow() = default;

    bool prepareTexture(uint32_t format, int32_t width, int32_t height,
                        SDL_YUV_CONVERSION_MODE colours);
    bool upload(const PicturePlanes& planes);
    bool redraw();
    Request handleKey(SDL_Keycode key);
    void setFullScreen(bool fullScreen);

    SDL_Window* mWindow = nullptr;
    SDL_Renderer* mRenderer = nullptr;
    SDL_Texture* mTexture = nullptr;
    uint32_t mTextureFormat = 0;
    int32_t mTextureWidth = 0;
    int32_t mTextureHeight = 0;
    SDL_YUV_CONVERSION_MODE mColours = SDL_YUV_CONVERSION_AUTOMATIC;
    bool mUpsideDown = false;  // the texture's rows are in reverse order
    // The shape of the whole picture.
    int64_t mAspectWidth = 1;
    int64_t mAspectHeight = 1;
    bool mFullScreen = false;
    std::unique_ptr<PictureConverter> mConverter;  // made when a picture needs it
};

}  // namespace android

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "SdlWindow"

#include "modules/sdl/SdlWindow.h"

#include <SDL.h>

#include <algorithm>
#include <cstdlib>
#include <map>

namespace android {

namespace {

// ITU-T H.273
constexpr int kRangeFull = 2;
constexpr int kMatrixBt709 = 1;
constexpr int kMatrixUnknown = 2;
constexpr int kMatrixFcc = 4;
constexpr int kMatrixSmpte240m = 7;
constexpr int kMatrixBt2020 = 9;
constexpr int kMatrixBt2020Constant = 10;
// Pictures that do not tell are taken as what is usual for their size.
constexpr int32_t kTallestStandardPicture = 576;
// Of the screen, for the first size of a window: its frame needs room, too.
constexpr int kLargestPercent = 90;

uint32_t textureFormatOf(PicturePlanes::Layout layout) {
    switch (layout) {
        case PicturePlanes::Layout::kI420:
            return SDL_PIXELFORMAT_IYUV;
        case PicturePlanes::Layout::kNv12:
            return SDL_PIXELFORMAT_NV12;
        case PicturePlanes::Layout::kYuyv:
            return SDL_PIXELFORMAT_YUY2;
        case PicturePlanes::Layout::kUyvy:
            return SDL_PIXELFORMAT_UYVY;
        case PicturePlanes::Layout::kRgb24:
            return SDL_PIXELFORMAT_RGB24;
        case PicturePlanes::Layout::kBgr24:
            return SDL_PIXELFORMAT_BGR24;
        case PicturePlanes::Layout::kBgrx:
            return SDL_PIXELFORMAT_XRGB8888;
        case PicturePlanes::Layout::kRgbx:
            return SDL_PIXELFORMAT_XBGR8888;
        case PicturePlanes::Layout::kOther:
            break;
    }
    return SDL_PIXELFORMAT_UNKNOWN;
}

bool isRgb(PicturePlanes::Layout layout) {
    using Layout = PicturePlanes::Layout;
    return layout == Layout::kRgb24 || layout == Layout::kBgr24 || layout == Layout::kBgrx ||
           layout == Layout::kRgbx;
}

bool isBt709(const PictureFormat& format, int32_t height) {
    if (format.matrix == kMatrixUnknown) return height > kTallestStandardPicture;
    return format.matrix == kMatrixBt709;
}

// FCC, SMPTE 240M and BT.2020.
bool isRareMatrix(int32_t matrix) {
    return matrix == kMatrixFcc || matrix == kMatrixSmpte240m || matrix == kMatrixBt2020 ||
           matrix == kMatrixBt2020Constant;
}

// SDL knows three sets of colours: what is none of these (full range of BT.709) is converted.
bool needsConversion(PicturePlanes::Layout layout, const PictureFormat& format, int32_t height) {
    if (layout == PicturePlanes::Layout::kOther) return true;
    if (isRgb(layout)) return false;
    return isRareMatrix(format.matrix) || (format.range == kRangeFull && isBt709(format, height));
}

SDL_YUV_CONVERSION_MODE coloursOf(const PictureFormat& format, int32_t height) {
    if (format.range == kRangeFull) return SDL_YUV_CONVERSION_JPEG;
    return isBt709(format, height) ? SDL_YUV_CONVERSION_BT709 : SDL_YUV_CONVERSION_BT601;
}

// The largest rectangle of a shape inside an area, in its middle.
SDL_Rect fit(int64_t aspectWidth, int64_t aspectHeight, int areaWidth, int areaHeight) {
    SDL_Rect rect = {0, 0, areaWidth, areaHeight};
    if (aspectWidth * areaHeight > aspectHeight * areaWidth) {
        rect.h = std::max(1, static_cast<int>(areaWidth * aspectHeight / aspectWidth));
    } else {
        rect.w = std::max(1, static_cast<int>(areaHeight * aspectWidth / aspectHeight));
    }
    rect.x = (areaWidth - rect.w) / 2;
    rect.y = (areaHeight - rect.h) / 2;
    return rect;
}

// The shape of a picture: its size with square samples, of which neither side is made smaller.
void shapeOf(const IntakePicture& picture, int64_t* width, int64_t* height) {
    const PictureFormat& format = picture.format;
    const bool known = format.aspectNumerator > 0 && format.aspectDenominator > 0;
    const int64_t numerator = known ? format.aspectNumerator : 1;
    const int64_t denominator = known ? format.aspectDenominator : 1;
    *width = picture.picture->width();
    *height = picture.picture->height();
    if (numerator > denominator) *width = *width * numerator / denominator;
    if (numerator < denominator) *height = *height * denominator / numerator;
}

}  // namespace

std::unique_ptr<SdlWindow> SdlWindow::open(const std::string& title, bool fullScreen,
                                           const IntakePicture& first, std::string* error) {
    int64_t width;
    int64_t height;
    shapeOf(first, &width, &height);
    SDL_Rect screen;
    if (SDL_GetDisplayUsableBounds(0, &screen) == 0) {
        const int largestWidth = screen.w * kLargestPercent / 100;
        const int largestHeight = screen.h * kLargestPercent / 100;
        if (width > largestWidth || height > largestHeight) {
            const SDL_Rect largest = fit(width, height, largestWidth, largestHeight);
            width = largest.w;
            height = largest.h;
        }
    }
    std::unique_ptr<SdlWindow> window(new SdlWindow);
    window->mWindow = SDL_CreateWindow(
            title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, static_cast<int>(width),
            static_cast<int>(height), SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
    if (window->mWindow != nullptr) {
        // Without a wait for the screen's refresh: several windows share this thread.
        window->mRenderer = SDL_CreateRenderer(window->mWindow, -1, 0);
        if (window->mRenderer == nullptr) {
            window->mRenderer = SDL_CreateRenderer(window->mWindow, -1, SDL_RENDERER_SOFTWARE);
        }
    }
    if (window->mRenderer == nullptr) {
        *error = std::string("no window: ") + SDL_GetError();
        return nullptr;
    }
    if (fullScreen) window->setFullScreen(true);
    return window;
}

SdlWindow::~SdlWindow() {
    if (mTexture != nullptr) SDL_DestroyTexture(mTexture);
    if (mRenderer != nullptr) SDL_DestroyRenderer(mRenderer);
    if (mWindow != nullptr) SDL_DestroyWindow(mWindow);
}

bool SdlWindow::show(const IntakePicture& picture, std::string* error) {
    sp<Picture> shown = picture.picture;
    PictureFormat format = picture.format;
    PicturePlanes planes = shown->planes();
    if (needsConversion(planes.layout, format, shown->height())) {
        if (mConverter == nullptr) mConverter = PictureConverter::create();
        shown = mConverter->toPlanar(shown, &format);
        if (shown == nullptr) {
            *error = "pictures of a format that cannot be converted";
            return false;
        }
        planes = shown->planes();
    }
    const SDL_YUV_CONVERSION_MODE colours = coloursOf(format, shown->height());
    shapeOf(picture, &mAspectWidth, &mAspectHeight);
    if (prepareTexture(textureFormatOf(planes.layout), shown->width(), shown->height(), colours) &&
        upload(planes) && redraw()) {
        return true;
    }
    *error = SDL_GetError();
    return false;
}

bool SdlWindow::upload(const PicturePlanes& planes) {
    const uint8_t* data[PicturePlanes::kMaxPlanes] = {};
    int stride[PicturePlanes::kMaxPlanes] = {};
    // A mirrored picture is stored from its last row on and turned when it is drawn.
    mUpsideDown = planes.planes[0].stride < 0;
    for (size_t i = 0; i < planes.count; ++i) {
        const PicturePlanes::Plane& plane = planes.planes[i];
        data[i] = mUpsideDown ? plane.data + (plane.rows - 1) * plane.stride : plane.data;
        stride[i] = static_cast<int>(std::abs(plane.stride));
    }
    switch (planes.layout) {
        case PicturePlanes::Layout::kI420:
            return SDL_UpdateYUVTexture(mTexture, nullptr, data[0], stride[0], data[1], stride[1],
                                        data[2], stride[2]) == 0;
        case PicturePlanes::Layout::kNv12:
            return SDL_UpdateNVTexture(mTexture, nullptr, data[0], stride[0], data[1], stride[1]) ==
                   0;
        default:
            return SDL_UpdateTexture(mTexture, nullptr, data[0], stride[0]) == 0;
    }
}

bool SdlWindow::prepareTexture(uint32_t format, int32_t width, int32_t height,
                               SDL_YUV_CONVERSION_MODE colours) {
    // The mode is one for all windows. Some renderers look at it when they make a texture, others
    // when they take its samples or draw it: it is set before all of these.
    SDL_SetYUVConversionMode(colours);
    if (mTexture != nullptr && mTextureFormat == format && mTextureWidth == width &&
        mTextureHeight == height && mColours == colours) {
        return true;
    }
    if (mTexture != nullptr) SDL_DestroyTexture(mTexture);
    mTexture = SDL_CreateTexture(mRenderer, format, SDL_TEXTUREACCESS_STREAMING, width, height);
    mTextureFormat = format;
    mTextureWidth = width;
    mTextureHeight = height;
    mColours = colours;
    return mTexture != nullptr;
}

bool SdlWindow::redraw() {
    int areaWidth = 0;
    int areaHeight = 0;
    if (SDL_GetRendererOutputSize(mRenderer, &areaWidth, &areaHeight) != 0) return false;
    const SDL_Rect place = fit(mAspectWidth, mAspectHeight, areaWidth, areaHeight);
    SDL_SetYUVConversionMode(mColours);
    SDL_SetRenderDrawColor(mRenderer, 0, 0, 0, SDL_ALPHA_OPAQUE);
    if (SDL_RenderClear(mRenderer) != 0) return false;
    if (mTexture != nullptr &&
        SDL_RenderCopyEx(mRenderer, mTexture, nullptr, &place, 0, nullptr,
                         mUpsideDown ? SDL_FLIP_VERTICAL : SDL_FLIP_NONE) != 0) {
        return false;
    }
    SDL_RenderPresent(mRenderer);
    return true;
}

SdlWindow::Request SdlWindow::handleEvent(const SDL_Event& event) {
    const uint32_t id = SDL_GetWindowID(mWindow);
    if (event.type == SDL_KEYDOWN && event.key.windowID == id && event.key.repeat == 0) {
        return handleKey(event.key.keysym.sym);
    }
    if (event.type != SDL_WINDOWEVENT || event.window.windowID != id) return std::nullopt;
    switch (event.window.event) {
        case SDL_WINDOWEVENT_CLOSE:
            return oxa::host::DisplayEvent::kClosed;
        case SDL_WINDOWEVENT_EXPOSED:
        case SDL_WINDOWEVENT_SIZE_CHANGED:
            redraw();
            break;
        default:
            break;
    }
    return std::nullopt;
}

SdlWindow::Request SdlWindow::handleKey(SDL_Keycode key) {
    using oxa::host::DisplayEvent;
    static const std::map<SDL_Keycode, DisplayEvent> kKeys = {
            {SDLK_q, DisplayEvent::kQuitKey},    {SDLK_SPACE, DisplayEvent::kPauseKey},
            {SDLK_LEFT, DisplayEvent::kBackKey}, {SDLK_RIGHT, DisplayEvent::kForwardKey},
            {SDLK_UP, DisplayEvent::kLouderKey}, {SDLK_DOWN, DisplayEvent::kQuieterKey},
            {SDLK_m, DisplayEvent::kMuteKey},    {SDLK_PERIOD, DisplayEvent::kNextPictureKey},
            {SDLK_r, DisplayEvent::kRecordKey}};
    switch (key) {
        case SDLK_f:
            toggleFullScreen();
            break;
        case SDLK_ESCAPE:
            if (mFullScreen) setFullScreen(false);
            break;
        default:
            break;
    }
    const auto command = kKeys.find(key);
    return command != kKeys.end() ? Request(command->second) : std::nullopt;
}

void SdlWindow::setFullScreen(bool fullScreen) {
    // The screen keeps its mode; the window is made as large.
    if (SDL_SetWindowFullscreen(mWindow, fullScreen ? SDL_WINDOW_FULLSCREEN_DESKTOP : 0) == 0) {
        mFullScreen = fullScreen;
    }
}

}  // namespace android

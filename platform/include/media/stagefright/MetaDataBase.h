// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>
#include <utils/String8.h>

#include <map>
#include <string>

namespace android {

// Keys of tracks and buffers; int32 where no type is given.
enum {
    kKeyMIMEType = 'mime',  // cstring
    kKeyWidth = 'widt',
    kKeyHeight = 'heig',
    kKeyDisplayWidth = 'dWid',
    kKeyDisplayHeight = 'dHgt',
    kKeySARWidth = 'sarW',
    kKeySARHeight = 'sarH',
    kKeyCropRect = 'crop',  // rect
    kKeyRotation = 'rotA',  // degrees, clockwise
    kKeyIFramesInterval = 'ifiv',
    kKeyStride = 'strd',
    kKeySliceHeight = 'slht',
    kKeyChannelCount = '#chn',
    kKeyChannelMask = 'chnm',
    kKeySampleRate = 'srte',
    kKeyPcmEncoding = 'PCMe',
    kKeyBitsPerSample = 'bits',
    kKeyFrameRate = 'frmR',
    kKeyBitRate = 'brte',
    kKeyMaxBitRate = 'mxBr',
    kKeyCaptureFramerate = 'capF',  // float
    kKeyVideoProfile = 'vprf',
    kKeyVideoLevel = 'vlev',
    kKeyMaxWidth = 'maxW',
    kKeyMaxHeight = 'maxH',
    // As the stream's own coding numbers them.
    kKeyColorRange = 'cRng',
    kKeyColorPrimaries = 'cPrm',
    kKeyTransferFunction = 'tFcn',
    kKeyColorMatrix = 'cMtx',
    kKeyEncoderDelay = 'encd',
    kKeyEncoderPadding = 'encp',
    kKeyESDS = 'esds',  // data
    kKeyAACProfile = 'aacp',
    kKeyAACAOT = 'aaot',
    kKeyIsADTS = 'adts',
    kKeyAVCC = 'avcc',             // data
    kKeyHVCC = 'hvcc',             // data
    kKeyAV1C = 'av1c',             // data
    kKeyD263 = 'd263',             // data
    kKeyVorbisInfo = 'vinf',       // data
    kKeyVorbisBooks = 'vboo',      // data
    kKeyOpusHeader = 'ohdr',       // data
    kKeyOpusCodecDelay = 'ocod',   // data
    kKeyOpusSeekPreRoll = 'ospr',  // data
    kKeyVp9CodecPrivate = 'vp9p',  // data
    kKeyMediaLanguage = 'lang',    // cstring
    kKeyIsSyncFrame = 'sync',
    kKeyIsCodecConfig = 'conf',
    kKeyIsMuxerData = 'muxd',
    kKeyIsEndOfStream = 'feos',
    kKeyTime = 'time',          // int64, microseconds
    kKeyDecodingTime = 'decT',  // int64, microseconds
    kKeyTargetTime = 'tarT',    // int64, microseconds
    kKeyDriftTime = 'dftT',     // int64, microseconds
    kKeyDuration = 'dura',      // int64, microseconds
    kKeyPixelFormat = 'pixf',
    kKeyColorFormat = 'colf',
    kKeyColorSpace = 'cols',
    kKeyPlatformPrivate = 'priv',
    kKeyMaxInputSize = 'inpS',
    kKeyTrackID = 'trID',
    kKeyRealTimeRecording = 'rtrc',
    kKeyNumBuffers = 'nbbf',
    kKeyFileType = 'ftyp',
    kKeyTimeScale = 'tmsl',
    kKey2ByteNalLength = '2NAL',
    kKeyTrackTimeStatus = 'tktm',  // int64
    kKey4BitTrackIds = '4bid',
    kKeyEmptyTrackMalFormed = 'nemt',
    kKeyOpaqueCSD0 = 'csd0',  // data
    kKeyOpaqueCSD1 = 'csd1',  // data
    kKeyOpaqueCSD2 = 'csd2',  // data
};

// Types of data items.
enum {
    kTypeESDS = 'esds',
    kTypeAVCC = 'avcc',
    kTypeHVCC = 'hvcc',
    kTypeD263 = 'd263',
};

// Items under numeric keys, with value semantics. Not locked.
class MetaDataBase {
  public:
    enum Type : uint32_t {
        TYPE_NONE = 'none',
        TYPE_C_STRING = 'cstr',
        TYPE_INT32 = 'in32',
        TYPE_INT64 = 'in64',
        TYPE_FLOAT = 'floa',
        TYPE_POINTER = 'ptr ',
        TYPE_RECT = 'rect',
    };

    MetaDataBase() = default;
    MetaDataBase(const MetaDataBase& from) = default;
    MetaDataBase& operator=(const MetaDataBase& from) = default;
    virtual ~MetaDataBase() = default;

    void clear() { mItems.clear(); }
    bool remove(uint32_t key) { return mItems.erase(key) > 0; }
    bool hasData(uint32_t key) const { return mItems.count(key) > 0; }

    // A key has one item; true when it replaced another one. Values are copied, a pointer's target
    // is not.
    bool setCString(uint32_t key, const char* value);
    bool setInt32(uint32_t key, int32_t value);
    bool setInt64(uint32_t key, int64_t value);
    bool setFloat(uint32_t key, float value);
    bool setPointer(uint32_t key, void* value);
    bool setRect(uint32_t key, int32_t left, int32_t top, int32_t right, int32_t bottom);
    bool setData(uint32_t key, uint32_t type, const void* data, size_t size);

    // False, and the result untouched, unless there is an item of exactly that type. What a result
    // points to belongs to the item.
    bool findCString(uint32_t key, const char** value) const;
    bool findInt32(uint32_t key, int32_t* value) const;
    bool findInt64(uint32_t key, int64_t* value) const;
    bool findFloat(uint32_t key, float* value) const;
    bool findPointer(uint32_t key, void** value) const;
    bool findRect(uint32_t key, int32_t* left, int32_t* top, int32_t* right, int32_t* bottom) const;
    // Any type.
    bool findData(uint32_t key, uint32_t* type, const void** data, size_t* size) const;

    // For people and field tools: the items from the highest key on, one behind the other, or each
    // as a line of the log.
    String8 toString() const;
    void dumpToLog() const;

  private:
    struct Item {
        uint32_t type;
        std::string bytes;
    };

    String8 itemText(const Item& item) const;
    template <typename T>
    bool setValue(uint32_t key, uint32_t type, const T& value);
    template <typename T>
    bool findValue(uint32_t key, uint32_t type, T* value) const;

    std::map<uint32_t, Item> mItems;
};

}  // namespace android

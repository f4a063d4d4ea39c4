// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// What goes wrong below the program: the environment variable OXA_FAULT is "name" or "name@number".
//   read-error@BYTE           what lies behind that byte of an input cannot be read
//   read-hangs@BYTE           the disk does not answer who reads behind that byte
//   short-reads               an input gives little at a time
//   write-error@BYTE          an output cannot be written behind that byte
//   disk-full@BYTE            the same, for want of room
//   short-writes              an output takes little at a time
//   slow-writes@MICROSECONDS  each write takes so long
//   sync-error@N              at the end what was written does not reach the disk, as the Nth call
//                             tells that asks for it; 0: each
//   early-sync-error          the same, while it is still being written
//   power-failure             what an output has on the disk is kept beside it, as NAME.synced once
//                             the disk has its name
//   encoder-error@N           the picture's encoder fails instead of its Nth result; 0: its start
//   silent-decoder@N          decoders give no picture behind the Nth, nor their end
//   camera-lost@BYTES         the camera goes once the output has so many bytes
//   camera-stalls@BYTES       it gives no more pictures
//   microphone-lost@BYTES
// OXA_PROCESSORS is how many processors it takes the machine to have; 0: as many as there are.

#include <dlfcn.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/Microphones.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <system/audio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "support/CodecShim.h"

namespace oxa::test {
namespace {

using namespace android;

struct FaultPlan {
    std::string name;  // empty: nothing
    int64_t number = 0;

    bool is(const char* other) const { return name == other; }
};

FaultPlan parse(const std::string& text) {
    static const std::set<std::string> kNames = {
            "read-error",     "read-hangs",  "short-reads",   "write-error",      "disk-full",
            "short-writes",   "slow-writes", "sync-error",    "early-sync-error", "encoder-error",
            "silent-decoder", "camera-lost", "camera-stalls", "microphone-lost",  "power-failure"};
    const size_t at = text.find('@');
    const std::string name = text.substr(0, at);
    if (kNames.count(name) == 0) {
        std::fprintf(stderr, "no such fault: '%s'\n", text.c_str());
        std::abort();
    }
    return {name, at == std::string::npos ? 0 : std::atoll(text.c_str() + at + 1)};
}

// What the environment asks for, read once. An unknown name ends the process.
const FaultPlan& plannedFault() {
    static const FaultPlan kPlan = [] {
        const char* text = std::getenv("OXA_FAULT");
        return text != nullptr && *text != '\0' ? parse(text) : FaultPlan{};
    }();
    return kPlan;
}

// ---- Codecs of the platform, in place before main() begins --------------------------------------

// Fails instead of giving its Nth result; with N = 0 when it is started.
class FailingEncoder : public CodecShim {
  public:
    using CodecShim::CodecShim;

    status_t start(CodecComponent::Client* client) override {
        return plannedFault().number == 0 ? NO_INIT : CodecShim::start(client);
    }

  private:
    void onOutput(const CodecOutput& output) override {
        if (mFailed) return;
        mFailed = ++mResults >= plannedFault().number;
        if (mFailed) {
            CodecShim::onError(UNKNOWN_ERROR, ACTION_CODE_FATAL);
        } else {
            CodecShim::onOutput(output);
        }
    }

    int64_t mResults = 0;
    bool mFailed = false;
};

// Takes everything, and gives nothing after some results, not even its end.
class SilentDecoder : public CodecShim {
  public:
    using CodecShim::CodecShim;

  private:
    void onOutput(const CodecOutput& output) override {
        if (++mResults <= plannedFault().number) CodecShim::onOutput(output);
    }

    int64_t mResults = 0;
};

[[gnu::constructor]] void installPlannedFault() {
    const FaultPlan& plan = plannedFault();
    if (plan.is("encoder-error"))
        installShim<FailingEncoder>("video/avc", CodecDirection::kEncoder);
    if (plan.is("silent-decoder"))
        installShim<SilentDecoder>("video/avc", CodecDirection::kDecoder);
}

// ---- The calls by which the platform reads its inputs and writes its outputs --------------------

// The definitions in a program come before those of the C library, also for the libraries that it
// loads.

constexpr size_t kLittle = 1000;

template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void loseDevices() {
    static std::atomic<bool> lost{false};
    if (lost.exchange(true)) return;
    if (plannedFault().is("camera-lost")) host::loseCamera(0, true);
    if (plannedFault().is("camera-stalls")) host::stallCamera(0, true);
    if (plannedFault().is("microphone-lost")) host::loseMicrophone(AUDIO_SOURCE_DEFAULT, true);
}

// How much of a write is still tried; 0: none, with errno set.
size_t writable(size_t size, off64_t position) {
    const FaultPlan& plan = plannedFault();
    const off64_t end = position + static_cast<off64_t>(size);
    if (plan.is("write-error") || plan.is("disk-full")) {
        if (end <= plan.number) return size;
        errno = plan.is("disk-full") ? ENOSPC : EIO;
        return position < plan.number ? plan.number - position : 0;
    }
    if (plan.is("short-writes")) return std::min(size, kLittle);
    if (plan.is("slow-writes")) usleep(static_cast<useconds_t>(plan.number));
    if (end >= plan.number) loseDevices();
    return size;
}

bool isFolder(int fd) {
    struct stat file;
    return fstat(fd, &file) == 0 && S_ISDIR(file.st_mode);
}

constexpr char kSynced[] = ".synced";
constexpr char kNameless[] = ".nameless";

// A disk that has a file finds it again when its folder was synced after the file was made.
void nameSyncedFiles(const std::filesystem::path& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::filesystem::path name = entry.path();
        if (name.extension() == kNameless) std::filesystem::rename(name, name.replace_extension());
        if (name.extension() != kSynced) std::ofstream(name.string() + kSynced, std::ios::app);
    }
}

// What a disk keeps when the power fails: what was written before a sync began that came to its
// end.
template <typename Sync>
int keepSynced(int fd, Sync sync) {
    if (!plannedFault().is("power-failure")) return sync(fd);
    const std::filesystem::path path =
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd));
    if (isFolder(fd)) nameSyncedFiles(path);
    if (!std::filesystem::is_regular_file(path)) return sync(fd);
    const std::string kept = path.string() + kSynced;
    std::filesystem::copy_file(path, kept + ".new",
                               std::filesystem::copy_options::overwrite_existing);
    const int result = sync(fd);
    const char* const name = std::filesystem::exists(kept) ? "" : kNameless;
    if (result == 0) std::filesystem::rename(kept + ".new", kept + name);
    return result;
}

}  // namespace
}  // namespace oxa::test

extern "C" {

using namespace oxa::test;

__attribute__((visibility("default"))) ssize_t pread64(int fd, void* data, size_t size,
                                                       off64_t position) {
    static const auto next = original<decltype(pread64)>("pread64");
    const FaultPlan& plan = plannedFault();
    if (plan.is("read-error") && position + static_cast<off64_t>(size) > plan.number) {
        errno = EIO;
        return -1;
    }
    while (plan.is("read-hangs") && position + static_cast<off64_t>(size) > plan.number)
        pause();
    if (plan.is("short-reads")) size = std::min(size, kLittle);
    return next(fd, data, size, position);
}

__attribute__((visibility("default"))) ssize_t pwrite64(int fd, const void* data, size_t size,
                                                        off64_t position) {
    static const auto next = original<decltype(pwrite64)>("pwrite64");
    const size_t rest = writable(size, position);
    return rest > 0 ? next(fd, data, rest, position) : -1;
}

__attribute__((visibility("default"))) int fsync(int fd) {
    static const auto next = original<decltype(fsync)>("fsync");
    static std::atomic<int> calls{0};
    const FaultPlan& plan = plannedFault();
    const bool fails = plan.is("sync-error") && !isFolder(fd);
    if (!fails || (++calls != plan.number && plan.number != 0)) return keepSynced(fd, next);
    errno = EIO;
    return -1;
}

__attribute__((visibility("default"))) int fdatasync(int fd) {
    static const auto next = original<decltype(fdatasync)>("fdatasync");
    if (!plannedFault().is("early-sync-error")) return keepSynced(fd, next);
    errno = EIO;
    return -1;
}

// What the standard library's number of processors is.
__attribute__((visibility("default"))) int get_nprocs() {
    static const auto next = original<decltype(get_nprocs)>("get_nprocs");
    const char* const text = std::getenv("OXA_PROCESSORS");
    const int processors = text != nullptr ? std::atoi(text) : 0;
    return processors > 0 ? processors : next();
}

}  // extern "C"

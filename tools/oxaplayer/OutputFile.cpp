// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "OutputFile.h"

#include <android/log.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "Signals.h"

namespace oxaplayer {

namespace {

constexpr char kTemporaryMark[] = ".part-XXXXXX";
constexpr int kReaderPollUs = 50'000;

std::mutex gTemporaryLock;
std::string gTemporaryName;  // guarded by gTemporaryLock

void forgetTemporary() {
    std::lock_guard<std::mutex> lock(gTemporaryLock);
    gTemporaryName.clear();
}

mode_t currentUmask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The file that a symbolic link leads to, or `path` itself.
std::string resolved(const std::string& path) {
    char* real = realpath(path.c_str(), nullptr);
    if (real == nullptr) return path;
    std::string name = real;
    free(real);
    return name;
}

}  // namespace

std::string temporaryPattern(const std::string& path, int* suffixLength) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot != 0 && name.size() - dot <= 8;
    const std::string extension = hasExtension ? name.substr(dot) : "";
    const size_t room = NAME_MAX - strlen(kTemporaryMark) - extension.size();
    const std::string stem = name.substr(0, std::min(name.size() - extension.size(), room));
    *suffixLength = static_cast<int>(extension.size());
    return folder + stem + kTemporaryMark + extension;
}

OutputFile::~OutputFile() {
    if (mTemporary) discard();
}

std::optional<Failure> OutputFile::failure(const std::string& cause) const {
    return Failure{ExitCode::kOutput, "cannot write '" + mPath + "': " + cause};
}

std::optional<Failure> OutputFile::open(const std::string& path, bool force, int standardOutput) {
    mPath = path;
    mForce = force;
    if (path == "-") {
        mDescriptor = standardOutput;
        return std::nullopt;
    }
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
        if (errno != ENOENT || path.empty()) return failure(strerror(errno));
        return openTemporary(force);
    }
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) return failure(strerror(EISDIR));
        if (!S_ISREG(status.st_mode)) return openDirectly(S_ISFIFO(status.st_mode));
    }
    if (!force) return failure(std::string(strerror(EEXIST)) + " (--force replaces it)");
    return openTemporary(force);
}

std::optional<Failure> OutputFile::openTemporary(bool force) {
    mFinalName = force ? resolved(mPath) : mPath;
    int suffixLength = 0;
    std::string name = temporaryPattern(mFinalName, &suffixLength);
    {
        std::lock_guard<std::mutex> lock(gTemporaryLock);
        mOwned = FileDescriptor(mkostemps(name.data(), suffixLength, O_CLOEXEC));
        if (!mOwned.isOpen()) return failure(strerror(errno));
        gTemporaryName = name;
    }
    mTemporary = true;
    mCurrentName = name;
    mDescriptor = mOwned.get();
    if (fchmod(mDescriptor, 0666 & ~currentUmask()) != 0) return failure(strerror(errno));
    return std::nullopt;
}

std::optional<Failure> OutputFile::openDirectly(bool isPipe) {
    // A named pipe can be opened once it has a reader; waiting for one inside open() would hold up
    // Ctrl-C.
    const int flags = isPipe ? O_WRONLY | O_NONBLOCK : O_RDWR;
    while (true) {
        mOwned = FileDescriptor(::open(mPath.c_str(), flags | O_CLOEXEC));
        if (mOwned.isOpen()) break;
        if (errno != ENXIO || !isPipe) return failure(strerror(errno));
        if (Signals::arrived()) return Failure{ExitCode::kInterrupted, "interrupted"};
        usleep(kReaderPollUs);
    }
    mDescriptor = mOwned.get();
    mCurrentName = mPath;
    return std::nullopt;
}

bool OutputFile::isSeekable() const {
    return lseek(mDescriptor, 0, SEEK_CUR) >= 0;
}

std::optional<int64_t> OutputFile::bytes() const {
    struct stat status;
    if (fstat(mDescriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return status.st_size;
}

std::optional<Failure> OutputFile::sync() const {
    // Late errors of a full or broken disk appear here at the latest.
    if (fsync(mDescriptor) != 0 && errno != EINVAL && errno != EROFS) {
        return failure(strerror(errno));
    }
    return std::nullopt;
}

bool OutputFile::takeFinalName(bool replace) {
    const char* from = mCurrentName.c_str();
    const char* to = mFinalName.c_str();
    if (replace) {
        if (rename(from, to) != 0) return false;
    } else if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) != 0) {
        if (errno != EINVAL && errno != ENOSYS) return false;
        // File systems without that call: a second name never replaces one either.
        if (link(from, to) != 0) return false;
        unlink(from);
    }
    mTemporary = false;
    mCurrentName = mFinalName;
    forgetTemporary();
    const FileDescriptor folder(::open(folderOf(to).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.isOpen()) fsync(folder.get());
    return true;
}

std::optional<Failure> OutputFile::finish() {
    if (!mTemporary) return std::nullopt;
    if (auto fault = sync()) return fault;
    if (takeFinalName(mForce)) return std::nullopt;
    const std::string cause = strerror(errno);
    mTemporary = false;  // complete: it stays
    forgetTemporary();
    return failure(cause + "; the complete file is '" + mCurrentName + "'");
}

std::optional<Failure> OutputFile::keepShortened() {
    if (!mTemporary) return std::nullopt;
    if (auto fault = sync()) return fault;
    if (!takeFinalName(false)) {
        mTemporary = false;
        forgetTemporary();
    }
    return std::nullopt;
}

void OutputFile::discard() {
    if (!mTemporary) return;
    removeTemporary();
    mTemporary = false;
    mCurrentName.clear();
}

void OutputFile::removeTemporary() {
    std::lock_guard<std::mutex> lock(gTemporaryLock);
    if (!gTemporaryName.empty()) unlink(gTemporaryName.c_str());
    gTemporaryName.clear();
}

void OutputFile::removeAtFatalError() {
    __android_log_set_aborter([](const char*) { removeTemporary(); });
}

}  // namespace oxaplayer

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <utils/Mutex.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

namespace oxa::jobs {

namespace {

constexpr char kAsideMark[] = ".old-XXXXXX";
constexpr int kReaderPollUs = 50'000;

// What an output leaves when nobody finishes it.
struct Unfinished {
    std::string name;
    std::string aside;  // comes back under that name
};

android::Mutex gUnfinishedLock;
std::map<const OutputFile*, Unfinished> gUnfinished GUARDED_BY(gUnfinishedLock);

bool gEnds GUARDED_BY(gUnfinishedLock) = false;

void forget(const OutputFile* output) {
    android::Mutex::Autolock lock(gUnfinishedLock);
    gUnfinished.erase(output);
}

void remove(const Unfinished& file) {
    unlink(file.name.c_str());
    if (!file.aside.empty()) rename(file.aside.c_str(), file.name.c_str());
}

// Moves a file out of the way; false, with errno set, when it cannot be.
bool moveAside(const std::string& path, std::string* aside) {
    int suffixLength = 0;
    std::string name = temporaryPattern(path, &suffixLength, kAsideMark);
    const FileDescriptor place(mkostemps(name.data(), suffixLength, O_CLOEXEC));
    if (!place.isOpen()) return false;
    if (rename(path.c_str(), name.c_str()) != 0) {
        const int error = errno;
        unlink(name.c_str());
        errno = error;
        return false;
    }
    *aside = name;
    return true;
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

// A name that is new survives a power failure from then on.
void syncFolderOf(const std::string& path) {
    const FileDescriptor folder(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.isOpen()) fsync(folder.get());
}

}  // namespace

std::string resolvedPath(const std::string& path) {
    char* real = realpath(path.c_str(), nullptr);
    if (real == nullptr) return path;
    std::string name = real;
    free(real);
    return name;
}

bool moveFile(const std::string& from, const std::string& to, bool replace) {
    if (replace) {
        if (rename(from.c_str(), to.c_str()) != 0) return false;
    } else if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno != EINVAL && errno != ENOSYS) return false;
        // File systems without that call: a second name never replaces one either.
        if (link(from.c_str(), to.c_str()) != 0) return false;
        unlink(from.c_str());
    }
    syncFolderOf(to);
    return true;
}

std::string temporaryPattern(const std::string& path, int* suffixLength, const std::string& mark) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot != 0 && name.size() - dot <= 8;
    const std::string extension = hasExtension ? name.substr(dot) : "";
    const size_t room = NAME_MAX - mark.size() - extension.size();
    const std::string stem = name.substr(0, std::min(name.size() - extension.size(), room));
    *suffixLength = static_cast<int>(extension.size());
    return folder + stem + mark + extension;
}

OutputFile::~OutputFile() {
    if (mTemporary) discard();
}

std::optional<Failure> OutputFile::failure(const std::string& cause) const {
    return Failure{FailureKind::kOutput, "cannot write '" + mPath + "': " + cause};
}

std::optional<Failure> OutputFile::open(const std::string& path, bool force, int descriptor) {
    mInPlace = false;
    return openAny(path, force, descriptor);
}

std::optional<Failure> OutputFile::openInPlace(const std::string& path, bool force,
                                               int descriptor) {
    mInPlace = true;
    return openAny(path, force, descriptor);
}

std::optional<Failure> OutputFile::openAny(const std::string& path, bool force, int descriptor) {
    mPath = path;
    mForce = force;
    if (descriptor >= 0) {
        mDescriptor = descriptor;
        mCurrentName = path;
        return std::nullopt;
    }
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
        if (errno != ENOENT || path.empty()) return failure(strerror(errno));
        return openFile(force);
    }
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) return failure(strerror(EISDIR));
        if (!S_ISREG(status.st_mode)) return openDirectly(S_ISFIFO(status.st_mode));
    }
    if (!force) {
        return Failure{FailureKind::kOutputExists,
                       "cannot write '" + mPath + "': " + strerror(EEXIST)};
    }
    return openFile(force);
}

std::optional<Failure> OutputFile::openFile(bool force) {
    // A link stays, and what it names is replaced.
    struct stat status;
    const bool isLink = lstat(mPath.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    mFinalName = force && isLink ? resolvedPath(mPath) : mPath;
    if (!mInPlace) return openTemporary();
    auto failure = createInPlace(force);
    if (!failure) syncFolderOf(mFinalName);
    return failure;
}

std::optional<Failure> OutputFile::openTemporary() {
    int suffixLength = 0;
    std::string name = temporaryPattern(mFinalName, &suffixLength);
    {
        android::Mutex::Autolock lock(gUnfinishedLock);
        if (gEnds) return failure(strerror(ECANCELED));
        mOwned = FileDescriptor(mkostemps(name.data(), suffixLength, O_CLOEXEC));
        if (!mOwned.isOpen()) return failure(strerror(errno));
        gUnfinished[this] = {name, ""};
    }
    mTemporary = true;
    mCurrentName = name;
    mDescriptor = mOwned.get();
    if (fchmod(mDescriptor, 0666 & ~currentUmask()) != 0) return failure(strerror(errno));
    return std::nullopt;
}

std::optional<Failure> OutputFile::createInPlace(bool force) {
    android::Mutex::Autolock lock(gUnfinishedLock);
    if (gEnds) return failure(strerror(ECANCELED));
    std::string aside;
    if (force && !moveAside(mFinalName, &aside) && errno != ENOENT) return failure(strerror(errno));
    mOwned =
            FileDescriptor(::open(mFinalName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!mOwned.isOpen()) {
        const std::string cause = strerror(errno);
        if (!aside.empty()) rename(aside.c_str(), mFinalName.c_str());
        return failure(cause);
    }
    gUnfinished[this] = {mFinalName, aside};
    mTemporary = true;
    mCurrentName = mFinalName;
    mDescriptor = mOwned.get();
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
        if (mCancelled != nullptr && *mCancelled) {
            return Failure{FailureKind::kCancelled, "cancelled"};
        }
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
    if (!moveFile(mCurrentName, mFinalName, replace)) return false;
    mTemporary = false;
    mCurrentName = mFinalName;
    forget(this);
    return true;
}

void OutputFile::keep() {
    if (!mInPlace || !mTemporary) return;
    android::Mutex::Autolock lock(gUnfinishedLock);
    const std::string& aside = gUnfinished[this].aside;
    if (!aside.empty()) unlink(aside.c_str());
    gUnfinished.erase(this);
    mTemporary = false;
}

std::optional<Failure> OutputFile::finish() {
    if (mInPlace) {
        keep();
        return sync();
    }
    if (!mTemporary) return std::nullopt;
    if (auto fault = sync()) return fault;
    if (takeFinalName(mForce)) return std::nullopt;
    const std::string cause = strerror(errno);
    mTemporary = false;  // complete: it stays
    forget(this);
    return failure(cause + "; the complete file is '" + mCurrentName + "'");
}

std::optional<Failure> OutputFile::keepShortened() {
    if (!mTemporary) return std::nullopt;
    if (auto fault = sync()) return fault;
    if (!takeFinalName(false)) {
        mTemporary = false;
        forget(this);
    }
    return std::nullopt;
}

void OutputFile::discard() {
    if (!mTemporary) return;
    {
        android::Mutex::Autolock lock(gUnfinishedLock);
        remove(gUnfinished[this]);
        gUnfinished.erase(this);
    }
    mTemporary = false;
    mCurrentName.clear();
}

void OutputFile::removeAll(bool forGood) {
    android::Mutex::Autolock lock(gUnfinishedLock);
    gEnds = gEnds || forGood;
    for (const auto& [output, file] : gUnfinished)
        remove(file);
    gUnfinished.clear();
}

}  // namespace oxa::jobs

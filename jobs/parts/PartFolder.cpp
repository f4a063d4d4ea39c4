// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "parts/PartFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "files/OutputFile.h"

namespace oxa::jobs {

namespace fs = std::filesystem;

namespace {

constexpr char kExtension[] = ".parts";
constexpr char kList[] = "parts.list";
constexpr char kListOfFilm[] = "film.list";  // once the film is complete
constexpr char kListWork[] = "parts.work.list";
constexpr char kWork[] = ".work.";

bool exists(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

bool isList(const std::string& name) {
    return name == kList || name == kListOfFilm;
}

bool isWork(const std::string& name) {
    return name.find(kWork) != std::string::npos;
}

std::optional<std::string> textIn(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

bool writeDurably(const std::string& path, const std::string& text) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    return file.isOpen() && writeFully(file.get(), text.data(), text.size()) &&
           fsync(file.get()) == 0;
}

}  // namespace

PartFolder::PartFolder(std::string output, bool mayReplace)
    : mOutput(mayReplace ? resolvedPath(output) : std::move(output)),
      mPath(mOutput + kExtension),
      mMayReplace(mayReplace) {}

PartFolder::~PartFolder() {
    if (!mFolder.isOpen() || mIsForeign) return;
    const auto all = names();
    const bool hasParts = std::any_of(all.begin(), all.end(), [](const std::string& name) {
        return !isList(name) && !isWork(name);
    });
    if (!hasParts) remove();
}

std::optional<Failure> PartFolder::failure(const std::string& cause) const {
    return Failure{FailureKind::kOutput, "cannot write '" + mPath + "': " + cause};
}

std::optional<Failure> PartFolder::open() {
    const bool isFilmThere = exists(mOutput);
    const bool isThere = exists(mPath);
    if (isFilmThere && !mMayReplace && !isThere) return refuseFilm();
    if (mkdir(mPath.c_str(), 0777) != 0 && errno != EEXIST) return failure(strerror(errno));
    if (auto failure = lock()) return failure;
    const auto all = names();
    mList = textIn(pathOf(kList));
    const auto listOfFilm = textIn(pathOf(kListOfFilm));
    mIsForeign = !mList && !listOfFilm && !std::all_of(all.begin(), all.end(), isWork);
    if (mIsForeign) {
        return Failure{FailureKind::kOutputExists,
                       "'" + mPath + "' is there already, and what is in it are no parts"};
    }
    removeWork();
    // Nothing is left but to clean up where a film has taken its name.
    const bool isLeft = isThere && all.empty();
    mIsOver = isFilmThere && ((listOfFilm && !hasFilm(all)) || (isLeft && !mMayReplace));
    if (mIsOver) {
        mList = listOfFilm;
        return std::nullopt;
    }
    if (hasFilm(all)) {
        if (listOfFilm) mList = listOfFilm;
    } else {
        unlink(pathOf(kListOfFilm).c_str());
    }
    return isFilmThere && !mMayReplace ? refuseFilm() : std::nullopt;
}

std::optional<Failure> PartFolder::refuseFilm() const {
    return Failure{FailureKind::kOutputExists,
                   "cannot write '" + mOutput + "': " + strerror(EEXIST)};
}

bool PartFolder::hasFilm(const std::vector<std::string>& all) {
    return std::any_of(all.begin(), all.end(), [](const std::string& name) {
        return !isList(name) && name.compare(0, 5, "film.") == 0 && !isWork(name);
    });
}

// One process at a time. Where a file system has no locks it is left to the user.
std::optional<Failure> PartFolder::lock() {
    mFolder = FileDescriptor(::open(mPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!mFolder.isOpen()) return failure(strerror(errno));
    if (flock(mFolder.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return std::nullopt;
    mFolder = FileDescriptor();
    return failure("another process is at work on it");
}

std::optional<Failure> PartFolder::begin(const std::string& list) {
    const std::string work = pathOf(kListWork);
    if (!writeDurably(work, list) || rename(work.c_str(), pathOf(kList).c_str()) != 0) {
        return failure(strerror(errno));
    }
    fsync(mFolder.get());
    return std::nullopt;
}

bool PartFolder::has(const std::string& name) const {
    return exists(pathOf(name));
}

std::optional<Failure> PartFolder::keep(const std::string& work, const std::string& name) {
    if (rename(pathOf(work).c_str(), pathOf(name).c_str()) != 0) return failure(strerror(errno));
    fsync(mFolder.get());
    return std::nullopt;
}

std::optional<Failure> PartFolder::finish(const std::string& name) {
    rename(pathOf(kList).c_str(), pathOf(kListOfFilm).c_str());
    fsync(mFolder.get());
    const std::string film = pathOf(name);
    if (!mIsOver && !moveFile(film, mOutput, mMayReplace)) {
        return Failure{FailureKind::kOutput, "cannot write '" + mOutput + "': " + strerror(errno) +
                                                     "; the complete file is '" + film + "'"};
    }
    remove();
    return std::nullopt;
}

std::vector<std::string> PartFolder::names() const {
    std::vector<std::string> all;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(mPath, error))
        all.push_back(entry.path().filename().string());
    return all;
}

void PartFolder::removeWork() const {
    for (const std::string& name : names()) {
        if (isWork(name)) unlink(pathOf(name).c_str());
    }
}

// The lists go last: they tell what the rest is.
void PartFolder::remove() {
    for (const std::string& name : names()) {
        if (!isList(name)) unlink(pathOf(name).c_str());
    }
    unlink(pathOf(kList).c_str());
    unlink(pathOf(kListOfFilm).c_str());
    rmdir(mPath.c_str());
    mFolder = FileDescriptor();
}

}  // namespace oxa::jobs

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/graphics/XServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "support/Deadline.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace oxa::test {

XServer::XServer() {
    if (!has("Xvfb")) {
        mError = "Xvfb is not installed";
    } else if (!startServer()) {
        mError = "Xvfb does not start";
    } else {
        setenv("DISPLAY", mDisplay.c_str(), 1);
        startManager();
    }
}

XServer::~XServer() {
    unsetenv("DISPLAY");
    end(mManager);
    end(mServer);
}

bool XServer::has(const std::string& program) {
    const char* path = getenv("PATH");
    std::istringstream directories(path == nullptr ? "" : path);
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (access((directory + "/" + program).c_str(), X_OK) == 0) return true;
    }
    return false;
}

bool XServer::startServer() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    const std::string screen = std::to_string(kWidth) + "x" + std::to_string(kHeight) + "x24";
    mServer = spawn({"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", screen,
                     "-nolisten", "tcp"},
                    ends[1]);
    close(ends[1]);
    // The server writes its number and a newline when it can be used.
    const Deadline deadline;
    std::string number;
    while (number.empty() || number.back() != '\n') {
        pollfd waiting = {ends[0], POLLIN, 0};
        char letter;
        if (poll(&waiting, 1, static_cast<int>(deadline.remaining().count())) <= 0 ||
            read(ends[0], &letter, 1) != 1) {
            break;
        }
        number += letter;
    }
    close(ends[0]);
    if (number.size() < 2 || number.back() != '\n') return false;
    mDisplay = ":" + number.substr(0, number.size() - 1);
    return true;
}

// A window that appears while the manager starts may never be managed, and SDL waits for ever for
// it: the manager is there when it runs its first command.
void XServer::startManager() {
    if (!has("openbox")) return;
    const TempDir directory;
    const std::string started = directory.file("started");
    mManager = spawn({"openbox", "--startup", "touch " + started}, -1);
    if (!waitFor([&] { return access(started.c_str(), F_OK) == 0; })) {
        mError = "openbox does not start";
    }
}

pid_t XServer::spawn(const std::vector<std::string>& command, int inheritedFd) {
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const pid_t process = fork();
    if (process != 0) return process;
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // not left behind when the test is killed
    if (inheritedFd >= 0) fcntl(inheritedFd, F_SETFD, 0);
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

void XServer::end(pid_t process) {
    if (process <= 0) return;
    kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
}

std::string XServer::command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "xdotool");
    std::string out = ProcessRunner(arguments).run().out;
    while (!out.empty() && out.back() == '\n')
        out.pop_back();
    return out;
}

std::string XServer::findWindow(const std::string& title) const {
    std::string id;
    waitFor([&] {
        id = command({"search", "--onlyvisible", "--name", "^" + title + "$"});
        return !id.empty();
    });
    return id;
}

Screenshot XServer::grab(const std::string& window) const {
    const ProcessResult result =
            ProcessRunner({"ffmpeg", "-v", "error", "-nostdin", "-f", "x11grab", "-draw_mouse", "0",
                           "-window_id", window, "-i", mDisplay, "-frames:v", "1", "-f",
                           "image2pipe", "-c:v", "ppm", "-"})
                    .run();
    Screenshot shot;
    int headerSize = 0;
    sscanf(result.out.c_str(), "P6 %d %d 255%*1[\n]%n", &shot.width, &shot.height, &headerSize);
    shot.pixels = result.out.substr(headerSize);
    const size_t size = static_cast<size_t>(shot.width) * shot.height * 3;
    return headerSize > 0 && shot.pixels.size() == size ? shot : Screenshot();
}

Rgb Screenshot::at(int x, int y) const {
    if (x < 0 || y < 0 || x >= width || y >= height) return {-1, -1, -1};
    const size_t pixel = (static_cast<size_t>(y) * width + x) * 3;
    const auto sample = [&](size_t i) { return static_cast<uint8_t>(pixels[pixel + i]); };
    return {sample(0), sample(1), sample(2)};
}

}  // namespace oxa::test

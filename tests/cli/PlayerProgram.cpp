// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "cli/PlayerProgram.h"

#include <sstream>

namespace oxa::test {

using nlohmann::json;

ProcessRunner player(const std::vector<std::string>& arguments) {
    return ProcessRunner(joined({OXA_PLAYER_PROGRAM}, arguments))
            .setEnvironment("XDG_CACHE_HOME", TempDir::ofProcess().path());
}

ProcessResult runPlayer(const std::vector<std::string>& arguments) {
    return player(arguments).run();
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<json> eventsOf(const std::string& text) {
    // Milliseconds are enough for everybody.
    EXPECT_THAT(text,
                testing::Not(testing::ContainsRegex(
                        R"=((_s|_db|fps|percent|speed)":\[?(-?[0-9.]+,)*-?[0-9]+\.[0-9]{4})=")));
    std::vector<json> events;
    for (const std::string& line : linesOf(text)) {
        json event = json::parse(line, nullptr, false);
        if (event.is_object()) {
            events.push_back(std::move(event));
        } else {
            ADD_FAILURE() << "not a JSON object: " << line;
        }
    }
    return events;
}

std::vector<json> eventsNamed(const std::vector<json>& events, const std::string& name) {
    std::vector<json> found;
    std::copy_if(events.begin(), events.end(), std::back_inserter(found),
                 [&](const json& event) { return event.value("event", "") == name; });
    return found;
}

}  // namespace oxa::test

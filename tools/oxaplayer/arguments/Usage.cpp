// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/Usage.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>

#include "arguments/Nearest.h"

namespace oxaplayer {

namespace {

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* chosenCommand(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? nullptr : chosen.front();
}

// CLI11 may spread a message over lines; ours are one line.
std::string oneLine(std::string text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string didYouMean(const std::string& word) {
    return word.empty() ? "" : ", did you mean '" + word + "'?";
}

// Options with two dashes, without these.
std::vector<std::string> optionsOf(const CLI::App& app, const CLI::App* command) {
    std::vector<std::string> names;
    for (const CLI::App* owner : {command, &app}) {
        if (owner == nullptr) continue;
        for (const CLI::Option* option : owner->get_options()) {
            const auto& own = option->get_lnames();
            names.insert(names.end(), own.begin(), own.end());
        }
    }
    return names;
}

std::string unknownOption(const CLI::App& app, const CLI::App* command, const std::string& word) {
    const std::string typed = word.substr(0, word.find('='));
    const size_t letters = typed.find_first_not_of('-');
    const std::string name = letters == std::string::npos ? "" : typed.substr(letters);
    const std::string nearest = nearestWord(name, optionsOf(app, command));
    return "there is no option '" + typed + "'" +
           didYouMean(nearest.empty() ? nearest : "--" + nearest);
}

bool needsOutput(const CLI::App* command) {
    const CLI::Option* output = command->get_option_no_throw("--output");
    return output != nullptr && output->count() == 0;
}

// What nobody took of the words; empty when that is not what is wrong.
std::string aboutSpareWords(const CLI::App& app, const CLI::App* command) {
    const std::vector<std::string> spare = app.remaining(true);
    if (spare.empty()) return {};
    const bool isFirstWord = spare.front().empty() || spare.front()[0] != '-';
    if (command == nullptr && isFirstWord) return unknownCommand(app, spare.front());
    const auto option = std::find_if(spare.begin(), spare.end(), [](const std::string& word) {
        return word.size() > 1 && word[0] == '-';
    });
    if (option != spare.end()) return unknownOption(app, command, *option);
    return "'" + spare.front() + "' is spare" +
           didYouMean(needsOutput(command) ? "-o " + spare.front() : "");
}

}  // namespace

std::string usageError(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App* command = chosenCommand(app);
    const bool isAboutWords = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
                              dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    std::string cause = isAboutWords ? aboutSpareWords(app, command) : "";
    if (cause.empty() && command == nullptr && isAboutWords) cause = "a command is missing";
    if (cause.empty()) cause = oneLine(error.what());
    const std::string name = command == nullptr ? "" : command->get_name();
    return "oxaplayer: " + (name.empty() ? "" : name + ": ") + cause + " (oxaplayer " +
           (name.empty() ? "" : name + " ") + "--help tells more)\n";
}

std::string helpText(const CLI::App& app, const std::string& command) {
    // Not help() of `app`, which shows that of the command that was chosen.
    if (command.empty()) {
        return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
    }
    for (const CLI::App* known : commandsOf(app)) {
        if (known->get_name() == command) return known->help(app.get_name());
    }
    return {};
}

std::string unknownCommand(const CLI::App& app, const std::string& name) {
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(app))
        names.push_back(command->get_name());
    return "there is no command '" + name + "'" + didYouMean(nearestWord(name, names));
}

}  // namespace oxaplayer

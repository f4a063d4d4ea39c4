// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace oxaplayer {

// Adds an option whose text is read by `parse`, with `expected` in the message when it is not.
template <typename Value, typename Parse>
void addParsedOption(CLI::App& app, const std::string& name, std::optional<Value>* value,
                     Parse parse, const std::string& type, const std::string& description,
                     const std::string& expected) {
    app.add_option_function<std::string>(
               name,
               [=](const std::string& text) {
                   *value = parse(text);
                   if (!value->has_value()) {
                       throw CLI::ValidationError(name + " '" + text + "': expected " + expected);
                   }
               },
               description)
            ->type_name(type);
}

}  // namespace oxaplayer

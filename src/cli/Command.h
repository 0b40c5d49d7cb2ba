// Each subcommand lives in its own file and registers itself here, so adding a
// command touches no other file. main() builds the CLI11 app from the registry.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

namespace qm::cli {

using CommandSetup = std::function<void(CLI::App& app)>;

struct RegisteredCommand {
    std::string name;  // commands appear in --help in name order
    CommandSetup setup;
};

std::vector<RegisteredCommand>& commandRegistry();

struct RegisterCommand {
    RegisterCommand(std::string name, CommandSetup setup) {
        commandRegistry().push_back({std::move(name), std::move(setup)});
    }
};

// The status summary (quillmere status), also what `quillmere` alone prints first.
void printStatusSummary(bool json);

// Ends a command with an exit code (after printing its own one-line error).
[[noreturn]] void exitWith(int code);

}  // namespace qm::cli

// quillmere bar: the menu-bar label for status bars that run a command (waybar,
// i3blocks, polybar). Two ticks a moment apart, so rates and CPU shares are real.
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "core/Defaults.h"
#include "core/Queue.h"
#include "core/Sampler.h"
#include "shell/MenuBarLabel.h"
#include "shell/StatusBarOutput.h"

namespace qm::cli::bar_command {
namespace {

struct BarOptions {
    std::string style;  // empty: the "menuBar.style" setting
    std::string format = "text";
};

void run(const BarOptions& options) {
    MenuBarStyle style = menuBarStyle(Defaults::shared());
    if (!options.style.empty()) {
        auto chosen = menuBarStyleFromRaw(options.style);
        if (!chosen) {
            std::fprintf(stderr, "quillmere bar: unknown style \"%s\" (icon, cpu, cpuMemory, temperature, power)\n",
                         options.style.c_str());
            exitWith(2);
        }
        style = *chosen;
    }
    if (options.format != "text" && options.format != "waybar") {
        std::fprintf(stderr, "quillmere bar: unknown format \"%s\" (text, waybar)\n", options.format.c_str());
        exitWith(2);
    }

    auto snapshot = primedSnapshot();
    if (!snapshot) {
        std::fprintf(stderr, "quillmere bar: could not take a sample of this machine\n");
        exitWith(1);
    }
    MenuBarLabel label = menuBarLabel(*snapshot, style);
    std::string out = options.format == "waybar" ? waybarOutput(label) : plainStatusBarOutput(label);
    std::fwrite(out.data(), 1, out.size(), stdout);
}

RegisterCommand registration{"bar",
                             [](CLI::App& app) {
    auto options = std::make_shared<BarOptions>();
    auto* command = app.add_subcommand("bar", "Print the menu-bar label for a status bar");
    command->add_option("--style", options->style,
                        "icon, cpu, cpuMemory, temperature or power (default: the menuBar.style setting)");
    command->add_option("--format", options->format, "text (label lines, then the tooltip) or waybar (JSON)");
    command->callback([options] { run(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::bar_command

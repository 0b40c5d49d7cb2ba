// quillmere bar: the menu-bar label for status bars that run a command (waybar,
// i3blocks, polybar). Two ticks a second apart, so rates and CPU shares are real.
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

#include "cli/Command.h"
#include "core/Defaults.h"
#include "core/Queue.h"
#include "core/Sampler.h"
#include "shell/MenuBarLabel.h"
#include "shell/StatusBarOutput.h"

namespace qm::cli {
namespace {

struct BarOptions {
    std::string style;  // empty: the "menuBar.style" setting
    std::string format = "text";
};

// The second of two ticks a second apart, taken on this thread; absent only when
// the sampler handed nothing back.
std::optional<Snapshot> sampleTwice() {
    Sampler::Dependencies deps;
    deps.queue = std::make_unique<ManualQueue>();  // ticks run here, on this thread
    Sampler sampler(std::move(deps));
    std::optional<Snapshot> latest;
    sampler.onSnapshot = [&latest](const Snapshot& snapshot) { latest = snapshot; };
    sampler.setLive(true);  // live schedules read every source; the first tick runs at once
    std::this_thread::sleep_for(std::chrono::seconds(1));
    sampler.sample();
    return latest;
}

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

    auto snapshot = sampleTwice();
    if (!snapshot) {
        std::fprintf(stderr, "quillmere bar: could not take a sample of this machine\n");
        exitWith(1);
    }
    MenuBarLabel label = menuBarLabel(*snapshot, style);
    std::string out = options.format == "waybar" ? waybarOutput(label) : plainStatusBarOutput(label);
    std::fwrite(out.data(), 1, out.size(), stdout);
}

RegisterCommand registration{"bar", [](CLI::App& app) {
    auto options = std::make_shared<BarOptions>();
    auto* command = app.add_subcommand("bar", "Print the menu-bar label for a status bar");
    command->add_option("--style", options->style,
                        "icon, cpu, cpuMemory, temperature or power (default: the menuBar.style setting)");
    command->add_option("--format", options->format,
                        "text (label lines, then the tooltip) or waybar (JSON)");
    command->callback([options] { run(*options); });
}};

}  // namespace
}  // namespace qm::cli

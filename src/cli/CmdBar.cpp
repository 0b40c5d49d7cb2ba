// quillmere bar: the menu-bar label for status bars (waybar, polybar, i3blocks). One
// answer after a short priming read, or with --follow one line every period from a
// single long-lived process: the status bars' persistent mode, which costs far less
// than starting the program for every refresh.
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "cli/ArgumentChecks.h"
#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "cli/Output.h"
#include "core/Defaults.h"
#include "core/Queue.h"
#include "engine/Sampler.h"
#include "shell/MenuBarLabel.h"
#include "shell/StatusBarOutput.h"

namespace qm::cli::bar_command {
namespace {

struct BarOptions {
    std::string style;  // empty: the "menuBar.style" setting
    std::string format = "text";
    bool json = false;
    bool follow = false;
    double interval = 2.0;  // the menu bar's own refresh period
};

// Writes one line; false once nobody reads it any more (the bar quit or was reloaded).
bool emit(const std::string& line) {
    if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size()) return false;
    return std::fflush(stdout) == 0;
}

void run(const BarOptions& options) {
    MenuBarStyle style = menuBarStyle(Defaults::shared());
    if (!options.style.empty()) style = menuBarStyleFromRaw(options.style).value_or(style);  // checked when parsed
    const bool waybar = options.json || options.format == "waybar";
    auto line = [&](const Snapshot& snapshot) {
        StatusBarReading reading = statusBarReading(snapshot, style);
        return waybar ? waybarOutput(reading) : plainStatusBarOutput(reading);
    };

    if (!options.follow) {
        auto snapshot = primedSnapshot();
        if (!snapshot) {
            std::fprintf(stderr, "quillmere bar: could not take a sample of this machine\n");
            exitWith(1);
        }
        print(line(*snapshot));
        return;
    }

    // Background schedules (processes every other tick): a status bar runs all day.
    Sampler::Dependencies deps;
    deps.queue = std::make_unique<ManualQueue>();  // ticks run here, on this thread
    Sampler sampler(std::move(deps));
    std::optional<Snapshot> latest;
    sampler.onSnapshot = [&latest](const Snapshot& snapshot) { latest = snapshot; };
    sampler.sample();  // primes the counters
    auto wait = std::chrono::duration<double>(primingDelay);
    for (;;) {
        std::this_thread::sleep_for(wait);
        sampler.sample();
        if (latest && !emit(line(*latest))) exitWith(finishOutput());  // says why, exits 1
        wait = std::chrono::duration<double>(options.interval);
    }
}

RegisterCommand registration{"bar",
                             [](CLI::App& app) {
    auto options = std::make_shared<BarOptions>();
    auto* command = app.add_subcommand("bar", "Print the tray label for a status bar (waybar, polybar, i3blocks)");
    command
        ->add_option("--style", options->style,
                     "icon, cpu, cpuMemory, temperature or power (default: the menuBar.style setting)")
        ->check(oneOf({"icon", "cpu", "cpuMemory", "temperature", "power"}));
    command->add_option("--format", options->format, "text (one line) or waybar (JSON, the same as --json)")
        ->check(oneOf({"text", "waybar"}));
    command->add_flag("--json", options->json,
                      "one JSON object: text, alt, tooltip, class (normal, warning, critical), percentage");
    command->add_flag("-f,--follow", options->follow,
                      "keep running and print a line every period (waybar's and i3blocks' persistent mode)");
    command->add_option("-i,--interval", options->interval, "seconds between lines with --follow (default 2)")
        ->check(seconds(0.5, 3600));
    command->callback([options] { run(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::bar_command

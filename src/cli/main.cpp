// quillmere: the command-line face of the monitor.
#include <algorithm>
#include <cstdio>

#include "cli/Command.h"

namespace qm::cli {

std::vector<RegisteredCommand>& commandRegistry() {
    static std::vector<RegisteredCommand> registry;
    return registry;
}

namespace {
struct ExitRequest {
    int code;
};
}  // namespace

[[noreturn]] void exitWith(int code) { throw ExitRequest{code}; }

}  // namespace qm::cli

int main(int argc, char** argv) {
    using namespace qm::cli;
    CLI::App app{
        "Quillmere watches the whole machine and every process, explains what it sees,\n"
        "warns before trouble, and remembers.",
        "quillmere"};
    app.set_version_flag("--version", std::string("quillmere ") + QUILLMERE_VERSION);
    app.require_subcommand(1);
    app.fallthrough(false);

    auto& registry = commandRegistry();
    std::sort(registry.begin(), registry.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    for (auto& command : registry) command.setup(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        // One line, not the whole help text.
        std::fprintf(stderr, "quillmere: %s (see quillmere --help)\n", e.what());
        return 2;
    } catch (const ExitRequest& request) {
        return request.code;
    }
    return 0;
}

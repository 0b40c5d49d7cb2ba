// quillmere: the command-line face of the monitor.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>

#include "cli/Command.h"
#include "cli/Output.h"

namespace qm::cli {

std::vector<RegisteredCommand>& commandRegistry() {
    static std::vector<RegisteredCommand> registry;
    return registry;
}

namespace {
struct ExitRequest {
    int code;
};

// The subcommand being parsed when an error came: the deepest one named on the line.
const CLI::App* deepestCommand(const CLI::App& app) {
    const CLI::App* deepest = &app;
    for (;;) {
        auto named = deepest->get_subcommands([](const CLI::App* sub) { return sub->parsed(); });
        if (named.empty()) return deepest;
        deepest = named.back();
    }
}

std::string commandPath(const CLI::App* command) {
    std::string path;
    for (; command != nullptr; command = command->get_parent())
        path.insert(0, path.empty() ? command->get_name() : command->get_name() + " ");
    return path;
}

std::string subcommandNames(const CLI::App* command) {
    auto subs = command->get_subcommands([](const CLI::App*) { return true; });
    std::string list;
    for (size_t i = 0; i < subs.size(); ++i)
        list += (i == 0 ? "" : i + 1 == subs.size() ? " or " : ", ") + subs[i]->get_name();
    return list;
}

// CLI11's messages in plain words, for the command being parsed.
std::string plainMessage(const CLI::App* command, const CLI::ParseError& error) {
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
        auto extras = command->remaining();
        if (extras.empty()) return error.what();
        const std::string& first = extras.front();
        if (!first.empty() && first[0] == '-') return "unknown option \"" + first + "\"";
        if (!command->get_subcommands([](const CLI::App*) { return true; }).empty())
            return "unknown command \"" + first + "\" (commands: " + subcommandNames(command) + ")";
        return "unexpected argument \"" + first + "\"";
    }
    std::string text = error.what();
    if (text.find("subcommand is required") != std::string::npos ||
        text.find("subcommands is required") != std::string::npos) {
        auto extras = command->remaining();
        if (!extras.empty() && !extras.front().empty() && extras.front()[0] != '-')
            return "unknown command \"" + extras.front() + "\" (commands: " + subcommandNames(command) + ")";
        return "say which: " + subcommandNames(command);
    }
    // "--since: 1 required TEXT missing": the option was given without its value.
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr && text.find(" required ") != std::string::npos)
        return text.substr(0, text.find(':')) + " needs a value";
    // "--count: takes a whole number ..." reads better without the colon.
    if (auto colon = text.find(": takes "); colon != std::string::npos) text.erase(colon, 1);
    if (!text.empty() && text[0] != '-') text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

// `quillmere` alone: how the machine is doing, then what else there is to ask.
void printOverview(const CLI::App& app) {
    printStatusSummary(false);
    std::string out = "\nCommands:\n";
    size_t width = 0;
    auto commands = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* sub : commands) width = std::max(width, sub->get_name().size());
    for (const CLI::App* sub : commands)
        out += "  " + sub->get_name() + std::string(width + 2 - sub->get_name().size(), ' ') + sub->get_description() +
               "\n";
    out += "\nquillmere COMMAND --help explains each; quillmere --help lists the options.\n";
    print(out);
}

}  // namespace

[[noreturn]] void exitWith(int code) { throw ExitRequest{code}; }

}  // namespace qm::cli

int main(int argc, char** argv) {
    using namespace qm::cli;
    CLI::App app{
        "Quillmere watches the whole machine and every process, explains what it sees,\n"
        "warns before trouble, and remembers. Without a command it prints the status.",
        "quillmere"};
    app.set_version_flag("--version", std::string("quillmere ") + QUILLMERE_VERSION);
    app.require_subcommand(0, 1);
    app.fallthrough(false);

    auto& registry = commandRegistry();
    std::sort(registry.begin(), registry.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    for (auto& command : registry) command.setup(app);

    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) printOverview(app);
    } catch (const CLI::CallForHelp& e) {
        return finishOutput(app.exit(e));
    } catch (const CLI::CallForAllHelp& e) {
        return finishOutput(app.exit(e));
    } catch (const CLI::CallForVersion& e) {
        return finishOutput(app.exit(e));
    } catch (const CLI::ParseError& e) {
        // One line that names the command and where its help is, not the whole help text.
        const CLI::App* command = deepestCommand(app);
        const std::string path = commandPath(command);
        std::fprintf(stderr, "%s: %s (see %s --help)\n", path.c_str(), plainMessage(command, e).c_str(), path.c_str());
        return 2;
    } catch (const ExitRequest& request) {
        return finishOutput(request.code);
    }
    return finishOutput();
}

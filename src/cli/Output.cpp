#include "cli/Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "core/JsonText.h"
#include "core/TerminalText.h"
#include "fmt/PlatformWording.h"

namespace qm::cli {

void print(const std::string& text) {
    const std::string shown = terminalSafe(forThisPlatform(text));
    std::fwrite(shown.data(), 1, shown.size(), stdout);
}

void printJson(nlohmann::json document, bool oneLine) {
    rewordForThisPlatform(document);
    const std::string text = jsonText(document, oneLine ? -1 : 2) + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (oneLine) std::fflush(stdout);  // a stream's reader gets each line as it comes
}

void printJsonLine(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

int finishOutput(int code) {
    std::cout.flush();
    errno = 0;
    const bool flushed = std::fflush(stdout) == 0;
    if (flushed && !std::ferror(stdout)) return code;
    const int reason = errno;
    static bool reported = false;  // once, however many ways the program ends
    if (reported) return code == 0 ? 1 : code;
    reported = true;
    std::fprintf(stderr, "quillmere: could not write the output%s%s\n", reason ? ": " : "",
                 reason ? std::strerror(reason) : "");
    return code == 0 ? 1 : code;
}

}  // namespace qm::cli

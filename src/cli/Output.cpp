#include "cli/Output.h"

#include <cstdio>

#include "shell/PlatformWording.h"

namespace qm::cli {

void print(const std::string& text) {
    const std::string shown = forThisPlatform(text);
    std::fwrite(shown.data(), 1, shown.size(), stdout);
}

}  // namespace qm::cli

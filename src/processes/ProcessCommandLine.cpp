#include "processes/ProcessCommandLine.h"

namespace qm {

std::string joinedArguments(std::string raw) {
    while (!raw.empty() && raw.back() == '\0') raw.pop_back();
    for (char& c : raw)
        if (c == '\0') c = ' ';
    return raw;
}

}  // namespace qm

// The settings file, which the user may edit by hand: read through a FileDefaults as
// the application does.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "FuzzInput.h"
#include "core/FileDefaults.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/quillmere-fuzz-settings-" + std::to_string(::getpid()) + ".json";
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    qm::FileDefaults defaults(path);
    for (const auto& [key, value] : defaults.all()) (void)defaults.value(key);
    (void)defaults.value("refreshInterval");
    std::remove(path.c_str());
    return 0;
}

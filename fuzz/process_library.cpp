// The process library's JSON (a user may point QUILLMERE_LIBRARY at any file): decode,
// then look names up and search, which runs the file's own patterns.
#include <cstdlib>

#include "FuzzInput.h"
#include "knowledge/ProcessLibrary.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto parts = qm::fuzz::splitAtNul(qm::fuzz::asText(data, size));
    qm::ProcessLibrary library;
    if (qm::ProcessLibrary::decode(parts[0], library)) {
        if (library.count() != 0) std::abort();
        return 0;
    }
    std::string_view name = parts.size() > 1 ? parts[1] : "kernel_task";
    (void)library.lookup(name, true);
    (void)library.search(name);
    for (size_t i = 0; i < library.patternCount(); ++i) (void)library.patternCompiled(i);
    return 0;
}

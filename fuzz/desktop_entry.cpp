// Desktop files as installed by any package: the name of the "[Desktop Entry]" group.
#include "FuzzInput.h"
#include "processes/DesktopEntry.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    (void)qm::desktopEntryName(qm::fuzz::asText(data, size));
    return 0;
}

// The operating system's thermal state (NSProcessInfo.thermalState), reached through
// the Objective-C runtime so this library needs no Objective-C sources. Resolved once;
// anything missing reads as nominal.
#include <dlfcn.h>

#include <algorithm>

#include "readers/Sources.h"

namespace qm {

namespace {

using GetClass = void* (*)(const char*);
using RegisterSelector = void* (*)(const char*);
using SendObject = void* (*)(void*, void*);
using SendInteger = long (*)(void*, void*);

struct ThermalQuery {
    void* processInfo = nullptr;
    void* thermalSelector = nullptr;
    SendInteger sendInteger = nullptr;

    ThermalQuery() {
        // Foundation holds NSProcessInfo; the command-line program does not load it itself.
        if (!dlopen("/System/Library/Frameworks/Foundation.framework/Foundation", RTLD_LAZY)) return;
        auto getClass = reinterpret_cast<GetClass>(dlsym(RTLD_DEFAULT, "objc_getClass"));
        auto selector = reinterpret_cast<RegisterSelector>(dlsym(RTLD_DEFAULT, "sel_registerName"));
        void* send = dlsym(RTLD_DEFAULT, "objc_msgSend");
        if (!getClass || !selector || !send) return;
        void* cls = getClass("NSProcessInfo");
        if (!cls) return;
        // The shared process-info object lives as long as the process.
        processInfo = reinterpret_cast<SendObject>(send)(cls, selector("processInfo"));
        thermalSelector = selector("thermalState");
        sendInteger = reinterpret_cast<SendInteger>(send);
    }
};

}  // namespace

ThermalState readThermalState() {
    static const ThermalQuery query;
    if (!query.processInfo || !query.thermalSelector) return ThermalState::nominal;
    const long state = query.sendInteger(query.processInfo, query.thermalSelector);
    return static_cast<ThermalState>(std::clamp(state, 0L, 3L));
}

}  // namespace qm

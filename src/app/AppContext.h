// What every window and section of the desktop app works with: the shared Monitor
// (live figures and rolling series), the history store (minutes and events, written by
// whichever process records), the user's settings and the main window's selection.
// Everything here lives on the GUI thread and outlives every window.
#pragma once

#include "core/Defaults.h"
#include "engine/Monitor.h"
#include "history/HistoryStore.h"
#include "shell/UIState.h"

namespace qm::app {

class MemoryPartsSeries;

struct AppContext {
    Monitor* monitor = nullptr;
    HistoryStore* history = nullptr;  // null when no history database could be opened
    Defaults* defaults = nullptr;
    UIState* ui = nullptr;
    // The memory breakdown since launch; without one the memory section keeps its own
    // from when it is first opened.
    const MemoryPartsSeries* memoryParts = nullptr;
    // True when this process holds the recorder lock: it writes minutes and events and
    // owns the alert center. Otherwise a `quillmere record` service does.
    bool recording = false;
};

}  // namespace qm::app

// A Monitor, settings and selection for widget tests: the sampler never ticks on its
// own (a manual queue), the history is absent unless a test opens one, and the
// settings live in memory. Tests feed snapshots with monitor.apply().
#pragma once

#include <memory>

#include "app/AppContext.h"
#include "app/QtMainQueue.h"
#include "core/Defaults.h"
#include "core/Queue.h"
#include "engine/Monitor.h"
#include "engine/Sampler.h"
#include "shell/UIState.h"

namespace qm::app::test {

struct AppTestContext {
    AppTestContext() {
        Sampler::Dependencies deps;
        deps.queue = std::make_unique<ManualQueue>();
        deps.defaults = &defaults;
        monitor = std::make_unique<Monitor>(mainQueue, std::make_unique<Sampler>(std::move(deps)), nullptr);
        context.monitor = monitor.get();
        context.defaults = &defaults;
        context.ui = &ui;
    }

    QtMainQueue mainQueue;
    MemoryDefaults defaults;
    UIState ui;
    std::unique_ptr<Monitor> monitor;
    AppContext context;
};

}  // namespace qm::app::test

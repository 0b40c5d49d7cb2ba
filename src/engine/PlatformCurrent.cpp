#include "core/Platform.h"
#include "processes/Sources.h"
#include "readers/MachineInfo.h"
#include "readers/Sources.h"

namespace qm {

Platform Platform::current() {
    Platform p;
    p.cpu = [] { return makeCPUSource(); };
    p.memory = [] { return makeMemorySource(); };
    p.network = [] { return makeNetworkSource(); };
    p.disk = [] { return makeDiskSource(); };
    p.sensors = [] { return makeSensorSource(); };
    p.power = [] { return makePowerSource(); };
    p.gpu = [] { return makeGPUSource(); };
    p.processes = [] { return makeProcessListSource(); };
    p.self = [] { return makeSelfSource(); };
    p.bootTime = [] { return readBootTime(); };
    p.thermalState = [] { return readThermalState(); };
    p.coreTypes = [] { return MachineInfo::current().coreTypes; };
    return p;
}

}  // namespace qm

// The operating system's kernel as one row. macOS shows it as the process
// kernel_task (pid 0). Linux runs the kernel's own work in kernel threads: kthreadd
// (pid 2) and its children (kworker/…, ksoftirqd/…, rcu_…, migration/…, irq/…).
// Their names carry CPU numbers and work-queue names that come and go, so as rows
// they would crowd the list and give the history unstable keys. They all belong to
// one group with a fixed key, the Linux counterpart of kernel_task.
//
// Neither kernel group is ever blamed for CPU: the time it shows is mostly work done
// for others (interrupts, I/O, memory reclaim) or, on a Mac, time taken on purpose to
// cool the chip.
#pragma once

#include <string_view>

namespace qm {

// History rows, events and the library's entry ("Linux kernel", "kthreadd") use these.
inline constexpr std::string_view kernelGroupKey = "proc:kernel";
inline constexpr std::string_view kernelGroupName = "Linux kernel";
inline constexpr std::string_view macKernelGroupKey = "proc:kernel_task";

// True for the group that is the kernel itself, on either system.
constexpr bool isKernelGroup(std::string_view groupID) {
    return groupID == kernelGroupKey || groupID == macKernelGroupKey;
}

}  // namespace qm

// The parts of a crashed machine, each planted by a function of its own, in this order. One thread.
#pragma once

#include "platform/embedded/crashdump/crashed_machine.h"
#include "platform/embedded/crashdump/kernel_pool.h"

namespace varnel::embedded {

/// Maps the kernel's image and fills the variables that depend on nothing else.
void PlantKernel(CrashedMachine* machine);

/// The lists of loaded modules and of unloaded drivers.
void PlantModules(CrashedMachine* machine, KernelPool* pool);

/// Processes, threads with their stacks, processors with their registers. Needs the modules.
void PlantProcessors(CrashedMachine* machine, KernelPool* pool);

/// The block that tells debuggers where everything is. Comes behind all that it tells of.
void PlantDebuggerData(CrashedMachine* machine);

/// Page table entries of odd kinds.
void PlantProbes(CrashedMachine* machine, KernelPool* pool);

/// What stands behind the dump proper.
void PlantBlobs(CrashedMachine* machine);

}  // namespace varnel::embedded

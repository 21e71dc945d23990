/// Counts the allocations of a loaded DLL and makes them fail, like those of the test program itself.
///
/// A DLL with its own C++ runtime has its own operator new, which a test program cannot replace. But that calls the C
/// runtime's DLL through imports, which a test can redirect.
#pragma once

#include <cstddef>

#include <windows.h>

namespace support {

/// From now on, the allocations of `module` are counted by CountLiveAllocations and fail with an AllocationFault (see
/// allocation_faults.h). Earlier ones are not counted. Lasts until the DLL is unloaded; what it frees while it is
/// unloaded still counts.
///
/// Its blocks get guard bytes. Freed blocks are filled and kept for a while. A write outside a block or to a freed one
/// ends the program with a message.
void TrackAllocations(HMODULE module);

/// While this lives, the `number`-th allocation (from 1) in the tracked DLLs fails, on any thread; if `Lasting`, so do
/// all after it. Unlike with an AllocationFault, COM's allocations never fail. There must be only one at a time.
class ModuleAllocationFault {
  public:
    enum Extent { Once, Lasting };

    explicit ModuleAllocationFault(std::size_t number, Extent extent = Once) noexcept;
    ~ModuleAllocationFault();
    ModuleAllocationFault(const ModuleAllocationFault&) = delete;
    ModuleAllocationFault& operator=(const ModuleAllocationFault&) = delete;

    /// Whether that allocation was requested, and so failed.
    [[nodiscard]] bool Fired() const noexcept;
};

/// While this lives, every allocation in the tracked DLLs takes a millisecond or more, so that the calls of several
/// threads overlap.
class SlowModuleAllocations {
  public:
    SlowModuleAllocations() noexcept;
    ~SlowModuleAllocations();
    SlowModuleAllocations(const SlowModuleAllocations&) = delete;
    SlowModuleAllocations& operator=(const SlowModuleAllocations&) = delete;
};

} // namespace support

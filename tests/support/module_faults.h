/// Allocations of a loaded DLL, counted and made to fail like those of the test program itself.
///
/// A DLL with a C++ run-time library of its own has an operator new of its own, which a test program cannot replace.
/// But its memory comes from the C run-time library's DLL in the end, through imported functions, and those a test can
/// redirect.
#pragma once

#include <cstddef>

#include <windows.h>

namespace support {

/// From now on, what `module` allocates is counted by CountLiveAllocations and fails when an AllocationFault says so
/// (see allocation_faults.h). Memory that it has already is left out of the count. Lasts until the DLL is unloaded;
/// what it frees while being unloaded still counts.
///
/// Its blocks get guard bytes, and freed ones are kept for a while, filled with others. A write outside a block, or to
/// a freed one, ends the program with a message.
void FollowAllocations(HMODULE module);

/// As long as this lives, the `number`-th allocation (from 1) in the DLLs that are followed fails; if `Lasting`, so
/// does every one after it. Unlike an AllocationFault it leaves alone what COM allocates, even on a DLL's behalf. One
/// at a time.
class ModuleAllocationFault {
  public:
    enum Extent { Once, Lasting };

    explicit ModuleAllocationFault(std::size_t number, Extent extent = Once) noexcept;
    ~ModuleAllocationFault();
    ModuleAllocationFault(const ModuleAllocationFault&) = delete;
    ModuleAllocationFault& operator=(const ModuleAllocationFault&) = delete;

    /// Whether the allocation has been asked for and refused.
    [[nodiscard]] bool Fired() const noexcept;
};

/// As long as this lives, every allocation in the DLLs that are followed takes a while, so that what several threads do
/// at once happens at once.
class SlowModuleAllocations {
  public:
    SlowModuleAllocations() noexcept;
    ~SlowModuleAllocations();
    SlowModuleAllocations(const SlowModuleAllocations&) = delete;
    SlowModuleAllocations& operator=(const SlowModuleAllocations&) = delete;
};

} // namespace support

#include "tests/support/module_faults.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory_resource>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "tests/support/allocation_faults.h"

namespace support {
namespace {

// The armed fault. A target of 0 means none.
std::atomic<std::size_t> faultTarget;
std::atomic<bool> faultLasts;
std::atomic<std::size_t> allocationsSinceArmed;

std::atomic<bool> slow;

// NOLINTBEGIN(cppcoreguidelines-no-malloc): this is the allocator

/// Ends the program after an invalid write of the DLL.
[[noreturn]] void DieOfCorruption(const char* what) {
    std::fprintf(stderr, "A tracked DLL has written %s.\n", what);
    std::fflush(stderr);
    std::abort();
}

/// The live blocks of the tracked DLLs, which may also free blocks from before they were tracked. Its own memory
/// comes from malloc, because operator new is counted.
class Blocks {
  public:
    void* Allocate(std::size_t size) {
        auto* const memory = static_cast<unsigned char*>(std::malloc(size + 2 * guardSize));
        if (memory == nullptr) {
            return nullptr;
        }
        std::memset(memory, guardByte, guardSize);
        std::memset(memory + guardSize, freshByte, size);
        std::memset(memory + guardSize + size, guardByte, guardSize);
        void* const block = memory + guardSize;
        const std::lock_guard lock(m_mutex);
        m_sizes.emplace(block, size);
        CountObject(+1);
        return block;
    }
    void Free(void* block) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_sizes.find(block);
        if (found == m_sizes.end()) {
            std::free(block);
            return;
        }
        const std::size_t size = found->second;
        m_sizes.erase(found);
        CountObject(-1);
        auto* const start = static_cast<unsigned char*>(block);
        if (!IsFilled(start - guardSize, guardByte, guardSize) || !IsFilled(start + size, guardByte, guardSize)) {
            DieOfCorruption("outside one of its blocks");
        }
        std::memset(start, freedByte, size);
        Freed& oldest = m_freed[m_nextFreed++ % m_freed.size()];
        if (oldest.block != nullptr) {
            if (!IsFilled(oldest.block, freedByte, oldest.size)) {
                DieOfCorruption("to a block that it had freed");
            }
            std::free(oldest.block - guardSize);
        }
        oldest = {start, size};
    }
    /// The block's size; nothing if it is unknown.
    std::optional<std::size_t> SizeOf(void* block) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_sizes.find(block);
        return found != m_sizes.end() ? std::optional(found->second) : std::nullopt;
    }

  private:
    static constexpr std::size_t guardSize = 16;
    static constexpr unsigned char guardByte = 0xFD;
    static constexpr unsigned char freshByte = 0xCD;
    static constexpr unsigned char freedByte = 0xDD;

    struct Freed {
        unsigned char* block = nullptr;
        std::size_t size = 0;
    };

    static bool IsFilled(const unsigned char* bytes, unsigned char value, std::size_t count) {
        return std::all_of(bytes, bytes + count, [=](unsigned char byte) { return byte == value; });
    }

    class FromMalloc final : public std::pmr::memory_resource {
        void* do_allocate(std::size_t size, std::size_t /*alignment*/) override {
            void* const memory = std::malloc(size);
            if (memory == nullptr) {
                throw std::bad_alloc();
            }
            return memory;
        }
        void do_deallocate(void* memory, std::size_t /*size*/, std::size_t /*alignment*/) override {
            std::free(memory);
        }
        [[nodiscard]] bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
    };

    std::mutex m_mutex;
    FromMalloc m_fromMalloc;
    std::pmr::unordered_map<void*, std::size_t> m_sizes{&m_fromMalloc};
    std::array<Freed, 256> m_freed = {};
    std::size_t m_nextFreed = 0;
};

/// Lives as long as the process: DLLs free memory until its very end.
Blocks& KnownBlocks() {
    alignas(Blocks) static unsigned char memory[sizeof(Blocks)];
    static Blocks& blocks = *::new (memory) Blocks;
    return blocks;
}

/// Whether an allocation must fail. Call it once for each.
bool MustFail() noexcept {
    if (slow) {
        Sleep(1);
    }
    if (faultTarget != 0) {
        const std::size_t number = ++allocationsSinceArmed;
        if (faultLasts ? number >= faultTarget : number == faultTarget) {
            return true;
        }
    }
    return AllocationMustFail();
}

void* TrackedMalloc(std::size_t size) {
    return MustFail() ? nullptr : KnownBlocks().Allocate(size);
}

void* TrackedCalloc(std::size_t count, std::size_t size) {
    void* const block = TrackedMalloc(count * size);
    return block != nullptr ? std::memset(block, 0, count * size) : nullptr;
}

void TrackedFree(void* block) {
    KnownBlocks().Free(block);
}

void* TrackedRealloc(void* block, std::size_t size) {
    const std::optional<std::size_t> before = KnownBlocks().SizeOf(block);
    if (block != nullptr && !before.has_value()) {
        return MustFail() ? nullptr : std::realloc(block, size);
    }
    void* const moved = TrackedMalloc(size);
    if (moved != nullptr && before.has_value()) {
        std::memcpy(moved, block, std::min(size, *before));
        KnownBlocks().Free(block);
    }
    return moved;
}

// NOLINTEND(cppcoreguidelines-no-malloc)

struct Redirection {
    const char* name;
    ULONG_PTR replacement;
};

const Redirection redirections[] = {
    {"malloc", reinterpret_cast<ULONG_PTR>(&TrackedMalloc)},
    {"calloc", reinterpret_cast<ULONG_PTR>(&TrackedCalloc)},
    {"realloc", reinterpret_cast<ULONG_PTR>(&TrackedRealloc)},
    {"free", reinterpret_cast<ULONG_PTR>(&TrackedFree)},
};

/// A part of a loaded module, by its offset from the module's start.
template <class T> T* PartOf(HMODULE module, std::size_t offset) {
    return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(module) + offset);
}

/// The slot in which the loader has put the address of the imported function `name`; null if it is not imported.
IMAGE_THUNK_DATA* ImportSlot(HMODULE module, const char* name) {
    const auto* const dos = PartOf<const IMAGE_DOS_HEADER>(module, 0);
    const auto* const headers = PartOf<const IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(dos->e_lfanew));
    const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* dll = PartOf<const IMAGE_IMPORT_DESCRIPTOR>(module, imports); dll->Name != 0; ++dll) {
        const auto* wanted = PartOf<const IMAGE_THUNK_DATA>(module, dll->OriginalFirstThunk);
        auto* slot = PartOf<IMAGE_THUNK_DATA>(module, dll->FirstThunk);
        for (; wanted->u1.AddressOfData != 0; ++wanted, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(wanted->u1.Ordinal)) {
                continue;
            }
            const auto* const import = PartOf<const IMAGE_IMPORT_BY_NAME>(module, wanted->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), name) == 0) {
                return slot;
            }
        }
    }
    return nullptr;
}

} // namespace

void TrackAllocations(HMODULE module) {
    for (const Redirection& redirection : redirections) {
        IMAGE_THUNK_DATA* const slot = ImportSlot(module, redirection.name);
        if (slot == nullptr) {
            throw std::runtime_error(std::string("the DLL does not import ") + redirection.name);
        }
        DWORD before = 0;
        VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &before);
        slot->u1.Function = redirection.replacement;
        VirtualProtect(slot, sizeof(*slot), before, &before);
    }
}

ModuleAllocationFault::ModuleAllocationFault(std::size_t number, Extent extent) noexcept {
    allocationsSinceArmed = 0;
    faultLasts = extent == Lasting;
    faultTarget = number;
}

ModuleAllocationFault::~ModuleAllocationFault() {
    faultTarget = 0;
}

bool ModuleAllocationFault::Fired() const noexcept {
    return allocationsSinceArmed >= faultTarget;
}

SlowModuleAllocations::SlowModuleAllocations() noexcept {
    slow = true;
}

SlowModuleAllocations::~SlowModuleAllocations() {
    slow = false;
}

} // namespace support

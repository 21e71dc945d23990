#include "tests/support/allocation_faults.h"

#include <atomic>
#include <cstdlib>

namespace support {
namespace {

std::atomic<std::ptrdiff_t> liveObjects;
std::atomic<std::ptrdiff_t> liveBstrs;

// The armed fault. Only its own thread touches the countdown, so that no other thread's allocations disturb a test.
std::atomic<DWORD> faultThread;
std::size_t allocationsToFault;
bool faultLasts;

/// COM calls this at each use of its task allocator. Lives as long as the program and allocates nothing.
class BstrSpy final : public IMallocSpy {
  public:
    STDMETHOD(QueryInterface)(REFIID iid, void** object) override {
        const bool known = iid == IID_IMallocSpy || iid == IID_IUnknown;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHOD_(ULONG, AddRef)() override { return 2; }
    STDMETHOD_(ULONG, Release)() override { return 1; }

    STDMETHOD_(SIZE_T, PreAlloc)(SIZE_T size) override { return AllocationMustFail() ? 0 : size; }
    STDMETHOD_(void*, PostAlloc)(void* memory) override {
        liveBstrs += memory != nullptr;
        return memory;
    }
    STDMETHOD_(void*, PreFree)(void* memory, WINBOOL spied) override {
        liveBstrs -= memory != nullptr && spied;
        return memory;
    }
    STDMETHOD_(void, PostFree)(WINBOOL) override {}
    STDMETHOD_(SIZE_T, PreRealloc)(void* memory, SIZE_T size, void** unchanged, WINBOOL) override {
        *unchanged = memory;
        return AllocationMustFail() ? 0 : size;
    }
    STDMETHOD_(void*, PostRealloc)(void* memory, WINBOOL) override { return memory; }
    STDMETHOD_(void*, PreGetSize)(void* memory, WINBOOL) override { return memory; }
    STDMETHOD_(SIZE_T, PostGetSize)(SIZE_T size, WINBOOL) override { return size; }
    STDMETHOD_(void*, PreDidAlloc)(void* memory, WINBOOL) override { return memory; }
    STDMETHOD_(int, PostDidAlloc)(void*, WINBOOL, int actual) override { return actual; }
    STDMETHOD_(void, PreHeapMinimize)() override {}
    STDMETHOD_(void, PostHeapMinimize)() override {}
};

/// Installs the spy at the first call. Returns whether it sees every BSTR, which it does not if they are cached.
bool SpyOnBstrs() {
    static BstrSpy spy;
    static const bool seesAll = [] {
        if (FAILED(CoRegisterMallocSpy(&spy))) {
            return false;
        }
        const BSTR probe = SysAllocString(L"probe");
        const bool seesAllocation = liveBstrs == 1;
        SysFreeString(probe);
        return seesAllocation && liveBstrs == 0;
    }();
    return seesAll;
}

} // namespace

LiveAllocations CountLiveAllocations() {
    if (!SpyOnBstrs()) {
        ADD_FAILURE() << "BSTRs are cached, so they cannot be counted. Set OANOCACHE=1 in the environment.";
    }
    return {liveObjects, liveBstrs};
}

LiveAllocations ExpectNoLeaks::CountAfterFirstTrace() {
    { SCOPED_TRACE("a thread's first trace allocates memory that stays"); }
    return CountLiveAllocations();
}

ExpectNoLeaks::~ExpectNoLeaks() {
    LiveAllocations now = CountLiveAllocations();
    if (::testing::Test::HasFailure() || ::testing::Test::IsSkipped()) {
        now.objects = m_before.objects;
    }
    if (now != m_before) {
        ADD_FAILURE() << "Live allocations changed: objects by " << now.objects - m_before.objects << ", BSTRs by "
                      << now.bstrs - m_before.bstrs;
    }
}

AllocationFault::AllocationFault(std::size_t number, Extent extent) : m_number(number) {
    static_cast<void>(SpyOnBstrs());
    allocationsToFault = number;
    faultLasts = extent == Lasting;
    faultThread = GetCurrentThreadId();
}

AllocationFault::~AllocationFault() {
    faultThread = 0;
}

bool AllocationFault::Fired() const noexcept {
    return allocationsToFault == 0;
}

std::size_t AllocationFault::Requests() const noexcept {
    return m_number - allocationsToFault;
}

bool AllocationMustFail() noexcept {
    if (faultThread == 0 || faultThread != GetCurrentThreadId()) {
        return false;
    }
    return allocationsToFault == 0 ? faultLasts : --allocationsToFault == 0;
}

void CountObject(std::ptrdiff_t change) noexcept {
    liveObjects += change;
}

bool detail::ExpectOutcome(Outcome outcome, bool fired, std::size_t number, OutOfMemory allowed) {
    const char* complaint = nullptr;
    if (!fired && outcome != Outcome::Done) {
        complaint = "The operation failed without a failed allocation.";
    } else if (!fired && number == 1) {
        complaint = "The operation allocates nothing.";
    } else if (fired && outcome == Outcome::Done) {
        complaint = "Out of memory was not reported.";
    } else if (fired && outcome == Outcome::BadAlloc && allowed != OutOfMemory::ComErrorOrBadAlloc) {
        complaint = "std::bad_alloc instead of E_OUTOFMEMORY.";
    } else if (outcome == Outcome::Other) {
        complaint = "A failure other than out of memory.";
    }
    if (complaint != nullptr) {
        ADD_FAILURE() << complaint;
    }
    return complaint == nullptr;
}

} // namespace support

// The other forms of new and delete call these.
// NOLINTBEGIN(cppcoreguidelines-no-malloc): this is the allocator

void* operator new(std::size_t size) {
    void* const memory = support::AllocationMustFail() ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    support::CountObject(+1);
    return memory;
}

void operator delete(void* memory) noexcept {
    if (memory != nullptr) {
        support::CountObject(-1);
        std::free(memory);
    }
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc)

/// Allocations of a test program that are counted, to find leaks, and made to fail one at a time, to see what lack of
/// memory does. Counted are the objects that operator new makes and the BSTRs (with everything else that COM's task
/// allocator hands out). Linking this replaces the program's operator new and delete.
#pragma once

#include <comdef.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

namespace support {

/// What is allocated and not yet freed.
struct LiveAllocations {
    std::ptrdiff_t objects;
    std::ptrdiff_t bstrs;
    friend bool operator==(const LiveAllocations&, const LiveAllocations&) = default;
};

/// The program's live allocations, on all threads. BSTRs count from the first call on, and only when the environment
/// variable OANOCACHE is 1 (CTest sets it); without it, every call is a test failure.
[[nodiscard]] LiveAllocations CountLiveAllocations();

/// Adds a test failure unless exactly as much is allocated at the end of its scope as at the start. In a test that
/// has failed or was skipped only BSTRs are looked at, because its messages are objects too.
class ExpectNoLeaks {
  public:
    ExpectNoLeaks() : m_before(CountLiveAllocations()) {}
    ~ExpectNoLeaks();
    ExpectNoLeaks(const ExpectNoLeaks&) = delete;
    ExpectNoLeaks& operator=(const ExpectNoLeaks&) = delete;

  private:
    const LiveAllocations m_before;
};

/// During its life the `number`-th allocation (from 1) of this thread fails; if `Lasting`, so does every one after it.
/// One at a time.
class AllocationFault {
  public:
    enum Extent { Once, Lasting };

    explicit AllocationFault(std::size_t number, Extent extent = Once);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether the allocation has been asked for and refused.
    [[nodiscard]] bool Fired() const noexcept;
    /// How many allocations have been asked for so far, at most up to the one that failed.
    [[nodiscard]] std::size_t Requests() const noexcept;

  private:
    const std::size_t m_number;
};

/// How many allocations `operation` asks for, whether or not it frees them again.
template <class Operation> [[nodiscard]] std::size_t CountRequests(Operation operation) {
    const AllocationFault never(static_cast<std::size_t>(-1));
    operation();
    return never.Requests();
}

/// Whether the allocation that is being asked for must fail. Counts it; call it once for each. For code that stands in
/// for an allocator, such as the malloc of a loaded DLL.
[[nodiscard]] bool AllocationMustFail() noexcept;

/// Counts objects that such code has made (+1) or freed (-1).
void CountObject(std::ptrdiff_t change) noexcept;

/// How lack of memory may show itself.
enum class OutOfMemory {
    ComError,           ///< _com_error with E_OUTOFMEMORY, or E_OUTOFMEMORY if the operation returns an HRESULT
    ComErrorOrBadAlloc, ///< that, or std::bad_alloc
};

namespace detail {

enum class Outcome { Done, ComError, BadAlloc, Other };

/// Runs `operation` and tells how it ended. Allocates nothing by itself.
template <class Operation> Outcome Run(Operation& operation) {
    try {
        if constexpr (std::is_same_v<decltype(operation()), HRESULT>) {
            const HRESULT result = operation();
            return SUCCEEDED(result) ? Outcome::Done : result == E_OUTOFMEMORY ? Outcome::ComError : Outcome::Other;
        } else {
            static_cast<void>(operation());
            return Outcome::Done;
        }
    } catch (const _com_error& error) {
        return error.Error() == E_OUTOFMEMORY ? Outcome::ComError : Outcome::Other;
    } catch (const std::bad_alloc&) {
        return Outcome::BadAlloc;
    } catch (...) {
        return Outcome::Other;
    }
}

/// Whether `outcome` is what must come of a run in which the fault fired or not; adds a test failure if it is not.
bool ExpectOutcome(Outcome outcome, bool fired, std::size_t number, OutOfMemory allowed);

} // namespace detail

/// Makes a world with `setup()`, runs `operation(world)` with its first allocation failing, then `check(world)`; and so
/// on in a new world with the second allocation failing, until all succeed. Adds a test failure when lack of memory
/// shows itself in any way but the `allowed` one or not at all, when a run leaks, and when there was nothing to fail.
/// `setup` and `check` run without faults, and `check` only after a failed operation.
template <class Setup, class Operation, class Check>
void ForEachAllocationFailure(Setup setup, Operation operation, Check check,
                              OutOfMemory allowed = OutOfMemory::ComError) {
    for (std::size_t number = 1;; ++number) {
        const ::testing::ScopedTrace trace(__FILE__, __LINE__, "failing allocation: " + std::to_string(number));
        auto outcome = detail::Outcome::Done;
        bool fired = false;
        {
            const ExpectNoLeaks noLeaks;
            auto world = setup();
            const auto run = [&]() -> decltype(auto) { return operation(world); };
            {
                const AllocationFault fault(number);
                outcome = detail::Run(run);
                fired = fault.Fired();
            }
            if (fired) {
                check(world);
            }
        }
        // Said only now, because a message is an allocation too.
        if (!detail::ExpectOutcome(outcome, fired, number, allowed) || !fired) {
            break;
        }
    }
}

/// The same for an operation that needs no world.
template <class Operation>
void ForEachAllocationFailure(Operation operation, OutOfMemory allowed = OutOfMemory::ComError) {
    ForEachAllocationFailure([] { return 0; }, [&](int) -> decltype(auto) { return operation(); }, [](int) {}, allowed);
}

} // namespace support

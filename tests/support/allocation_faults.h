/// Counts the allocations of a test program, to find leaks, and makes them fail one at a time, to test running out of
/// memory. Counted are the objects of operator new, and the BSTRs with everything else from COM's task allocator.
/// Linking this replaces the program's operator new and delete.
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

/// Adds a test failure unless exactly as much is allocated at the end of its scope as at the start. In a failed or
/// skipped test only BSTRs count, because its messages are objects too.
class ExpectNoLeaks {
  public:
    ExpectNoLeaks() : m_before(CountAfterFirstTrace()) {}
    ~ExpectNoLeaks();
    ExpectNoLeaks(const ExpectNoLeaks&) = delete;
    ExpectNoLeaks& operator=(const ExpectNoLeaks&) = delete;

  private:
    static LiveAllocations CountAfterFirstTrace();

    const LiveAllocations m_before;
};

/// While this lives, the `number`-th allocation (from 1) of this thread fails; if `Lasting`, so do all after it. There
/// must be only one at a time.
class AllocationFault {
  public:
    enum Extent { Once, Lasting };

    explicit AllocationFault(std::size_t number, Extent extent = Once);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether that allocation was requested, and so failed.
    [[nodiscard]] bool Fired() const noexcept;
    /// The number of allocations requested so far, up to the one that failed.
    [[nodiscard]] std::size_t Requests() const noexcept;

  private:
    const std::size_t m_number;
};

/// The number of allocations that `operation` requests, including those that it frees.
template <class Operation> [[nodiscard]] std::size_t CountRequests(Operation operation) {
    const AllocationFault never(static_cast<std::size_t>(-1));
    operation();
    return never.Requests();
}

/// Counts a requested allocation and returns whether it must fail. For code that replaces an allocator, such as the
/// malloc of a loaded DLL. Call it once for each allocation.
[[nodiscard]] bool AllocationMustFail() noexcept;

/// Counts an object that such code has allocated (+1) or freed (-1).
void CountObject(std::ptrdiff_t change) noexcept;

/// How an operation may report that it is out of memory.
enum class OutOfMemory {
    ComError,           ///< _com_error with E_OUTOFMEMORY, or E_OUTOFMEMORY if the operation returns an HRESULT
    ComErrorOrBadAlloc, ///< that, or std::bad_alloc
};

namespace detail {

enum class Outcome { Done, ComError, BadAlloc, Other };

/// Runs `operation` and returns its outcome. Allocates nothing itself.
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

/// Returns whether `outcome` is right for a run in which the fault fired or not. Adds a test failure if it is not.
bool ExpectOutcome(Outcome outcome, bool fired, std::size_t number, OutOfMemory allowed);

} // namespace detail

/// Creates a world with `setup()`, runs `operation(world)` with its first allocation failing, then `check(world)`.
/// Repeats this in new worlds with the second allocation failing and so on, until all succeed. Adds a test failure if
/// the operation does not report out of memory in the `allowed` way, if a run leaks, and if nothing was allocated.
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
        // Only now, because a message is an allocation too.
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

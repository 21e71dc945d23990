/// Out of memory inside the DLL, at each of its allocations in turn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <windows.h>

#include <gtest/gtest.h>

#include "tests/module/dll.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/module_faults.h"

/// In a newly loaded DLL, prepared by `prepare`, runs `operation` with the DLL's first allocation failing; in another
/// one with the second; and so on until none is left. Expects E_OUTOFMEMORY each time, no leak, and S_OK when there is
/// memory again. `Lasting`: all later allocations of the operation fail too.
template <class Prepare, class Operation>
void ForEachFailureInFreshDll(Prepare prepare, Operation operation,
                              support::ModuleAllocationFault::Extent extent = support::ModuleAllocationFault::Once) {
    for (std::size_t number = 1;; ++number) {
        SCOPED_TRACE("failing allocation: " + std::to_string(number));
        const Dll dll;
        support::TrackAllocations(dll.Module());
        prepare(dll);
        const auto runWithFault = [&]() -> std::optional<HRESULT> {
            const support::ModuleAllocationFault fault(number, extent);
            const HRESULT hr = operation(dll);
            return fault.Fired() ? std::optional(hr) : std::nullopt;
        };

        const std::optional<HRESULT> first = runWithFault();
        if (!first.has_value()) {
            EXPECT_GT(number, 1U) << "nothing is allocated";
            return;
        }
        ASSERT_EQ(Result(*first), Result(E_OUTOFMEMORY));
        {
            // Only now, since the C runtimes allocate memory at the first failure that they keep.
            const support::ExpectNoLeaks noLeaks;
            ASSERT_EQ(Result(runWithFault().value_or(S_OK)), Result(E_OUTOFMEMORY));
        }
        EXPECT_EQ(Result(operation(dll)), Result(S_OK)) << "with memory again";
        EXPECT_EQ(Result(dll.CanUnloadNow()), Result(S_OK));
    }
}

/// Calls `call` with an out-pointer, which must be null after a failure. Releases what it receives.
template <class Call> HRESULT ResultWithOutPointer(Call call) {
    void* object = reinterpret_cast<void*>(std::uintptr_t{0xDEAD});
    const HRESULT hr = call(&object);
    if (FAILED(hr)) {
        EXPECT_EQ(object, nullptr);
    } else {
        static_cast<IUnknown*>(object)->Release();
    }
    return hr;
}

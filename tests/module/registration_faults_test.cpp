// Registration when a step fails, when access to the registry is denied, and when out of memory.

#include <cstddef>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/failures.h"
#include "tests/module/registration.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/imports.h"
#include "tests/support/module_faults.h"
#include "tests/support/wine.h"

namespace {

// --------------------------------------------------------------------------------------------------- when a step fails

/// Below a volatile key, no permanent key can be created, whatever the user's rights.
class FailingRegistration : public Registration {
  protected:
    static void MakeUnusable(const std::wstring& path) { const RegistryKey key(path, REG_OPTION_VOLATILE); }
    static constexpr HRESULT unusable = HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE);
};

class FailingScript : public FailingRegistration, public testing::WithParamInterface<Class> {};

TEST_P(FailingScript, Registering_EndsThereWithItsResult) {
    MakeUnusable(GetParam().ProgId());
    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(unusable));
}

/// What happens to the failing class's own entries is up to the platform's registrar (it removes them).
TEST_P(FailingScript, Registering_KeepsTheClassesBeforeAndGoesNoFurther) {
    MakeUnusable(GetParam().ProgId());
    std::ignore = m_dll.RegisterServer();
    RegistryLines wanted;
    for (const Class& row : classes) {
        if (row.script == GetParam().script) {
            break;
        }
        wanted.merge(EntriesOf(row, m_path));
    }
    const std::vector<std::wstring> own = {GetParam().ProgId(), GetParam().VersionedProgId(), ClassKey(GetParam())};
    EXPECT_EQ(Without(Registered(), Below(own, Registered())), wanted);
}

TEST_P(FailingScript, RegisteringAfterTheCauseIsGone_Succeeds) {
    MakeUnusable(GetParam().ProgId());
    std::ignore = m_dll.RegisterServer();
    RegDeleteTreeW(HKEY_CLASSES_ROOT, GetParam().ProgId().c_str());
    Register();
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), Registered()), RegistryLines());
}

INSTANTIATE_TEST_SUITE_P(Classes, FailingScript, testing::ValuesIn(classes), NameOf);

TEST_F(FailingRegistration, OfTheTypeLibrary_EndsWithItsResultAndKeepsTheClasses) {
    MakeUnusable(L"TypeLib\\" + GuidText(LIBID_NUVOLEXLib));
    CComPtr<ITypeLib> library;
    ASSERT_EQ(Result(LoadTypeLibEx(m_path.c_str(), REGKIND_NONE, &library)), Result(S_OK));
    const HRESULT wanted = RegisterTypeLib(library, m_path.data(), nullptr);
    ASSERT_TRUE(FAILED(wanted));

    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(wanted));
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), Registered()), RegistryLines());
}

// -------------------------------------------------------------------------------------------------- without permission

/// A class key with restricted access.
struct Restriction {
    const char* kind;
    std::wstring (*key)(const Class& row);
    ACCESS_MASK rights;
};

const Restriction restrictions[] = {
    {"ReadOnlyProgId", [](const Class& row) { return row.ProgId(); }, KEY_READ},
    {"ReadOnlyVersionedProgId", [](const Class& row) { return row.VersionedProgId() + L"\\CLSID"; }, KEY_READ},
    {"InaccessibleClassKey", [](const Class& row) { return ClassKey(row); }, READ_CONTROL},
};

class DeniedAccess : public Registration {
  protected:
    void SetUp() override {
        Registration::SetUp();
        Register();
        m_full = ClassesRoot();
    }

    RegistryLines m_full;
};

TEST_F(DeniedAccess, ToAKeyOfAClass_RegisteringEndsThereWithAccessDenied) {
    for (const Restriction& restriction : restrictions) {
        for (const Class& row : classes) {
            SCOPED_TRACE(testing::Message() << restriction.kind << " of " << row);
            {
                const RestrictedKey restricted(restriction.key(row), restriction.rights);
                EXPECT_EQ(Result(m_dll.RegisterServer()), Result(E_ACCESSDENIED));
            }
            const RegistryLines now = ClassesRoot();
            EXPECT_EQ(Without(now, m_full), RegistryLines());
            const RegistryLines lost = Without(m_full, now);
            EXPECT_EQ(Without(lost, EntriesOf(row, m_path)), RegistryLines()) << "lost, but not of this class";
            Register();
            ExpectClassesRoot(m_full);
        }
    }
}

TEST_F(DeniedAccess, ToTheTypeLibrary_RegisteringEndsWithItsResultAndKeepsTheClasses) {
    {
        const RestrictedKey readOnly(libraryKey + L"\\1.0", KEY_READ);
        CComPtr<ITypeLib> library;
        ASSERT_EQ(Result(LoadTypeLibEx(m_path.c_str(), REGKIND_NONE, &library)), Result(S_OK));
        const HRESULT wanted = RegisterTypeLib(library, m_path.data(), nullptr);
        ASSERT_TRUE(FAILED(wanted));
        EXPECT_EQ(Result(m_dll.RegisterServer()), Result(wanted));
    }
    ExpectClassesRoot(m_full);
    Register();
    ExpectClassesRoot(m_full);
}

TEST_F(DeniedAccess, ToTheTypeLibrary_UnregisteringFailsUntilAccessIsGranted) {
    for (const std::wstring& key : {libraryKey, libraryKey + L"\\1.0"}) {
        SCOPED_TRACE(support::Printed(key));
        {
            const RestrictedKey inaccessible(key, READ_CONTROL);
            EXPECT_TRUE(FAILED(m_dll.UnregisterServer()));
        }
        EXPECT_EQ(Without(ClassesRoot(), m_full), RegistryLines());
        Unregister();
        ExpectClassesRoot(commonKeys);
        Register();
    }
}

/// A key that cannot be read does not count as missing.
TEST_F(DeniedAccess, ToAllThatIsLeftOfTheTypeLibrary_UnregisteringFails) {
    for (const Class& row : classes) {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, (L"Interface\\" + GuidText(*row.iid)).c_str());
    }
    {
        const RestrictedKey inaccessible(libraryKey + L"\\1.0", READ_CONTROL);
        EXPECT_TRUE(FAILED(m_dll.UnregisterServer()));
    }
    Unregister();
    ExpectClassesRoot(commonKeys);
}

// ------------------------------------------------------------------------- each change of the registry refused in turn

/// Selects the change of the registry that is refused.
struct Refusal {
    static inline int countdown = 0; ///< until the change to be refused; 0: none
    static inline bool lasting = false;
    static inline bool fired = false;

    /// Call once for each change.
    static bool IsDue() {
        if (countdown > 0 && --countdown == 0) {
            fired = true;
            return true;
        }
        return fired && lasting;
    }
};

/// Replaces a registry function.
template <auto function> struct Change;
template <class... Arguments, LSTATUS(WINAPI* function)(Arguments...)> struct Change<function> {
    static LSTATUS WINAPI Make(Arguments... arguments) {
        return Refusal::IsDue() ? ERROR_ACCESS_DENIED : function(arguments...);
    }
};

/// Refuses some registry calls of the platform's DLLs that write for ours.
class RefusedChanges : public DeniedAccess {
  protected:
    void SetUp() override {
        if (!support::RunningUnderWine()) {
            GTEST_SKIP() << "NOT TESTED: which functions the DLLs import is known only for Wine.";
        }
        DeniedAccess::SetUp();
        m_redirected = std::make_unique<const Redirected>();
    }

    enum Extent { Once, Lasting };

    struct Outcome {
        HRESULT result;
        bool refused; ///< whether there were that many changes
    };

    /// Runs `operation` with the `number`-th change of the registry refused and, if `Lasting`, all later ones.
    template <class Operation> Outcome Refuse(int number, Extent extent, Operation operation) {
        Refusal::countdown = number;
        Refusal::lasting = extent == Lasting;
        Refusal::fired = false;
        const HRESULT hr = operation();
        const bool refused = std::exchange(Refusal::fired, false);
        Refusal::countdown = 0;
        return {hr, refused};
    }

    /// Skips some of many changes of the same kind, to save time.
    static int Next(int number) { return number < 25 ? number + 1 : number + 4; }

  private:
    struct Redirected {
        const Dll registrar{L"atl.dll"};
        const Dll automation{L"oleaut32.dll"};
        const support::RedirectedImport imports[8] = {
            {registrar.Module(), "RegCreateKeyW", &Change<&RegCreateKeyW>::Make},
            {registrar.Module(), "RegSetValueExW", &Change<&RegSetValueExW>::Make},
            {registrar.Module(), "RegDeleteKeyW", &Change<&RegDeleteKeyW>::Make},
            {registrar.Module(), "RegDeleteTreeW", &Change<&RegDeleteTreeW>::Make},
            {automation.Module(), "RegCreateKeyExW", &Change<&RegCreateKeyExW>::Make},
            {automation.Module(), "RegSetValueExW", &Change<&RegSetValueExW>::Make},
            {automation.Module(), "RegDeleteKeyW", &Change<&RegDeleteKeyW>::Make},
            {automation.Module(), "RegDeleteKeyExW", &Change<&RegDeleteKeyExW>::Make},
        };
    };

    std::unique_ptr<const Redirected> m_redirected;
};

/// Wine's RegisterTypeLib ignores most refusals, so S_OK guarantees only the classes.
TEST_F(RefusedChanges, WhileRegistering_EndWithAResultAndAreRepaired) {
    int denied = 0;
    for (int number = 1;; number = Next(number)) {
        SCOPED_TRACE(number);
        Unregister();
        const auto [hr, refused] = Refuse(number, Once, [this] { return m_dll.RegisterServer(); });
        const RegistryLines now = ClassesRoot();
        EXPECT_EQ(Without(now, m_full), RegistryLines());
        if (SUCCEEDED(hr)) {
            EXPECT_EQ(Without(EntriesOfAllClasses(m_path), now), RegistryLines());
        }
        denied += hr == E_ACCESSDENIED ? 1 : 0;
        Register();
        ExpectClassesRoot(m_full);
        if (!refused || HasFailure()) {
            break;
        }
    }
    EXPECT_GT(denied, 50);
}

/// Wine's registrar and UnRegisterTypeLib ignore refusals, so check that the next call removes the rest.
TEST_F(RefusedChanges, WhileUnregistering_AreCompletedByUnregisteringAgain) {
    for (int number = 1;; number = Next(number)) {
        SCOPED_TRACE(number);
        const bool refused = Refuse(number, Once, [this] { return m_dll.UnregisterServer(); }).refused;
        EXPECT_EQ(Without(ClassesRoot(), m_full), RegistryLines());
        Unregister();
        ExpectClassesRoot(commonKeys);
        Register();
        if (!refused || HasFailure()) {
            break;
        }
    }
    ExpectClassesRoot(m_full);
}

TEST_F(RefusedChanges, All_ChangeNothing) {
    EXPECT_EQ(Result(Refuse(1, Lasting, [this] { return m_dll.RegisterServer(); }).result), Result(E_ACCESSDENIED));
    ExpectClassesRoot(m_full);
    EXPECT_TRUE(FAILED(Refuse(1, Lasting, [this] { return m_dll.UnregisterServer(); }).result));
    ExpectClassesRoot(m_full);
    Unregister();
    EXPECT_EQ(Result(Refuse(1, Lasting, [this] { return m_dll.RegisterServer(); }).result), Result(E_ACCESSDENIED));
    ExpectClassesRoot(commonKeys);
    EXPECT_EQ(Result(Refuse(1, Lasting, [this] { return m_dll.UnregisterServer(); }).result), Result(S_OK))
        << "nothing to remove";
}

TEST_F(RefusedChanges, OnlyAnotherVersionRegistered_UnregisteringNeedsNone) {
    Unregister();
    RegistryKey(libraryKey + L"\\2.0\\409\\win64").SetText(L"", L"X:\\another.tlb");
    EXPECT_EQ(Result(Refuse(1, Lasting, [this] { return m_dll.UnregisterServer(); }).result), Result(S_OK));
}

// ------------------------------------------------------------------------------------------------------ out of memory

void RegisterAtAnyFailure(support::ModuleAllocationFault::Extent extent) {
    ForEachFailureInFreshDll([](const Dll&) {}, [](const Dll& dll) { return dll.RegisterServer(); }, extent);
}

void UnregisterAtAnyFailure(support::ModuleAllocationFault::Extent extent) {
    ForEachFailureInFreshDll([](const Dll& dll) { ASSERT_EQ(Result(dll.RegisterServer()), Result(S_OK)); },
                             [](const Dll& dll) { return dll.UnregisterServer(); }, extent);
}

TEST_F(Registration, Registering_AtAnyAllocationThatFails_EndsWithOutOfMemory) {
    RegisterAtAnyFailure(support::ModuleAllocationFault::Once);
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), Registered()), RegistryLines());
    EXPECT_EQ(Without(EntriesOfTypeLibrary(m_path), Registered()), RegistryLines());
}

TEST_F(Registration, Registering_AllAllocationsFailingFromAnyOn_EndsWithOutOfMemory) {
    RegisterAtAnyFailure(support::ModuleAllocationFault::Lasting);
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), Registered()), RegistryLines());
}

TEST_F(Registration, Unregistering_AtAnyAllocationThatFails_EndsWithOutOfMemory) {
    UnregisterAtAnyFailure(support::ModuleAllocationFault::Once);
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

TEST_F(Registration, Unregistering_AllAllocationsFailingFromAnyOn_EndsWithOutOfMemory) {
    UnregisterAtAnyFailure(support::ModuleAllocationFault::Lasting);
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

using support::AllocationFault;

/// COM's and the DLL's allocations fail. Separate tests cover the platform's functions for type libraries, where the
/// result depends on the platform: Wine's LoadTypeLibEx, for instance, silently loses names.
class RegistrationWithoutMemory : public DeniedAccess {
  protected:
    void SetUp() override {
        DeniedAccess::SetUp();
        support::TrackAllocations(m_dll.Module());
        platformHasMemory = true;
    }

    struct Outcome {
        HRESULT result;
        bool failed;     ///< whether there were that many allocations
        bool inPlatform; ///< whether it failed in a function for type libraries
    };

    /// Runs `operation` with the `number`-th allocation failing. It must leak no memory and, unless the allocation is
    /// the platform's, return E_OUTOFMEMORY.
    template <class Operation> Outcome Fail(std::size_t number, AllocationFault::Extent extent, Operation operation) {
        Outcome outcome = {};
        failedInPlatform = false;
        const support::LiveAllocations before = support::CountLiveAllocations();
        {
            const AllocationFault fault(number, extent);
            armedFault = &fault;
            outcome.result = operation();
            armedFault = nullptr;
            outcome.failed = fault.Fired();
        }
        const support::LiveAllocations after = support::CountLiveAllocations();
        outcome.inPlatform = failedInPlatform;
        EXPECT_EQ(after.objects, before.objects);
        EXPECT_EQ(after.bstrs, before.bstrs);
        if (!outcome.inPlatform) {
            EXPECT_EQ(Result(outcome.result), Result(outcome.failed ? E_OUTOFMEMORY : S_OK));
        }
        return outcome;
    }

    /// For each `step`-th allocation failing: the classes are registered as far as the result promises, and registering
    /// again completes everything. Returns how many allocations failed.
    int FailWhileRegistering(AllocationFault::Extent extent, std::size_t step) {
        int failures = 0;
        for (std::size_t number = 1; !HasFailure(); number += step, ++failures) {
            SCOPED_TRACE(testing::Message() << "allocation " << number);
            Unregister();
            const Outcome outcome = Fail(number, extent, [this] { return m_dll.RegisterServer(); });
            const RegistryLines now = ClassesRoot();
            EXPECT_EQ(Without(now, m_full), RegistryLines());
            if (SUCCEEDED(outcome.result) || outcome.inPlatform) {
                EXPECT_EQ(Without(EntriesOfAllClasses(m_path), now), RegistryLines());
            }
            Register();
            ExpectClassesRoot(m_full);
            if (!outcome.failed) {
                break;
            }
        }
        return failures;
    }

    /// The same for unregistering: the next call removes the rest.
    int FailWhileUnregistering(AllocationFault::Extent extent, std::size_t step) {
        int failures = 0;
        for (std::size_t number = 1; !HasFailure(); number += step, ++failures) {
            SCOPED_TRACE(testing::Message() << "allocation " << number);
            const Outcome outcome = Fail(number, extent, [this] { return m_dll.UnregisterServer(); });
            const RegistryLines left = ClassesRoot();
            if (SUCCEEDED(outcome.result)) {
                EXPECT_EQ(left, commonKeys);
            } else {
                EXPECT_EQ(Without(left, m_full), RegistryLines());
            }
            Unregister();
            ExpectClassesRoot(commonKeys);
            Register();
            if (!outcome.failed) {
                break;
            }
        }
        ExpectClassesRoot(m_full);
        return failures;
    }

    static inline bool platformHasMemory = true;

  private:
    /// Runs `call` on another thread, where allocations do not fail.
    template <class Call> static HRESULT WithMemory(Call call) {
        struct Run {
            Call& call;
            HRESULT result;
        } run = {call, E_UNEXPECTED};
        const HANDLE thread = CreateThread(
            nullptr, 0,
            [](void* parameter) -> DWORD {
                static_cast<Run*>(parameter)->result = static_cast<Run*>(parameter)->call();
                return 0;
            },
            &run, 0, nullptr);
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
        return run.result;
    }
    /// Runs `call` and records whether an allocation fails in it.
    template <class Call> static HRESULT InPlatform(Call call) {
        if (platformHasMemory || armedFault == nullptr) {
            return WithMemory(call);
        }
        const bool failedBefore = armedFault->Fired();
        const HRESULT hr = call();
        failedInPlatform = failedInPlatform || (!failedBefore && armedFault->Fired());
        return hr;
    }

    static HRESULT WINAPI Load(LPCOLESTR file, REGKIND kind, ITypeLib** library) {
        return InPlatform([=] { return LoadTypeLibEx(file, kind, library); });
    }
    static HRESULT WINAPI UnRegister(REFGUID id, WORD major, WORD minor, LCID language, SYSKIND system) {
        return InPlatform([&] { return UnRegisterTypeLib(id, major, minor, language, system); });
    }
    /// Never out of memory: Wine's function crashes when it cannot allocate a type's name.
    static HRESULT WINAPI RegisterAlways(ITypeLib* library, LPOLESTR path, LPOLESTR helpFolder) {
        return WithMemory([=] { return RegisterTypeLib(library, path, helpFolder); });
    }

    static inline const AllocationFault* armedFault = nullptr;
    static inline bool failedInPlatform = false;

    const support::RedirectedImport m_redirected[3] = {
        {m_dll.Module(), "LoadTypeLibEx", &Load},
        {m_dll.Module(), "RegisterTypeLib", &RegisterAlways},
        {m_dll.Module(), "UnRegisterTypeLib", &UnRegister},
    };
};

// Each class allocates twice, the type library three times.

TEST_F(RegistrationWithoutMemory, Registering_AtEachAllocation_EndsWithOutOfMemoryAndIsRepaired) {
    EXPECT_EQ(FailWhileRegistering(AllocationFault::Once, 1), 17);
}

TEST_F(RegistrationWithoutMemory, Registering_FromEachAllocationOn_EndsWithOutOfMemoryAndIsRepaired) {
    EXPECT_EQ(FailWhileRegistering(AllocationFault::Lasting, 1), 17);
}

TEST_F(RegistrationWithoutMemory, Unregistering_AtEachAllocation_EndsWithOutOfMemoryAndIsCompletedByTheNext) {
    EXPECT_EQ(FailWhileUnregistering(AllocationFault::Once, 1), 17);
}

TEST_F(RegistrationWithoutMemory, Unregistering_FromEachAllocationOn_EndsWithOutOfMemoryAndIsCompletedByTheNext) {
    EXPECT_EQ(FailWhileUnregistering(AllocationFault::Lasting, 1), 17);
}

// Every seventh of the platform's many allocations.

TEST_F(RegistrationWithoutMemory, Registering_ThePlatformWithoutMemory_KeepsTheClassesAndIsRepaired) {
    platformHasMemory = false;
    EXPECT_GT(FailWhileRegistering(AllocationFault::Once, 7), 17);
}

TEST_F(RegistrationWithoutMemory, Unregistering_ThePlatformWithoutMemory_IsCompletedByTheNext) {
    platformHasMemory = false;
    EXPECT_GT(FailWhileUnregistering(AllocationFault::Once, 7), 17);
}

TEST_F(RegistrationWithoutMemory, UnregisteringWhatWasNeverRegistered_WritesNothing) {
    Unregister();
    int failures = 0;
    for (bool failed = true; failed && !HasFailure(); failures += failed ? 1 : 0) {
        failed = Fail(static_cast<std::size_t>(failures) + 1, AllocationFault::Once, [this] {
                     return m_dll.UnregisterServer();
                 }).failed;
        ExpectClassesRoot(commonKeys);
    }
    EXPECT_EQ(failures, 16);
}

} // namespace

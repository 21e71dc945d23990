// Every member of all seven classes, and everything else that clients call, with the first allocation failing, then the
// second, and so on until none is left: COM's and the DLL's, only that one or all from that one on. The caller gets
// E_OUTOFMEMORY, no memory leaks, and the objects still work.

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/core/textfiles.h"
#include "tests/module/dll.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::AllocationFault;

/// A member as the type information describes it.
struct Member {
    std::wstring name;
    DISPID id = 0;
    WORD kind = 0;
    std::vector<VARTYPE> parameters;
};

std::vector<Member> MembersOf(IDispatch* object) {
    CComPtr<ITypeInfo> info;
    EXPECT_EQ(Result(object->GetTypeInfo(0, 0, &info)), Result(S_OK));
    TYPEATTR* attributes = nullptr;
    info->GetTypeAttr(&attributes);
    std::vector<Member> members;
    for (UINT i = 0; i < attributes->cFuncs; ++i) {
        FUNCDESC* function = nullptr;
        info->GetFuncDesc(i, &function);
        if (function->oVft >= static_cast<SHORT>(7 * sizeof(void*))) {
            support::Bstr name;
            info->GetDocumentation(function->memid, name.Out(), nullptr, nullptr, nullptr);
            Member member = {static_cast<BSTR>(name), function->memid, static_cast<WORD>(function->invkind), {}};
            for (SHORT parameter = 0; parameter < function->cParams; ++parameter) {
                member.parameters.push_back(function->lprgelemdescParam[parameter].tdesc.vt);
            }
            members.push_back(member);
        }
        info->ReleaseFuncDesc(function);
    }
    info->ReleaseTypeAttr(attributes);
    return members;
}

/// A late-bound call, prepared so that only the call itself allocates.
class PreparedCall {
  public:
    PreparedCall(const Member& member, const std::wstring& text, IDispatch* element, int index) : m_member(member) {
        const std::size_t count = member.parameters.size();
        for (std::size_t i = 0; i < count; ++i) {
            VARIANT& argument = m_arguments.at(count - 1 - i);
            switch (member.parameters[i]) {
            case VT_BSTR:
            case VT_VARIANT:
                V_VT(&argument) = VT_BSTR;
                V_BSTR(&argument) = SysAllocString(text.c_str());
                break;
            case VT_PTR:
                V_VT(&argument) = VT_DISPATCH;
                V_DISPATCH(&argument) = element;
                element->AddRef();
                break;
            default: // a double for integers, so that it must be converted
                V_VT(&argument) = VT_R8;
                V_R8(&argument) = index;
                break;
            }
        }
    }
    PreparedCall(const PreparedCall&) = delete;
    PreparedCall& operator=(const PreparedCall&) = delete;
    ~PreparedCall() {
        for (VARIANT& argument : m_arguments) {
            VariantClear(&argument);
        }
    }

    /// Calls and frees the result. Returns the member's HRESULT instead of DISP_E_EXCEPTION.
    HRESULT operator()(IDispatch* object) {
        DISPID newValue = DISPID_PROPERTYPUT;
        DISPPARAMS parameters = {m_arguments.data(), &newValue, static_cast<UINT>(m_member.parameters.size()),
                                 m_member.kind == DISPATCH_PROPERTYPUT ? 1U : 0U};
        VARIANT result = {};
        EXCEPINFO exception = {};
        const HRESULT hr =
            object->Invoke(m_member.id, IID_NULL, 0x0409, m_member.kind, &parameters, &result, &exception, nullptr);
        VariantClear(&result);
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        SysFreeString(exception.bstrHelpFile);
        return hr == DISP_E_EXCEPTION ? exception.scode : hr;
    }

  private:
    const Member& m_member;
    std::array<VARIANT, 2> m_arguments = {};
};

class FaultSweep : public testing::TestWithParam<Class> {
  protected:
    FaultSweep() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        support::WriteBytes(m_path, "first\r\nsecond\r\n");
        support::TrackAllocations(m_dll.Module());
        const CComPtr<IDispatch> object = m_dll.Object(GetParam());
        m_members = MembersOf(object);
        for (const Member& member : m_members) { // one-time allocations of a process are not leaks
            PreparedCall call(member, m_path, Element(), 99);
            static_cast<void>(call(object));
        }
        SetErrorInfo(0, nullptr);
    }
    ~FaultSweep() override {
        SetErrorInfo(0, nullptr);
        CoUninitialize();
    }

    /// An object that may be an element of a list of this class.
    [[nodiscard]] CComPtr<IDispatch> Element() const {
        return m_dll.Object(GetParam().clsid == &CLSID_NXFileStreamList ? classes[3] : classes[1]);
    }

    /// Runs `operation` in a new world of `setup`, with each allocation failing in turn. If one failed, it must return
    /// E_OUTOFMEMORY or `tolerated`, otherwise `wanted`. Afterwards `usable` must be true.
    template <class Setup, class Operation, class Usable>
    void Sweep(Setup setup, Operation operation, Usable usable, HRESULT wanted = S_OK,
               HRESULT tolerated = E_OUTOFMEMORY) {
        for (const auto extent : {AllocationFault::Once, AllocationFault::Lasting}) {
            bool fired = true;
            for (std::size_t number = 1; fired; ++number) {
                HRESULT hr = S_OK;
                bool works = true;
                const support::LiveAllocations before = support::CountLiveAllocations();
                {
                    auto world = setup();
                    {
                        const AllocationFault fault(number, extent);
                        hr = operation(world);
                        fired = fault.Fired();
                    }
                    SetErrorInfo(0, nullptr);
                    works = usable(world);
                    SetErrorInfo(0, nullptr);
                }
                const support::LiveAllocations after = support::CountLiveAllocations();
                m_faults += fired ? 1 : 0;
                const bool isTold = fired ? hr == E_OUTOFMEMORY || hr == tolerated : hr == wanted;
                if (!isTold || !works || after != before) {
                    ADD_FAILURE() << "allocation " << number << (extent == AllocationFault::Lasting ? " and later" : "")
                                  << ": " << Result(hr) << (works ? "" : ", the object no longer works")
                                  << ", objects left: " << after.objects - before.objects
                                  << ", BSTRs left: " << after.bstrs - before.bstrs;
                    return;
                }
            }
        }
    }

    /// By contract, the collection's Item succeeds even if the value cannot be copied.
    static bool MayLoseItsCopy(const Member& member) {
        return GetParam().clsid == &CLSID_NXVariantCollection && member.name == L"Item";
    }

    const support::TemporaryFolder m_folder;
    const std::wstring m_path = m_folder / L"lines.txt";
    const Dll m_dll;
    std::vector<Member> m_members;
    int m_faults = 0; ///< allocations that failed
};

TEST_P(FaultSweep, EveryMember_LateBound) {
    for (const Member& member : m_members) {
        for (const bool filled : {false, true}) {
            for (const int index : {0, 1}) {
                SCOPED_TRACE(testing::Message() << support::Printed(member.name) << ", kind " << member.kind
                                                << (filled ? ", filled" : ", new") << ", index " << index);
                struct World {
                    CComPtr<IDispatch> object;
                    std::unique_ptr<PreparedCall> call;
                };
                const auto setup = [&] {
                    World world = {m_dll.Object(GetParam()), nullptr};
                    for (const Member& other : m_members) {
                        if (filled && (other.name == L"Add" || other.name == L"Open" || other.name == L"Value") &&
                            other.kind != DISPATCH_PROPERTYGET) {
                            PreparedCall(other, m_path, Element(), 0)(world.object);
                            PreparedCall(other, m_path, Element(), 0)(world.object);
                        }
                    }
                    world.call = std::make_unique<PreparedCall>(member, m_path, Element(), index);
                    return world;
                };
                World untouched = setup();
                const HRESULT wanted = (*untouched.call)(untouched.object);
                untouched = World();
                SetErrorInfo(0, nullptr);
                Sweep(
                    setup, [](World& world) { return (*world.call)(world.object); },
                    [&](World& world) {
                        const HRESULT hr = (*world.call)(world.object);
                        return hr == S_OK || hr == E_FAIL;
                    },
                    wanted, FAILED(wanted) || MayLoseItsCopy(member) ? wanted : E_OUTOFMEMORY);
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
    EXPECT_GT(m_faults, 20) << "hardly anything is allocated";
    RecordProperty("faults", m_faults);
}

TEST_P(FaultSweep, CreationAndAggregation) {
    const CComPtr<IClassFactory> factory = m_dll.Factory(GetParam());
    const CComPtr<IClassFactory> outer = factory; // any object will do
    for (IUnknown* const controlling : {static_cast<IUnknown*>(nullptr), static_cast<IUnknown*>(outer)}) {
        Sweep([] { return CComPtr<IUnknown>(); },
              [&](CComPtr<IUnknown>& object) {
                  return factory->CreateInstance(controlling, IID_IUnknown, reinterpret_cast<void**>(&object));
              },
              [&](const CComPtr<IUnknown>& object) {
                  CComPtr<IUnknown> another;
                  const HRESULT hr =
                      factory->CreateInstance(controlling, IID_IUnknown, reinterpret_cast<void**>(&another));
                  return hr == S_OK && (object != nullptr || another != nullptr);
              });
    }
}

TEST_P(FaultSweep, Names_NeedNoMemory) {
    const CComPtr<IDispatch> object = m_dll.Object(GetParam());
    for (const Member& member : m_members) {
        const AllocationFault fault(1);
        auto* name = const_cast<LPOLESTR>(member.name.c_str());
        DISPID id = 0;
        const HRESULT hr = object->GetIDsOfNames(IID_NULL, &name, 1, 0x0409, &id);
        const bool fired = fault.Fired();
        EXPECT_EQ(Result(hr), Result(S_OK));
        EXPECT_EQ(id, member.id);
        EXPECT_FALSE(fired);
    }
}

TEST_P(FaultSweep, Enumeration) {
    const bool isCollection = std::ranges::any_of(m_members, [](const Member& m) { return m.id == DISPID_NEWENUM; });
    if (!isCollection) {
        return; // nothing to enumerate
    }
    const auto walk = [](const CComPtr<IDispatch>& object) {
        DISPPARAMS none = {};
        VARIANT made = {};
        HRESULT hr = object->Invoke(DISPID_NEWENUM, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &made, nullptr, nullptr);
        if (FAILED(hr)) {
            return E_OUTOFMEMORY; // DISP_E_EXCEPTION without details
        }
        CComPtr<IEnumVARIANT> enumerator;
        V_UNKNOWN(&made)->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator));
        VariantClear(&made);
        CComPtr<IEnumVARIANT> clone;
        hr = enumerator->Clone(&clone);
        std::array<VARIANT, 3> elements = {};
        ULONG fetched = 0;
        if (SUCCEEDED(hr)) {
            hr = clone->Next(3, elements.data(), &fetched);
        }
        std::for_each_n(elements.begin(), fetched, [](VARIANT& element) { VariantClear(&element); });
        return SUCCEEDED(hr) ? S_OK : hr;
    };
    Sweep(
        [&] {
            CComPtr<IDispatch> object = m_dll.Object(GetParam());
            for (const Member& member : m_members) {
                if (member.name == L"Add") {
                    PreparedCall(member, m_path, Element(), 0)(object);
                    PreparedCall(member, m_path, Element(), 0)(object);
                }
            }
            return object;
        },
        walk, [&](const CComPtr<IDispatch>& object) { return walk(object) == S_OK; });
}

INSTANTIATE_TEST_SUITE_P(Classes, FaultSweep, testing::ValuesIn(classes),
                         [](const testing::TestParamInfo<Class>& row) { return std::string(row.param.name); });

} // namespace

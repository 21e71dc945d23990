#include "automation/nxtypeinfo.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <span>

namespace {

bool IsDirectType(VARTYPE type) noexcept {
    return type == VT_I4 || type == VT_INT || type == VT_BOOL || type == VT_BSTR;
}

/// Reads an argument that needs no conversion, or none that could fail, for a parameter of a direct type.
bool ReadArgument(const VARIANT& argument, VARTYPE type, INT_PTR& value) noexcept {
    const bool isVariable = V_VT(&argument) == (VT_BYREF | VT_VARIANT) && V_BYREF(&argument) != nullptr;
    VARIANT given = argument;
    if (isVariable) { // script engines may keep their variables at odd addresses
        std::memcpy(&given, V_BYREF(&argument), sizeof(given));
    }
    switch (V_VT(&given)) {
    case VT_I4:
    case VT_INT:
        value = V_I4(&given);
        return type == VT_I4 || type == VT_INT;
    case VT_I2:
        value = V_I2(&given);
        return type == VT_I4 || type == VT_INT;
    case VT_BOOL:
        value = V_BOOL(&given);
        return type == VT_BOOL;
    case VT_BSTR:
        // A null one in a variable is not for the short way: the member would get a text of length zero.
        value = reinterpret_cast<INT_PTR>(V_BSTR(&given));
        return type == VT_BSTR && (!isVariable || value != 0);
    default:
        return false;
    }
}

/// Gives the result, of that type, to the caller, or frees it when there is no pvarResult. E_OUTOFMEMORY: *pvarResult
/// stays as it was.
HRESULT GiveResult(VARTYPE type, VARIANT& result, VARIANT* pvarResult) noexcept {
    if (pvarResult == nullptr) {
        if (type == VT_BSTR) {
            SysFreeString(V_BSTR(&result));
        }
    } else if (type != VT_VOID) {
        if (type == VT_BSTR && V_BSTR(&result) == nullptr) {
            // To script engines a null BSTR is not always a text. Wine's dispatcher spares them it, too.
            V_BSTR(&result) = SysAllocStringLen(nullptr, 0);
            if (V_BSTR(&result) == nullptr) {
                return E_OUTOFMEMORY;
            }
        }
        V_VT(&result) = type;
        *pvarResult = result;
    }
    return S_OK;
}

/// Reports a member's failure to a late-bound caller, who gets the thread's error record in *pexcepinfo. What the
/// record does not tell stays as it was there.
HRESULT ReportException(HRESULT failure, EXCEPINFO* pexcepinfo) noexcept {
    if (pexcepinfo != nullptr) {
        pexcepinfo->scode = failure;
        CComPtr<IErrorInfo> record;
        if (GetErrorInfo(0, &record) == S_OK) {
            record->GetDescription(&pexcepinfo->bstrDescription);
            record->GetSource(&pexcepinfo->bstrSource);
            record->GetHelpFile(&pexcepinfo->bstrHelpFile);
            record->GetHelpContext(&pexcepinfo->dwHelpContext);
        }
    }
    return DISP_E_EXCEPTION;
}

bool EqualIgnoringAsciiCase(wchar_t left, wchar_t right) noexcept {
    const auto lower = [](wchar_t c) noexcept { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c | 0x20) : c; };
    return lower(left) == lower(right);
}

} // namespace

HRESULT CNXTypeInfoHolder::EnsureMembers() noexcept {
    if (m_membersKnown.load(std::memory_order_acquire)) {
        return S_OK;
    }
    ITypeInfo* info = nullptr;
    HRESULT hr = EnsureTI(&info);
    if (FAILED(hr)) {
        return hr;
    }
    const CComCritSecLock lock(_Module.m_csObjMap);
    if (m_membersKnown.load(std::memory_order_relaxed)) {
        return S_OK;
    }
    TYPEATTR* attributes = nullptr;
    hr = info->GetTypeAttr(&attributes);
    if (FAILED(hr)) {
        return hr;
    }
    m_memberCount = attributes->cFuncs;
    info->ReleaseTypeAttr(attributes);
    m_members.reset(new (std::nothrow) Member[m_memberCount]{});
    if (m_members == nullptr) {
        return E_OUTOFMEMORY;
    }
    for (UINT i = 0; i < m_memberCount; ++i) {
        hr = Describe(info, i, m_members[i]);
        if (FAILED(hr)) {
            return hr;
        }
    }
    m_membersKnown.store(true, std::memory_order_release);
    return S_OK;
}

HRESULT CNXTypeInfoHolder::Describe(ITypeInfo* info, UINT index, Member& member) noexcept {
    FUNCDESC* function = nullptr;
    HRESULT hr = info->GetFuncDesc(index, &function);
    if (FAILED(hr)) {
        return hr;
    }
    member.id = function->memid;
    member.kind = static_cast<WORD>(function->invkind);
    member.parameters = static_cast<UINT>(function->cParams);
    member.slot = static_cast<UINT>(function->oVft) / static_cast<UINT>(sizeof(void*));
    member.result = function->elemdescFunc.tdesc.vt;
    if (member.result == VT_INT) {
        member.result = VT_I4; // as the platform's dispatcher gives it to callers
    }
    const std::span<const ELEMDESC> parameters(function->lprgelemdescParam, member.parameters);
    member.direct = parameters.size() <= mostParameters && (member.result == VT_VOID || IsDirectType(member.result)) &&
                    std::ranges::all_of(parameters, IsDirectType, [](const ELEMDESC& e) { return e.tdesc.vt; });
    if (member.direct) {
        std::ranges::transform(parameters, member.types, [](const ELEMDESC& e) { return e.tdesc.vt; });
    }
    info->ReleaseFuncDesc(function);

    BSTR name = nullptr;
    hr = info->GetDocumentation(member.id, &name, nullptr, nullptr, nullptr);
    if (SUCCEEDED(hr) && name != nullptr && SysStringLen(name) <= longestName) {
        std::wcscpy(member.name, name);
    }
    SysFreeString(name);
    return hr;
}

const CNXTypeInfoHolder::Member* CNXTypeInfoHolder::Find(DISPID id, WORD flags) const noexcept {
    const std::span<const Member> members(m_members.get(), m_memberCount);
    const auto found = std::ranges::find_if(
        members, [=](const Member& member) { return member.id == id && (member.kind & flags) != 0; });
    return found != members.end() ? &*found : nullptr;
}

const CNXTypeInfoHolder::Member* CNXTypeInfoHolder::Find(const wchar_t* name) const noexcept {
    const std::size_t length = std::wcslen(name);
    const std::span<const Member> members(m_members.get(), m_memberCount);
    const auto found = std::ranges::find_if(members, [=](const Member& member) {
        return length != 0 && length <= longestName && member.name[length] == L'\0' &&
               std::equal(name, name + length, member.name, EqualIgnoringAsciiCase);
    });
    return found != members.end() ? &*found : nullptr;
}

HRESULT CNXTypeInfoHolder::GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID lcid,
                                         DISPID* rgdispid) noexcept {
    if (cNames == 1 && rgszNames != nullptr && *rgszNames != nullptr && rgdispid != nullptr &&
        SUCCEEDED(EnsureMembers())) {
        const Member* const member = Find(*rgszNames);
        if (member != nullptr) {
            *rgdispid = member->id;
            return S_OK;
        }
    }
    return CComTypeInfoHolder::GetIDsOfNames(riid, rgszNames, cNames, lcid, rgdispid);
}

HRESULT CNXTypeInfoHolder::Invoke(IDispatch* p, DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags,
                                  DISPPARAMS* pdispparams, VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr) {
    const HRESULT hr = EnsureMembers();
    if (FAILED(hr)) {
        return hr;
    }
    const Member* const member = Find(dispidMember, wFlags);
    if (member != nullptr && pdispparams != nullptr) {
        if (pdispparams->cArgs > member->parameters) {
            return DISP_E_BADPARAMCOUNT;
        }
        Places places = {};
        if (ReadArguments(*member, wFlags, *pdispparams, places)) {
            return Call(p, *member, places, pvarResult, pexcepinfo);
        }
    }
    return CComTypeInfoHolder::Invoke(p, dispidMember, riid, lcid, wFlags, pdispparams, pvarResult, pexcepinfo,
                                      puArgErr);
}

bool CNXTypeInfoHolder::ReadArguments(const Member& member, WORD flags, const DISPPARAMS& given,
                                      Places& places) noexcept {
    const bool isPut = member.kind == DISPATCH_PROPERTYPUT;
    if (!member.direct || given.cArgs != member.parameters || given.cNamedArgs != (isPut ? 1 : 0) ||
        (isPut && (flags != DISPATCH_PROPERTYPUT || given.rgdispidNamedArgs[0] != DISPID_PROPERTYPUT))) {
        return false;
    }
    for (UINT i = 0; i < given.cArgs; ++i) { // they come last first
        if (!ReadArgument(given.rgvarg[given.cArgs - 1 - i], member.types[i], places[i])) {
            return false;
        }
    }
    return true;
}

HRESULT CNXTypeInfoHolder::Call(IDispatch* p, const Member& member, Places places, VARIANT* pvarResult,
                                EXCEPINFO* pexcepinfo) {
    VARIANT result = {}; // its value too: a member that fails leaves it as it is
    places[member.parameters] = reinterpret_cast<Place>(&V_I8(&result));

    // Places that a member has no parameter for do no harm: the caller clears them away.
    using Method = HRESULT(STDMETHODCALLTYPE*)(IDispatch*, Place, Place, Place);
    const auto* const vtable = *reinterpret_cast<Method* const*>(p);
    const HRESULT hr = vtable[member.slot](p, places[0], places[1], places[2]);
    const HRESULT given = GiveResult(member.result, result, pvarResult);
    if (FAILED(hr)) {
        return ReportException(hr, pexcepinfo);
    }
    return FAILED(given) ? given : hr;
}

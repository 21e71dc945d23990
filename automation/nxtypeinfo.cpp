#include "automation/nxtypeinfo.h"

#include <algorithm>
#include <new>
#include <span>

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
    m_members.reset(new (std::nothrow) Member[m_memberCount]);
    if (m_members == nullptr) {
        return E_OUTOFMEMORY;
    }
    for (UINT i = 0; i < m_memberCount; ++i) {
        FUNCDESC* function = nullptr;
        hr = info->GetFuncDesc(i, &function);
        if (FAILED(hr)) {
            return hr;
        }
        m_members[i] = {function->memid, static_cast<WORD>(function->invkind), static_cast<UINT>(function->cParams)};
        info->ReleaseFuncDesc(function);
    }
    m_membersKnown.store(true, std::memory_order_release);
    return S_OK;
}

const CNXTypeInfoHolder::Member* CNXTypeInfoHolder::Find(DISPID id, WORD flags) const noexcept {
    const std::span<const Member> members(m_members.get(), m_memberCount);
    const auto found = std::ranges::find_if(
        members, [=](const Member& member) { return member.id == id && (member.kind & flags) != 0; });
    return found != members.end() ? &*found : nullptr;
}

HRESULT CNXTypeInfoHolder::Invoke(IDispatch* p, DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags,
                                  DISPPARAMS* pdispparams, VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr) {
    const HRESULT hr = EnsureMembers();
    if (FAILED(hr)) {
        return hr;
    }
    const Member* const member = Find(dispidMember, wFlags);
    if (member != nullptr && pdispparams != nullptr && pdispparams->cArgs > member->parameters) {
        return DISP_E_BADPARAMCOUNT;
    }
    return CComTypeInfoHolder::Invoke(p, dispidMember, riid, lcid, wFlags, pdispparams, pvarResult, pexcepinfo,
                                      puArgErr);
}

#include "automation/nxtokenstringlist.h"

#include "automation/nxtokenstring.h"

namespace {

/// Creates a token string object in this module. The reference belongs to the caller.
HRESULT CreateTokenString(INXTokenString** ppCreated) noexcept {
    return CNXTokenString::_CreatorClass::CreateInstance(nullptr, IID_INXTokenString,
                                                         reinterpret_cast<void**>(ppCreated));
}

} // namespace

HRESULT CNXTokenStringList::get_Item(long index, INXTokenString** pVal) {
    if (!IsIndexOf(index, m_entries)) {
        return ReportIndexError();
    }
    return RunMember([&] {
        m_entries.HandOut(static_cast<std::size_t>(index), pVal);
        return S_OK;
    });
}

HRESULT CNXTokenStringList::put_Item(long index, INXTokenString* newVal) {
    if (index == static_cast<long>(m_entries.size())) {
        return Add(newVal);
    }
    if (!IsIndexOf(index, m_entries)) {
        return ReportIndexError();
    }
    return RunMember([&] {
        m_entries.Replace(static_cast<std::size_t>(index), newVal);
        return S_OK;
    });
}

HRESULT CNXTokenStringList::Remove(long index) {
    if (!IsIndexOf(index, m_entries)) {
        return ReportIndexError();
    }
    return RunMember([&] {
        m_entries.Remove(static_cast<std::size_t>(index));
        return S_OK;
    });
}

HRESULT CNXTokenStringList::get_New(INXTokenString** pVal) {
    return RunMember([&] {
        *pVal = nullptr;
        CComPtr<INXTokenString> created;
        const HRESULT hr = CreateTokenString(&created);
        m_entries.push_back(created);
        *pVal = created.Detach();
        return hr;
    });
}

HRESULT CNXTokenStringList::put_New(INXTokenString* newVal) {
    return Add(newVal);
}

HRESULT CNXTokenStringList::Add(INXTokenString* newVal) {
    return RunMember([&] {
        m_entries.emplace_back(newVal);
        return S_OK;
    });
}

HRESULT CNXTokenStringList::get_Count(long* pVal) {
    *pVal = static_cast<long>(m_entries.size());
    return S_OK;
}

HRESULT CNXTokenStringList::get__Item(long n, INXTokenString** pVal) {
    return IsIndexOf(n, m_entries) ? get_Item(n, pVal) : E_FAIL;
}

HRESULT CNXTokenStringList::get__NewEnum(IUnknown** ppEnum) {
    return CreateEnum<CNXInterfaceEnum<INXTokenString>>(GetUnknown(), m_entries, ppEnum);
}

HRESULT CNXTokenStringList::AddNew(INXTokenString** pVal) {
    const bool lateBound = IsCalledLateBound();
    return RunMember([&] {
        if (pVal != nullptr) {
            *pVal = nullptr;
        }
        CComPtr<INXTokenString> created;
        const HRESULT hr = CreateTokenString(&created);
        if (FAILED(hr)) {
            return hr;
        }
        m_entries.push_back(created);
        if (pVal != nullptr) {
            *pVal = lateBound ? created.Detach() : created.p;
        }
        return S_OK;
    });
}

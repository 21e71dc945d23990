#include "automation/nxtokenstringlist.h"

HRESULT CNXTokenStringList::put_Item(long index, INXTokenString* newVal) {
    return index == static_cast<long>(m_entries.size()) ? Add(newVal) : Replace(index, newVal);
}

HRESULT CNXTokenStringList::Remove(long index) {
    return RemoveAt(index);
}

HRESULT CNXTokenStringList::get__Item(long n, INXTokenString** pVal) {
    return IsIndexOf(n, m_entries) ? get_Item(n, pVal) : E_FAIL;
}

HRESULT CNXTokenStringList::AddNew(INXTokenString** pVal) {
    const bool lateBound = IsCalledLateBound();
    INXTokenString* created = nullptr;
    INXTokenString** const ppCreated = pVal != nullptr ? pVal : &created;
    const HRESULT hr = AppendNew(ppCreated);
    if (SUCCEEDED(hr) && (pVal == nullptr || !lateBound)) {
        (*ppCreated)->Release(); // the entry's own reference keeps the object
    }
    return hr;
}

#include "bench/automation.h"

#include <algorithm>

namespace bench {

CLSID ClassOf(const wchar_t* progId) {
    CLSID clsid = {};
    Check(CLSIDFromProgID(progId, &clsid));
    return clsid;
}

DISPID IdOf(IDispatch* object, const wchar_t* member) {
    DISPID id = DISPID_UNKNOWN;
    auto* name = const_cast<wchar_t*>(member);
    Check(object->GetIDsOfNames(IID_NULL, &name, 1, GetUserDefaultLCID(), &id));
    return id;
}

std::size_t Walk(const CComPtr<IDispatch>& collection, std::size_t batch) {
    const _variant_t created = Call(collection, DISPID_NEWENUM, valueFlags).Value();
    CComPtr<IEnumVARIANT> enumerator;
    Check(V_UNKNOWN(&created)->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)));

    std::vector<VARIANT> elements(batch);
    std::size_t count = 0;
    for (HRESULT hr = S_OK; hr == S_OK;) {
        ULONG fetched = 0;
        hr = enumerator->Next(static_cast<ULONG>(batch), elements.data(), &fetched);
        Check(SUCCEEDED(hr));
        std::for_each_n(elements.begin(), fetched, [](VARIANT& element) {
            Check(V_VT(&element) == VT_BSTR);
            VariantClear(&element);
        });
        count += fetched;
    }
    return count;
}

} // namespace bench

#include "automation/nxfilestreamlist.h"

HRESULT CNXFileStreamList::put_Item(long index, INXFileStream* newVal) {
    return Replace(index, newVal);
}

HRESULT CNXFileStreamList::Remove(int index) {
    return RemoveAt(index);
}

HRESULT CNXFileStreamList::get__Item(long n, INXFileStream** pVal) {
    return get_Item(n, pVal);
}

HRESULT CNXFileStreamList::AddNew(INXFileStream** pVal) {
    return pVal != nullptr ? AppendNew(pVal) : E_POINTER;
}

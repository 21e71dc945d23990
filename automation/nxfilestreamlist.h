/// The automation class NXFileStreamList.
#pragma once

#include "automation/nxfilestream.h"
#include "automation/nxobjectlist.h"

/// An ordered, 0-based list of file stream objects; CNXObjectList tells the rest.
class CNXFileStreamList : public CNXObjectList<CNXFileStreamList, INXFileStreamList, &CLSID_NXFileStreamList,
                                               &IID_INXFileStreamList, CNXFileStream, INXFileStream> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Removes entry `index`; the later ones move down by one.
    HRESULT STDMETHODCALLTYPE Remove(int index) override;

    /// Creates a file stream, appends it and gives the caller a reference. If it cannot be created, *pVal is null and
    /// the list unchanged. E_POINTER for a null pVal.
    HRESULT STDMETHODCALLTYPE AddNew(INXFileStream** pVal) override;
};

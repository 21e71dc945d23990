/// The automation class NXFileStreamList.
#pragma once

#include "automation/nxfilestream.h"
#include "automation/nxobjectlist.h"

/// A 0-based list of file stream objects. See CNXObjectList.
class CNXFileStreamList : public CNXObjectList<CNXFileStreamList, INXFileStreamList, &CLSID_NXFileStreamList,
                                               &IID_INXFileStreamList, CNXFileStream, INXFileStream> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Removes entry `index`.
    HRESULT STDMETHODCALLTYPE Remove(int index) override;

    /// Creates and appends a file stream, with a reference for the caller. On failure *pVal is null and the list
    /// unchanged. E_POINTER if pVal is null.
    HRESULT STDMETHODCALLTYPE AddNew(INXFileStream** pVal) override;
};

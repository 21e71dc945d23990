/// The automation class NXFileStream.
#pragma once

#include "automation/nxobject.h"
#include "core/nkfilestream.h"

/// A text file, read and written line by line. CNKFileStream has the rules. The last Release closes the file.
///
/// Members return no errors and do not check out-pointers. BSTR arguments are used up to their first NUL. If out of
/// memory, fileName returns E_OUTOFMEMORY and the others raise an exception (late-bound, Invoke returns its HRESULT).
class CNXFileStream : public CNXObject<CNXFileStream, INXFileStream, &CLSID_NXFileStream, &IID_INXFileStream> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Closes the stream, and creates or empties its file.
    HRESULT STDMETHODCALLTYPE Clear() override;
    HRESULT STDMETHODCALLTYPE Close() override;
    /// False when closed.
    HRESULT STDMETHODCALLTYPE Flush(VARIANT_BOOL* pbFlushed) override;
    /// Whether a line is blank, null or begins with ";" or "#".
    HRESULT STDMETHODCALLTYPE IsCommentLine(BSTR line, VARIANT_BOOL* pbComment) override;
    /// True when closed.
    HRESULT STDMETHODCALLTYPE IsEOF(VARIANT_BOOL* pbEOF) override;
    HRESULT STDMETHODCALLTYPE IsOpen(VARIANT_BOOL* pbOpen) override;
    /// Reads a line. *pbsLine belongs to the stream: the caller must not free it, and it is valid until the next call
    /// that reads, opens or clears. When closed or at the end of the file it is the last line again; null before the
    /// first read.
    HRESULT STDMETHODCALLTYPE ReadNextLine(BSTR* pbsLine) override;
    /// ReadNextLine for late-bound callers, which free results: the caller owns *pbsLine.
    HRESULT CopyNextLine(BSTR* pbsLine);
    /// Opens an existing file, in binary mode if `binary` is not zero. Stores the name even if that fails.
    HRESULT STDMETHODCALLTYPE Open(BSTR fileName, VARIANT_BOOL binary, VARIANT_BOOL* pbOpen) override;
    /// Moves back over the last line. False if the position was not moved.
    HRESULT STDMETHODCALLTYPE UngetLine(VARIANT_BOOL* pbMoved) override;
    /// Writes a line and a line end. False when closed.
    HRESULT STDMETHODCALLTYPE WriteLine(BSTR line, VARIANT_BOOL* pbWritten) override;
    /// A copy of the stored name, which the caller owns; null if there is none.
    HRESULT STDMETHODCALLTYPE get_fileName(BSTR* pVal) override;

  private:
    CNKFileStream m_stream;
};

/// The automation class NXFileStream.
#pragma once

#include "automation/nxobject.h"
#include "core/nkfilestream.h"

/// A text file that clients read and write line by line; CNKFileStream tells the rules. The file is closed when the
/// object's last reference goes.
///
/// No member returns an error or tests its out-pointer. Booleans are VARIANT_TRUE or VARIANT_FALSE. BSTR arguments stay
/// the caller's and count up to their first NUL. When memory runs out, fileName returns E_OUTOFMEMORY, and the others
/// raise the exception (late-bound, Invoke returns its HRESULT).
class CNXFileStream : public CNXObject<CNXFileStream, INXFileStream, &CLSID_NXFileStream, &IID_INXFileStream> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Empties the file on disk, or creates it, and leaves the stream closed.
    HRESULT STDMETHODCALLTYPE Clear() override;
    HRESULT STDMETHODCALLTYPE Close() override;
    /// False when closed.
    HRESULT STDMETHODCALLTYPE Flush(VARIANT_BOOL* pbFlushed) override;
    /// Whether a line is blank (null too) or begins with ";" or "#". Does not touch the file.
    HRESULT STDMETHODCALLTYPE IsCommentLine(BSTR line, VARIANT_BOOL* pbComment) override;
    /// True when closed.
    HRESULT STDMETHODCALLTYPE IsEOF(VARIANT_BOOL* pbEOF) override;
    HRESULT STDMETHODCALLTYPE IsOpen(VARIANT_BOOL* pbOpen) override;
    /// Reads a line. *pbsLine is the stream's own string: not to be freed, and valid until the stream's next call that
    /// reads, opens or clears, or its end. When closed or at the end of the file it is the same one again; null before
    /// the first read.
    HRESULT STDMETHODCALLTYPE ReadNextLine(BSTR* pbsLine) override;
    /// ReadNextLine for late-bound callers, which free what they receive: the caller owns *pbsLine.
    HRESULT CopyNextLine(BSTR* pbsLine);
    /// Opens an existing file, in binary mode when `binary` is not zero. The name is stored even when that fails.
    HRESULT STDMETHODCALLTYPE Open(BSTR fileName, VARIANT_BOOL binary, VARIANT_BOOL* pbOpen) override;
    /// Steps back over the line read last. False when the position was not moved.
    HRESULT STDMETHODCALLTYPE UngetLine(VARIANT_BOOL* pbMoved) override;
    /// Writes a line and a line end. False when closed.
    HRESULT STDMETHODCALLTYPE WriteLine(BSTR line, VARIANT_BOOL* pbWritten) override;
    /// A copy of the name given last, which the caller owns; null when there never was one.
    HRESULT STDMETHODCALLTYPE get_fileName(BSTR* pVal) override;

  private:
    CNKFileStream m_stream;
};

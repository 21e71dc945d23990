#include "automation/nxfilestream.h"

std::span<const CNXMember> CNXFileStream::Members() noexcept {
    static constexpr CNXMember members[] = {
        NXMethod<&CNXFileStream::Clear>(0x60020000, L"Clear"),
        NXMethod<&CNXFileStream::Close>(0x60020001, L"Close"),
        NXMethod<&CNXFileStream::Flush>(0x60020002, L"Flush"),
        NXMethod<&CNXFileStream::IsCommentLine>(0x60020003, L"IsCommentLine", L"line"),
        NXMethod<&CNXFileStream::IsEOF>(0x60020004, L"IsEOF"),
        NXMethod<&CNXFileStream::IsOpen>(0x60020005, L"IsOpen"),
        NXMethod<&CNXFileStream::CopyNextLine>(0x60020006, L"ReadNextLine"), // the vtable's lends its result
        NXMethod<&CNXFileStream::Open>(0x60020007, L"Open", L"fileName", L"binary"),
        NXMethod<&CNXFileStream::UngetLine>(0x60020008, L"UngetLine"),
        NXMethod<&CNXFileStream::WriteLine>(0x60020009, L"WriteLine", L"line"),
        NXGet<&CNXFileStream::get_fileName>(0x6002000A, L"fileName"),
    };
    return members;
}

HRESULT CNXFileStream::Clear() {
    m_stream.Clear();
    return S_OK;
}

HRESULT CNXFileStream::Close() {
    m_stream.Close();
    return S_OK;
}

HRESULT CNXFileStream::Flush(VARIANT_BOOL* pbFlushed) {
    *pbFlushed = VariantBool(m_stream.Flush());
    return S_OK;
}

HRESULT CNXFileStream::IsCommentLine(BSTR line, VARIANT_BOOL* pbComment) {
    *pbComment = VariantBool(CNKFileStream::IsCommentLine(static_cast<const wchar_t*>(line)));
    return S_OK;
}

HRESULT CNXFileStream::IsEOF(VARIANT_BOOL* pbEOF) {
    *pbEOF = VariantBool(m_stream.IsEOF());
    return S_OK;
}

HRESULT CNXFileStream::IsOpen(VARIANT_BOOL* pbOpen) {
    *pbOpen = VariantBool(m_stream.IsOpen());
    return S_OK;
}

HRESULT CNXFileStream::ReadNextLine(BSTR* pbsLine) {
    *pbsLine = m_stream.ReadNextLine();
    return S_OK;
}

HRESULT CNXFileStream::CopyNextLine(BSTR* pbsLine) {
    *pbsLine = m_stream.CopyNextLine();
    return S_OK;
}

HRESULT CNXFileStream::Open(BSTR fileName, VARIANT_BOOL binary, VARIANT_BOOL* pbOpen) {
    *pbOpen = VariantBool(m_stream.Open(fileName, binary != VARIANT_FALSE));
    return S_OK;
}

HRESULT CNXFileStream::UngetLine(VARIANT_BOOL* pbMoved) {
    *pbMoved = VariantBool(m_stream.UngetLine());
    return S_OK;
}

HRESULT CNXFileStream::WriteLine(BSTR line, VARIANT_BOOL* pbWritten) {
    *pbWritten = VariantBool(m_stream.WriteLine(static_cast<const wchar_t*>(line)));
    return S_OK;
}

HRESULT CNXFileStream::get_fileName(BSTR* pVal) {
    return CopyToBstr(m_stream.FileName(), pVal);
}

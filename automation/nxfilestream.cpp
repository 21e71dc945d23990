#include "automation/nxfilestream.h"

namespace {

VARIANT_BOOL VariantBool(bool value) noexcept {
    return value ? VARIANT_TRUE : VARIANT_FALSE;
}

} // namespace

HRESULT CNXFileStream::Clear() {
    return RunMember([&] {
        m_stream.Clear();
        return S_OK;
    });
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
    return RunMember([&] {
        *pbComment = VariantBool(CNKFileStream::IsCommentLine(line));
        return S_OK;
    });
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
    const bool lateBound = IsCalledLateBound();
    return RunMember([&] {
        const CNKString& line = m_stream.ReadNextLine();
        if (lateBound) {
            return CopyText(line, pbsLine);
        }
        *pbsLine = line;
        return S_OK;
    });
}

HRESULT CNXFileStream::Open(BSTR fileName, VARIANT_BOOL binary, VARIANT_BOOL* pbOpen) {
    return RunMember([&] {
        *pbOpen = VariantBool(m_stream.Open(fileName, binary != VARIANT_FALSE));
        return S_OK;
    });
}

HRESULT CNXFileStream::UngetLine(VARIANT_BOOL* pbMoved) {
    *pbMoved = VariantBool(m_stream.UngetLine());
    return S_OK;
}

HRESULT CNXFileStream::WriteLine(BSTR line, VARIANT_BOOL* pbWritten) {
    return RunMember([&] {
        *pbWritten = VariantBool(m_stream.WriteLine(static_cast<const wchar_t*>(line)));
        return S_OK;
    });
}

HRESULT CNXFileStream::get_fileName(BSTR* pVal) {
    return CopyText(m_stream.FileName(), pVal);
}

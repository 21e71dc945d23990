#include "core/nkfilestream.h"

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <string>
#include <utility>

using namespace std::literals;

namespace {

/// Appends `text` up to its first NUL, converted to the ANSI code page.
void AppendNarrow(std::string& bytes, const wchar_t* text) {
    if (text == nullptr) {
        return;
    }
    // ASCII is the first half of every ANSI code page.
    const std::wstring_view wide(text);
    if (std::ranges::all_of(wide, [](wchar_t c) { return c < 0x80; })) {
        const std::size_t before = bytes.size();
        bytes.resize(before + wide.size());
        std::ranges::transform(wide, bytes.begin() + static_cast<std::ptrdiff_t>(before),
                               [](wchar_t c) { return static_cast<char>(c); });
    } else {
        bytes += static_cast<const char*>(CNKString(text));
    }
}

/// The length in UTF-16 of text in the ANSI code page.
std::size_t WideLength(const char* text) noexcept {
    return static_cast<std::size_t>((std::max)(MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0), 1)) - 1;
}

bool IsComment(std::wstring_view line) noexcept {
    return line.starts_with(L';') || line.starts_with(L'#') ||
           std::ranges::all_of(line, [](wchar_t c) { return std::iswspace(c) != 0; });
}

} // namespace

CNKFileStream::CNKFileStream(CNKString fileName, bool /*unused*/) : m_fileName(std::move(fileName)) {}

// Opening and closing

bool CNKFileStream::Open(const CNKString& fileName, bool binary) {
    m_fileName = fileName; // first, since `fileName` may be the last line
    DiscardLastLine();
    Close();
    m_binary = binary;
    return m_file.Open(m_fileName);
}

bool CNKFileStream::Reopen(bool binary) {
    return Open(m_fileName, binary);
}

void CNKFileStream::Close() noexcept {
    m_file.Close();
    std::string().swap(m_writeBuffer); // frees its memory
    ResetFlags();
}

void CNKFileStream::Clear() {
    DiscardLastLine();
    Close();
    CNKFile::CreateEmpty(m_fileName);
}

bool CNKFileStream::Create(const CNKString& fileName, bool overwrite) {
    Close();
    m_fileName = fileName;
    if (!CNKFile::CreateEmpty(m_fileName)) {
        CNKFile::CreateEmpty(m_fileName); // retry: what was in the way may be gone
        return true;
    }
    if (overwrite) {
        Clear();
    }
    return overwrite;
}

// Reading

const CNKString& CNKFileStream::ReadNextLine() {
    ReadLine();
    return LastLine();
}

BSTR CNKFileStream::CopyNextLine() {
    ReadLine();
    if (!m_lastLineIsPiece) {
        return m_lastLine.copy();
    }
    DiscardLastLine(); // if the copy fails the last line is null, as when ReadNextLine runs out of memory
    const BSTR line = _com_util::ConvertStringToBSTR(m_piece);
    m_lastLineIsPiece = true;
    return line;
}

/// Reads the next line into m_piece, or into m_lastLine if it takes more than one piece.
void CNKFileStream::ReadLine() {
    if (IsEOF()) {
        return;
    }
    if (m_broken) {
        DiscardLastLine();
        return;
    }
    std::size_t length = ReadPiece();
    m_lastLineIsPiece = length < pieceLength;
    if (m_lastLineIsPiece) {
        return;
    }
    DiscardLastLine();
    std::wstring joined(CNKString(m_piece).View());
    while (length == pieceLength) {
        length = ReadPiece();
        joined += CNKString(m_piece).View();
    }
    m_lastLine = CNKString(joined.data(), joined.size());
}

const CNKString& CNKFileStream::LastLine() {
    if (m_lastLineIsPiece) {
        m_lastLineIsPiece = false;
        m_lastLine = m_piece;
    }
    return m_lastLine;
}

std::size_t CNKFileStream::LastLineLength() const noexcept {
    return m_lastLineIsPiece ? WideLength(m_piece) : m_lastLine.GetLength();
}

void CNKFileStream::DiscardLastLine() noexcept {
    m_lastLine.Clear();
    m_lastLineIsPiece = false;
}

/// Reads up to the next line end, at most pieceLength characters, into m_piece, adds a NUL, and returns the length up
/// to the first NUL. A line end right after a full piece is part of it; if anything else follows, the stream has
/// failed.
std::size_t CNKFileStream::ReadPiece() {
    m_piece[0] = '\0';
    if (m_endOfFile || m_failed) {
        m_failed = true;
        return 0;
    }
    constexpr std::size_t enough = pieceLength + 2;
    std::string_view ahead = m_file.Buffered().substr(0, enough);
    std::size_t lineFeed = ahead.find('\n');
    if (lineFeed == std::string_view::npos) {
        ahead = m_file.Peek(enough).substr(0, enough);
        lineFeed = ahead.find('\n');
    }
    std::size_t length = std::min(lineFeed, ahead.size());
    std::size_t taken = length;
    if (lineFeed != std::string_view::npos) {
        ++taken;
        if (!m_binary && length > 0 && ahead[length - 1] == '\r') {
            --length;
        }
    }
    if (length > pieceLength) {
        length = taken = pieceLength;
        m_failed = true;
    } else if (lineFeed == std::string_view::npos) {
        m_endOfFile = true;
        m_failed = length == 0;
    }
    m_file.Skip(taken);
    m_piece[ahead.copy(m_piece, length)] = '\0';
    return std::strlen(m_piece);
}

bool CNKFileStream::UngetLine() noexcept {
    const auto lineLength = static_cast<std::int64_t>(IsEOF() ? 0 : LastLineLength());
    return SeekOrReset(-2 - lineLength, FromCurrent);
}

bool CNKFileStream::IsCommentLine(const CNKString& line) noexcept {
    return IsComment(line.View());
}

bool CNKFileStream::IsCommentLine(const wchar_t* line) noexcept {
    return line == nullptr || IsComment(line);
}

// Writing

bool CNKFileStream::WriteLine(const wchar_t* line) {
    if (!IsOpen()) {
        return false;
    }
    m_writeBuffer.clear();
    AppendNarrow(m_writeBuffer, line);
    WriteBuffered();
    return true;
}

bool CNKFileStream::WriteLine(const CNKString& line) {
    return WriteLine(static_cast<const wchar_t*>(line));
}

bool CNKFileStream::WriteLine(const CNKTokenString& tokens) {
    if (!IsOpen()) {
        return false;
    }
    m_writeBuffer.clear();
    for (const CNKString& token : tokens) {
        if (&token != &tokens.front()) {
            m_writeBuffer += ';';
        }
        AppendNarrow(m_writeBuffer, token);
    }
    WriteBuffered();
    return true;
}

/// Writes m_writeBuffer and a line end in one call. In text mode every LF becomes CR LF.
void CNKFileStream::WriteBuffered() {
    if (m_broken || (m_failed && !m_endOfFile)) { // inside a cut line, or after a failed write
        return;
    }
    if (!m_binary && m_writeBuffer.find('\n') != std::string::npos) {
        std::string translated;
        for (const char c : m_writeBuffer) {
            translated += c == '\n' ? "\r\n"sv : std::string_view(&c, 1);
        }
        m_writeBuffer = std::move(translated);
    }
    m_writeBuffer += m_binary ? "\n" : "\r\n";
    m_broken = !m_file.Write(m_writeBuffer);
}

// Position

// Unlike UngetLine, these discard the buffer, to see what others have written.

bool CNKFileStream::SeekRead(int offset, unsigned int origin) noexcept {
    m_file.DiscardBuffer();
    return SeekOrReset(offset, origin);
}

bool CNKFileStream::SeekWrite(int offset, unsigned int origin) noexcept {
    const bool endOfFile = m_endOfFile;
    m_file.DiscardBuffer();
    const bool moved = SeekOrReset(offset, origin);
    m_endOfFile = moved && endOfFile; // for readers the end was still reached
    return moved;
}

bool CNKFileStream::SeekReadEnd() noexcept {
    SeekRead(0, FromEnd);
    return IsOpen();
}

bool CNKFileStream::SeekWriteEnd() noexcept {
    SeekWrite(0, FromEnd);
    return IsOpen();
}

bool CNKFileStream::RewindRead() noexcept {
    SeekRead(0, FromBeginning);
    return IsOpen();
}

bool CNKFileStream::RewindWrite() noexcept {
    return RewindRead();
}

/// Moves the position, unless the stream has failed or the position would be negative. Resets all flags either way.
/// Returns whether the position was moved.
bool CNKFileStream::SeekOrReset(std::int64_t offset, unsigned int origin) noexcept {
    const bool moved = IsOpen() && !m_failed && !m_broken && MoveTo(offset, origin);
    ResetFlags();
    return moved;
}

bool CNKFileStream::MoveTo(std::int64_t offset, unsigned int origin) noexcept {
    switch (origin) {
    case FromBeginning:
        return m_file.SetPosition(offset);
    case FromCurrent:
        return m_file.SetPosition(m_file.GetPosition() + offset);
    case FromEnd:
        return m_file.SetPosition(m_file.GetSize() + offset);
    default:
        return false;
    }
}

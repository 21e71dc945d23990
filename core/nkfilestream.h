/// The line file of the text library.
#pragma once

#include <cstdint>
#include <string>

#include "core/nkfile.h"
#include "core/nktokenstring.h"

/// A text file, open for reading and writing at once, that is read and written line by line.
///
///     CNKFileStream settings;
///     if (settings.Open(L"settings.ini", false)) {
///         while (!settings.IsEOF()) {
///             const CNKString line = settings.ReadNextLine();
///             if (!CNKFileStream::IsCommentLine(line)) {
///                 Apply(line);
///             }
///         }
///     }
///
/// Text in the file is in the system's ANSI code page. In text mode a line ends with CR LF, and a lone LF ends one too;
/// in binary mode only LF counts, and a CR before it belongs to the line. Lines are written up to their first NUL.
///
/// Reading and writing share one position, a byte offset in the file. Like every stream, this one has flags that tell
/// how far it got: end of file, failed (a read got nothing, or not the whole line), broken (the system refused a
/// write). A stream that has failed refuses to be moved: a refused seek leaves the position alone and resets the flags,
/// so that the next one works. Closing and rewinding reset the flags too.
///
/// No operation reports an error in another way than by its result. Lack of memory raises _com_error (E_OUTOFMEMORY) or
/// std::bad_alloc.
class CNKFileStream {
  public:
    /// The origin of a seek.
    enum Origin : unsigned int { FromBeginning = 0, FromCurrent = 1, FromEnd = 2 };

    /// Closed, and without a file name.
    CNKFileStream() noexcept = default;
    /// Stores the name and opens nothing. The flag has no effect.
    CNKFileStream(CNKString fileName, bool unused);
    CNKFileStream(const CNKFileStream&) = delete;
    CNKFileStream& operator=(const CNKFileStream&) = delete;
    /// Closes the file.
    virtual ~CNKFileStream() = default;

    // Opening and closing

    /// Closes what is open, stores the name and opens that file, which must exist, at its beginning. Others may read
    /// and write it meanwhile. Returns whether it is open now. Until a line is read, the last line is null.
    bool Open(const CNKString& fileName, bool binary);
    /// Opens the file of the stored name.
    bool Reopen(bool binary);
    /// Closes the file. The line read last stays.
    void Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return m_file.IsOpen(); }

    /// Empties the file of the stored name, or creates it, and leaves the stream closed, its last line null.
    void Clear();
    /// Stores the name, and empties or creates that file; the stream is closed afterwards. False when that worked and
    /// `overwrite` was false: the file has been emptied all the same.
    bool Create(const CNKString& fileName, bool overwrite);

    // Reading

    /// Reads a line and returns it, without its end. When closed, or once the end of the file was reached, the line
    /// read last, again. The string is the stream's own, up to its next call that reads, opens or clears.
    ///
    /// Lines are read in pieces of up to 127 characters. A line of exactly 127 comes joined with the next one. A longer
    /// one comes cut to 127, and the stream then has failed: lines come empty, and none are written, until the flags
    /// are reset; then reading goes on behind the cut. A file that ends with a line end has one more, empty line.
    const CNKString& ReadNextLine();
    /// The same line as a BSTR that the caller frees. The stream's own string is not made.
    [[nodiscard]] BSTR CopyNextLine();
    /// Steps back over a line end and the line read last, to read it again: 2 bytes and one for each of its characters;
    /// at the end of the file just 2 bytes. Returns whether the position was moved.
    bool UngetLine() noexcept;
    /// Whether the end of the file was reached; true when closed.
    [[nodiscard]] bool IsEOF() const noexcept { return !IsOpen() || m_endOfFile; }
    /// Whether a line is blank or begins with ";" or "#".
    [[nodiscard]] static bool IsCommentLine(const CNKString& line) noexcept;
    [[nodiscard]] static bool IsCommentLine(const wchar_t* line) noexcept;

    // Writing; false when closed, true otherwise

    /// Writes the line and a line end, at once. Null is an empty line.
    bool WriteLine(const CNKString& line);
    bool WriteLine(const wchar_t* line);
    /// Writes the tokens, with ";" between them, as a line. Without tokens it is empty.
    bool WriteLine(const CNKTokenString& tokens);
    /// Hands pending output to the system: there never is any.
    [[nodiscard]] bool Flush() const noexcept { return IsOpen(); }

    // Position: there is one for reading and writing, but seeking to write leaves the end-of-file flag

    /// Move the position. False when closed or refused, as before the beginning of the file.
    bool SeekRead(int offset, unsigned int origin) noexcept;
    bool SeekWrite(int offset, unsigned int origin) noexcept;
    /// The position in bytes, 0 when closed.
    [[nodiscard]] std::int64_t TellRead() const noexcept { return IsOpen() ? m_file.GetPosition() : 0; }

    /// Move to the end, or to the beginning with the flags reset. True when open, also when the move was refused.
    bool SeekReadEnd() noexcept;
    bool SeekWriteEnd() noexcept;
    bool RewindRead() noexcept;
    bool RewindWrite() noexcept;

    // File name

    [[nodiscard]] const CNKString& FileName() const noexcept { return m_fileName; }
    /// A copy of the stored name, which the caller frees; null when there is none.
    [[nodiscard]] BSTR GetFileName() const { return m_fileName.copy(); }
    /// Stores a name. An open file stays open.
    void SetFileName(const CNKString& fileName) noexcept { m_fileName = fileName; }

  private:
    static constexpr std::size_t pieceLength = 127;

    void ResetFlags() noexcept { m_endOfFile = m_failed = m_broken = false; }
    void ReadLine();
    const CNKString& LastLine();
    std::size_t LastLineLength() const noexcept;
    void DiscardLastLine() noexcept;
    std::size_t ReadPiece();
    void WriteBuffered();
    bool SeekOrReset(std::int64_t offset, unsigned int origin) noexcept;
    bool MoveTo(std::int64_t offset, unsigned int origin) noexcept;

    CNKFile m_file;
    bool m_binary = false;
    bool m_endOfFile = false;           ///< a read met the end
    bool m_failed = false;              ///< a read got nothing, or not the whole line
    bool m_broken = false;              ///< the system refused a write
    std::string m_writeBuffer;          ///< the line being written; kept for the next one
    char m_piece[pieceLength + 1] = {}; ///< the bytes of the last line, or of its last piece
    bool m_lastLineIsPiece = false;     ///< m_lastLine has not been made of them yet
    CNKString m_lastLine;
    CNKString m_fileName;
};

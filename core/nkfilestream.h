/// Text files, read and written line by line.
#pragma once

#include <cstdint>
#include <string>

#include "core/nkfile.h"
#include "core/nktokenstring.h"

/// A text file, open for reading and writing, that is read and written line by line.
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
/// Text in the file is in the system's ANSI code page. In text mode a line ends with CR LF or a lone LF. In binary mode
/// it ends with LF, and a CR before that belongs to the line. Lines are written up to their first NUL.
///
/// Reading and writing share one position, a byte offset in the file. As in iostreams there are three flags: end of
/// file, failed (a read got nothing, or not the whole line) and broken (a write failed). After a failure the
/// next seek only resets the flags and leaves the position unchanged; the one after it moves. Closing and rewinding
/// reset the flags too.
///
/// Operations report failure only through their return value, except that out of memory raises _com_error
/// (E_OUTOFMEMORY) or std::bad_alloc.
class CNKFileStream {
  public:
    /// The origin of a seek.
    enum Origin : unsigned int { FromBeginning = 0, FromCurrent = 1, FromEnd = 2 };

    /// Closed, and without a file name.
    CNKFileStream() noexcept = default;
    /// Stores the name without opening the file. The flag has no effect.
    CNKFileStream(CNKString fileName, bool unused);
    CNKFileStream(const CNKFileStream&) = delete;
    CNKFileStream& operator=(const CNKFileStream&) = delete;
    /// Closes the file.
    virtual ~CNKFileStream() = default;

    // Opening and closing

    /// Closes the current file, stores the name and opens an existing file at its beginning, shared for reading and
    /// writing. Returns whether it is open. Until a line is read, the last line is null.
    bool Open(const CNKString& fileName, bool binary);
    /// Opens the file with the stored name.
    bool Reopen(bool binary);
    /// Closes the file. Keeps the last line.
    void Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return m_file.IsOpen(); }

    /// Closes the stream, makes the last line null, and creates or empties the file with the stored name.
    void Clear();
    /// Closes the stream, stores the name, and creates or empties that file, whatever `overwrite` is. Returns false
    /// only if that succeeded and `overwrite` is false; true even if it failed.
    bool Create(const CNKString& fileName, bool overwrite);

    // Reading

    /// Reads a line and returns it without its line end. When closed or at the end of the file, returns the last line
    /// again. The string belongs to the stream and is valid until the next call that reads, opens or clears.
    ///
    /// Lines are read in pieces of up to 127 bytes. A line of exactly 127 is joined with the next one. A longer line is
    /// cut to 127, and the failed flag is set: until the flags are reset, reads return empty lines and writes do
    /// nothing. Then reading continues after the cut. A file that ends with a line end has one more, empty line.
    const CNKString& ReadNextLine();
    /// Reads a line like ReadNextLine into a BSTR that the caller frees. Does not create the stream's own string.
    [[nodiscard]] BSTR CopyNextLine();
    /// Moves back by 2 bytes for the line end and one byte per character of the last line, so that it is read again.
    /// At the end of the file moves back by 2 bytes only. Returns whether the position was moved.
    ///
    ///     stream.ReadNextLine(); // "abc" of "abc\r\nde\r\n"
    ///     stream.UngetLine();    // back by 5: the next line is "abc" again
    bool UngetLine() noexcept;
    /// Whether the end of the file was reached. True when closed.
    [[nodiscard]] bool IsEOF() const noexcept { return !IsOpen() || m_endOfFile; }
    /// Whether a line is blank or begins with ";" or "#".
    [[nodiscard]] static bool IsCommentLine(const CNKString& line) noexcept;
    [[nodiscard]] static bool IsCommentLine(const wchar_t* line) noexcept;

    // Writing; false when closed, true otherwise

    /// Writes the line and a line end. Null writes an empty line.
    bool WriteLine(const CNKString& line);
    bool WriteLine(const wchar_t* line);
    /// Writes the tokens as a line, separated by ";". Without tokens it is empty.
    bool WriteLine(const CNKTokenString& tokens);
    /// Does nothing: writes are not buffered.
    [[nodiscard]] bool Flush() const noexcept { return IsOpen(); }

    // Position: reading and writing share it. SeekWrite keeps the end-of-file flag, the others reset it

    /// Move the position. Return false when closed or refused, such as for a position before the beginning.
    bool SeekRead(int offset, unsigned int origin) noexcept;
    bool SeekWrite(int offset, unsigned int origin) noexcept;
    /// The position in bytes; 0 when closed.
    [[nodiscard]] std::int64_t TellRead() const noexcept { return IsOpen() ? m_file.GetPosition() : 0; }

    /// Move to the end, or to the beginning with the flags reset. Return whether the file is open, even if the move was
    /// refused.
    bool SeekReadEnd() noexcept;
    bool SeekWriteEnd() noexcept;
    bool RewindRead() noexcept;
    bool RewindWrite() noexcept;

    // File name

    [[nodiscard]] const CNKString& FileName() const noexcept { return m_fileName; }
    /// A copy of the stored name, which the caller frees; null if there is none.
    [[nodiscard]] BSTR GetFileName() const { return m_fileName.copy(); }
    /// Stores a name. Does not close an open file.
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
    bool m_endOfFile = false;           ///< a read reached the end
    bool m_failed = false;              ///< a read got nothing, or not the whole line
    bool m_broken = false;              ///< a write failed
    std::string m_writeBuffer;          ///< the line being written; keeps its capacity
    char m_piece[pieceLength + 1] = {}; ///< the last piece read, NUL-terminated
    bool m_lastLineIsPiece = false;     ///< m_lastLine is still to be made from m_piece
    CNKString m_lastLine;
    CNKString m_fileName;
};

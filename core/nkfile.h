/// The open file below the line file of the text library.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <windows.h>

/// The form of `path` in which the system takes it at any length. A short path stays as it is: without the prefix that
/// this form has, the system takes only paths of less than MAX_PATH; with it, only absolute ones and nothing that is
/// still to be resolved.
[[nodiscard]] std::wstring ToExtendedLengthPath(const wchar_t* path);

/// A file open for reading and writing at one byte position that both share, with a block of it read ahead.
///
/// The block never shows: a write lands on the first byte that was not yet taken, and reading goes on behind it.
/// Nothing is held back on writing. Positions count bytes from the start of the file.
class CNKFile {
  public:
    CNKFile() noexcept = default;
    CNKFile(const CNKFile&) = delete;
    CNKFile& operator=(const CNKFile&) = delete;
    ~CNKFile() { Close(); }

    /// Opens an existing file at its beginning; others may read and write it meanwhile. False, and closed, if that is
    /// not possible, or `path` is null.
    bool Open(const wchar_t* path);
    /// Creates an empty file, or empties the one there is, and leaves it closed. False if that is not possible.
    static bool CreateEmpty(const wchar_t* path);
    void Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return m_handle != INVALID_HANDLE_VALUE; }

    /// The bytes ahead that are in memory already. Good until the next call.
    [[nodiscard]] std::string_view Buffered() const noexcept { return {m_buffer.get() + m_next, m_end - m_next}; }
    /// The bytes ahead, at least `wanted` of them unless the file ends before, or cannot be read any further. Good
    /// until the next call.
    std::string_view Peek(std::size_t wanted);
    /// Moves the position over `count` of the bytes that Peek showed.
    void Skip(std::size_t count) noexcept { m_next += count; }

    /// Forgets what was read ahead, so that the next read sees what others have written by then.
    void DiscardBuffer() noexcept;

    /// Writes at the position and moves it behind what was written. False if not all could be written.
    bool Write(std::string_view bytes) noexcept;

    [[nodiscard]] std::int64_t GetPosition() const noexcept {
        return m_bufferStart + static_cast<std::int64_t>(m_next);
    }
    /// Moves the position to any place from the beginning on, also behind the end. False, and nothing changes, for a
    /// place before the beginning.
    bool SetPosition(std::int64_t position) noexcept;
    /// The size of the file; 0 when that cannot be told.
    [[nodiscard]] std::int64_t GetSize() const noexcept;

  private:
    static constexpr std::size_t bufferSize = std::size_t{64} * 1024;

    bool MoveFilePointer(std::int64_t position) noexcept;

    HANDLE m_handle = INVALID_HANDLE_VALUE;
    std::unique_ptr<char[]> m_buffer; ///< allocated at the first read
    std::int64_t m_filePointer = 0;   ///< where the system would read or write next
    std::int64_t m_bufferStart = 0;   ///< where in the file the block begins
    std::size_t m_next = 0;           ///< the position within the block
    std::size_t m_end = 0;            ///< how much of the block is filled
};

/// The file under CNKFileStream.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <windows.h>

/// Returns a full path of MAX_PATH characters or more with the prefix \\?\, without which the system refuses it. A
/// shorter path is returned unchanged, since the prefix also switches off the resolution of "..", "/" and the like.
[[nodiscard]] std::wstring ToExtendedLengthPath(const wchar_t* path);

/// A file open for reading and writing. Both share one position, in bytes from the start of the file.
///
/// Reads are buffered, writes are not. The buffer is not observable: a write starts at the first byte not yet skipped,
/// and reading continues after what was written.
class CNKFile {
  public:
    CNKFile() noexcept = default;
    CNKFile(const CNKFile&) = delete;
    CNKFile& operator=(const CNKFile&) = delete;
    ~CNKFile() { Close(); }

    /// Opens an existing file at its beginning, shared for reading and writing. On failure, or if `path` is null,
    /// returns false and is closed.
    bool Open(const wchar_t* path);
    /// Creates an empty file or truncates an existing one. Returns false on failure.
    static bool CreateEmpty(const wchar_t* path);
    void Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return m_handle != INVALID_HANDLE_VALUE; }

    /// The buffered bytes from the position on, valid until the next call.
    [[nodiscard]] std::string_view Buffered() const noexcept { return {m_buffer.get() + m_next, m_end - m_next}; }
    /// The bytes from the position on, valid until the next call: at least `wanted` of them, unless the file ends or
    /// reading fails before that.
    std::string_view Peek(std::size_t wanted);
    /// Advances the position by `count` of the bytes that Peek returned.
    void Skip(std::size_t count) noexcept { m_next += count; }

    /// Discards the buffer, so that the next read sees what others have written since.
    void DiscardBuffer() noexcept;

    /// Writes at the position and advances it. Returns false unless everything was written.
    bool Write(std::string_view bytes) noexcept;

    [[nodiscard]] std::int64_t GetPosition() const noexcept {
        return m_bufferStart + static_cast<std::int64_t>(m_next);
    }
    /// Moves the position, which may be past the end. A negative position changes nothing and returns false.
    bool SetPosition(std::int64_t position) noexcept;
    /// The size of the file; 0 if it is unknown.
    [[nodiscard]] std::int64_t GetSize() const noexcept;

  private:
    static constexpr std::size_t bufferSize = std::size_t{64} * 1024;

    bool MoveFilePointer(std::int64_t position) noexcept;

    HANDLE m_handle = INVALID_HANDLE_VALUE;
    std::unique_ptr<char[]> m_buffer; ///< allocated by the first read
    std::int64_t m_filePointer = 0;   ///< the system's file pointer; -1 if unknown
    std::int64_t m_bufferStart = 0;   ///< file position of the buffer's first byte
    std::size_t m_next = 0;           ///< index of the position in the buffer
    std::size_t m_end = 0;            ///< number of bytes in the buffer
};

/// Temporary files of benchmarks.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace bench {

/// A temporary file, deleted by the destructor.
class TextFile {
  public:
    /// An empty file.
    TextFile();
    /// A file of `lines` lines; lineOf(i) returns line i. The last has no line end.
    template <class LineOf> TextFile(std::size_t lines, LineOf lineOf) : TextFile() {
        std::string text;
        for (std::size_t i = 0; i < lines; ++i) {
            text += i == 0 ? "" : "\r\n";
            text += lineOf(i);
        }
        Write(text);
    }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    ~TextFile();

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }
    [[nodiscard]] std::size_t Size() const { return std::filesystem::file_size(m_path); }

  private:
    void Write(std::string_view text) const;

    std::filesystem::path m_path;
};

} // namespace bench

#include "bench/textfile.h"

#include <fstream>
#include <system_error>

#include <windows.h>

#include "bench/measure.h"

namespace bench {

namespace {

std::filesystem::path NewPath() {
    static int last = 0;
    return std::filesystem::temp_directory_path() /
           ("nuvolex_bench_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(++last) + ".txt");
}

} // namespace

TextFile::TextFile() : m_path(NewPath()) {
    Write("");
}

TextFile::~TextFile() {
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
}

void TextFile::Write(std::string_view text) const {
    std::ofstream file(m_path, std::ios::binary);
    file << text;
    file.close();
    Check(!file.fail());
}

} // namespace bench

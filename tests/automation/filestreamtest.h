/// A folder with a file, and a stream for it, for tests of NXFileStream.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/core/textfiles.h"
#include "tests/support/bstr.h"

namespace support {

using Lines = std::vector<std::wstring>;

/// The path of a file in a new folder. The file does not exist yet.
class FileTest : public ClassTest<FileStream> {
  protected:
    const TemporaryFolder folder;
    const std::wstring path = folder / L"file.txt";
};

/// With a stream that is called with either binding.
class FileStreamTest : public FileTest, public ::testing::WithParamInterface<Binding> {
  protected:
    /// Writes the file and opens it.
    void OpenWith(std::string_view bytes, VARIANT_BOOL mode = FileStream::textMode) const {
        WriteBytes(path, bytes);
        EXPECT_EQ(stream.Open(path, mode), VARIANT_TRUE);
    }

    FileStream stream{GetParam()};
};

/// A stream that has opened the file and read its first line, which is "one".
inline FileStream StreamWithOneLineRead(Binding binding, const std::wstring& path) {
    FileStream stream(binding);
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
    return stream;
}

} // namespace support

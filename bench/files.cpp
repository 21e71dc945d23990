/// Lines of files: late-bound beside FileSystemObject's TextStream, and the text library's reader beside the standard
/// library's.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "bench/automation.h"
#include "bench/measure.h"
#include "core/nkfilestream.h"

namespace bench {

namespace {

constexpr std::string_view line = "name = value, another value; and a comment";

/// A file of so many lines, without an end to the last; it goes with its last owner.
class LineFile {
  public:
    explicit LineFile(std::size_t lines) : m_path(NewPath()) {
        std::ofstream file(m_path, std::ios::binary);
        for (std::size_t i = 0; i < lines; ++i) {
            file << (i == 0 ? "" : "\r\n") << line;
        }
        file.close();
        Check(!file.fail());
    }
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;
    ~LineFile() {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }
    [[nodiscard]] _bstr_t Name() const { return m_path.c_str(); }

  private:
    static std::filesystem::path NewPath() {
        static int last = 0;
        return std::filesystem::temp_directory_path() /
               ("nuvolex_bench_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(++last) + ".txt");
    }

    std::filesystem::path m_path;
};

/// A class of line files, as scripts use it.
struct LineFileClass {
    CComPtr<IDispatch> (*open)(const _bstr_t& name, bool toWrite);
    const wchar_t* atEnd;
    const wchar_t* readLine;
};

const LineFileClass fileStream = {
    [](const _bstr_t& name, bool) {
        auto stream = Create(L"Nuvolex.NXFileStream");
        Check(AreEqual(Call(stream, L"Open", valueFlags).Value({false, name}), true));
        return stream;
    },
    L"IsEOF",
    L"ReadNextLine",
};
const LineFileClass textStream = {
    [](const _bstr_t& name, bool toWrite) {
        constexpr long forReading = 1;
        constexpr long forWriting = 2;
        const Call open(Create(L"Scripting.FileSystemObject"), L"OpenTextFile", valueFlags);
        const _variant_t stream = open.Value({toWrite ? forWriting : forReading, name});
        return CComPtr<IDispatch>(V_DISPATCH(&stream));
    },
    L"AtEndOfStream",
    L"ReadLine",
};

Side Read(const LineFileClass& streams) {
    return [streams](std::size_t count) {
        return [streams, count, file = std::make_shared<const LineFile>(count)] {
            const auto stream = streams.open(file->Name(), false);
            const Call atEnd(stream, streams.atEnd, valueFlags);
            const Call readLine(stream, streams.readLine, valueFlags);
            Arguments none;
            std::size_t lines = 0;
            _variant_t last;
            const Nanoseconds time = Time(wallClock, [&] {
                for (;;) {
                    VARIANT ended;
                    VariantInit(&ended);
                    atEnd(none, &ended);
                    if (V_BOOL(&ended) != VARIANT_FALSE) {
                        return;
                    }
                    last.Clear();
                    readLine(none, &last);
                    ++lines;
                }
            });
            Check(lines == count && AreEqual(last, line.data()));
            return time;
        };
    };
}

Side Write(const LineFileClass& streams) {
    return [streams](std::size_t count) {
        return [streams, count] {
            const LineFile file(0);
            const auto stream = streams.open(file.Name(), true);
            const Call writeLine(stream, L"WriteLine", DISPATCH_METHOD);
            Arguments arguments = {line.data()};
            const Nanoseconds time = Time(wallClock, [&] {
                for (std::size_t i = 0; i < count; ++i) {
                    writeLine(arguments);
                }
            });
            Arguments none;
            Call(stream, L"Close", DISPATCH_METHOD)(none);
            Check(std::filesystem::file_size(file.Path()) == count * (line.size() + 2));
            return time;
        };
    };
}

Round ReadCore(std::size_t count) {
    return [count, file = std::make_shared<const LineFile>(count)] {
        CNKFileStream stream;
        Check(stream.Open(file->Name().GetBSTR(), false));
        std::size_t lines = 0;
        CNKString last;
        const Nanoseconds time = Time([&] {
            for (; !stream.IsEOF(); ++lines) {
                last = stream.ReadNextLine();
            }
        });
        Check(lines == count && last == CNKString(line.data()));
        return time;
    };
}

Round ReadFloor(std::size_t count) {
    return [count, file = std::make_shared<const LineFile>(count)] {
        std::ifstream stream(file->Path());
        std::size_t lines = 0;
        _bstr_t last;
        const Nanoseconds time = Time([&] {
            for (std::string text; std::getline(stream, text); ++lines) {
                const BSTR wide = SysAllocStringLen(nullptr, static_cast<UINT>(text.size()));
                std::ranges::copy(text, wide);
                last.Attach(wide);
            }
        });
        Check(lines == count && last == _bstr_t(line.data()));
        return time;
    };
}

} // namespace

std::vector<Case> FileCases() {
    return {
        {"file.read", "TextStream: AtEndOfStream, ReadLine", Read(fileStream), Read(textStream), 0.45, 10'000},
        {"file.write", "TextStream.WriteLine", Write(fileStream), Write(textStream), 0.60, 2'000},
        {"core.read", "std::getline, one SysAllocStringLen", ReadCore, ReadFloor, 1.5, 10'000},
    };
}

std::vector<Growth> FileGrowths() {
    return {{"growth.read", ReadCore, ReadFloor}};
}

} // namespace bench

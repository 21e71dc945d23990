/// Lines of files: late-bound against FileSystemObject's TextStream, and the core's line reader against the standard
/// library's.
#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "bench/automation.h"
#include "bench/measure.h"
#include "bench/textfile.h"
#include "core/nkfilestream.h"

namespace bench {

namespace {

constexpr std::string_view line = "name = value, another value; and a comment";

std::string_view SameLine(std::size_t) {
    return line;
}

/// A line file class, as scripts use it.
struct LineFileClass {
    CComPtr<IDispatch> (*open)(const wchar_t* name, bool toWrite);
    const wchar_t* atEnd;
    const wchar_t* readLine;
};

const LineFileClass fileStream = {
    [](const wchar_t* name, bool) {
        auto stream = Create(L"Nuvolex.NXFileStream");
        Check(AreEqual(Call(stream, L"Open", valueFlags).Value({false, name}), true));
        return stream;
    },
    L"IsEOF",
    L"ReadNextLine",
};
const LineFileClass textStream = {
    [](const wchar_t* name, bool toWrite) {
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
        return [streams, count, file = std::make_shared<const TextFile>(count, SameLine)] {
            const auto stream = streams.open(file->Path().c_str(), false);
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
            const TextFile file;
            const auto stream = streams.open(file.Path().c_str(), true);
            const Call writeLine(stream, L"WriteLine", DISPATCH_METHOD);
            Arguments arguments = {line.data()};
            const Nanoseconds time = Time(wallClock, [&] {
                for (std::size_t i = 0; i < count; ++i) {
                    writeLine(arguments);
                }
            });
            Arguments none;
            Call(stream, L"Close", DISPATCH_METHOD)(none);
            Check(file.Size() == count * (line.size() + 2));
            return time;
        };
    };
}

Round ReadCore(std::size_t count) {
    return [count, file = std::make_shared<const TextFile>(count, SameLine)] {
        CNKFileStream stream;
        Check(stream.Open(_bstr_t(file->Path().c_str()).GetBSTR(), false));
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
    return [count, file = std::make_shared<const TextFile>(count, SameLine)] {
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
        {"file.read", "TextStream: AtEndOfStream, ReadLine", Read(fileStream), Read(textStream), 0.33, 10'000},
        {"file.write", "TextStream.WriteLine", Write(fileStream), Write(textStream), 0.45, 2'000},
        {"core.read", "std::getline, one SysAllocStringLen", ReadCore, ReadFloor, 1.0, 10'000},
    };
}

std::vector<Growth> FileGrowths() {
    return {{"growth.read", ReadCore, ReadFloor}};
}

} // namespace bench

/// Small jobs as whole VBScript programs, once with our classes and once with what the engine itself has to offer.
/// They are bench/scripts/JOB_ours.vbs and JOB_engine.vbs; the current directory is the repository's root.
#include <string>
#include <string_view>

#include "bench/measure.h"
#include "bench/process.h"

namespace bench {

namespace {

/// A script engine tells nobody that a script has failed, so the last line must be the job's result.
Side Script(const std::wstring& file, std::string_view result) {
    return [=](std::size_t) {
        return [=] {
            const Ended ended = Run(L"cscript //nologo bench\\scripts\\" + file);
            Check(ended.output.ends_with(std::string(result) + "\r\n"));
            return ended.time / 1e6;
        };
    };
}

/// Names are "script." and the job.
Case Job(std::string_view name, std::string_view peer, std::string_view result) {
    const std::string_view job = name.substr(name.find('.') + 1);
    const std::wstring file(job.begin(), job.end());
    return {.name = name,
            .peer = peer,
            .ours = Script(file + L"_ours.vbs", result),
            .theirs = Script(file + L"_engine.vbs", result),
            .unit = "ms"};
}

} // namespace

std::vector<Case> ScriptCases() {
    return {
        Job("script.start", "create a Dictionary, and end", "Done: 0"),
        Job("script.split", "For Each over Split", "Done: 327680"),
        Job("script.trim", "Mid(Trim(text), ...)", "Done: 80000"),
        Job("script.list", "Dictionary: Add, Item, For Each", "Done: 320000"),
        Job("script.lines", "TextStream: WriteLine, ReadLine", "Done: 34000"),
    };
}

} // namespace bench

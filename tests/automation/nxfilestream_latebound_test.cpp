// NXFileStream late-bound: names, arguments, results, and failures.

#include <utility>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/filestreamtest.h"
#include "tests/core/textfiles.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::Binding;
using support::Bstr;
using support::Create;
using support::DispatchObject;
using support::ExpectNoLeaks;
using support::FileStream;
using support::FileStreamId;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::Lines;
using support::ReadBytes;
using support::StreamWithOneLineRead;
using support::Variant;
using support::WriteBytes;

class NXFileStreamLateBoundTest : public support::FileTest {
  protected:
    NXFileStreamLateBoundTest() { WriteBytes(path, "one\r\ntwo\r\nthree"); }

    const FileStream file{Binding::LateBound};
    const DispatchObject stream = file.LateBound();
};

TEST_F(NXFileStreamLateBoundTest, GetIDsOfNames_FindsEveryMember) {
    support::ExpectIds(stream, {{L"Clear", FileStreamId::Clear},
                                {L"Close", FileStreamId::Close},
                                {L"Flush", FileStreamId::Flush},
                                {L"IsEOF", FileStreamId::IsEOF},
                                {L"IsCommentLine", FileStreamId::IsCommentLine},
                                {L"IsOpen", FileStreamId::IsOpen},
                                {L"Open", FileStreamId::Open},
                                {L"ReadNextLine", FileStreamId::ReadNextLine},
                                {L"UngetLine", FileStreamId::UngetLine},
                                {L"WriteLine", FileStreamId::WriteLine},
                                {L"fileName", FileStreamId::FileName},
                                {L"FileName", FileStreamId::FileName},
                                {L"FILENAME", FileStreamId::FileName}});
    support::ExpectNoIds(stream, {L"Create", L"Reopen", L"SeekRead", L"TellRead", L"RewindRead", L"_NewEnum"});
}

TEST_F(NXFileStreamLateBoundTest, BothBindings_ReachTheSameFile) {
    WriteBytes(path, "one\r\ntwo\r\n");
    const DispatchObject lateBound = Create(CLSID_NXFileStream);
    const CComPtr<INXFileStream> vtable = lateBound.As<INXFileStream>();
    EXPECT_HR(lateBound.Call(L"Open", path.c_str(), false).hr, S_OK);
    BSTR lent = nullptr;
    EXPECT_HR(vtable->ReadNextLine(&lent), S_OK);
    EXPECT_BSTR(lent, L"one");
    EXPECT_BSTR(lateBound.Call(L"ReadNextLine").value.Text(), L"two");
    EXPECT_HR(vtable->Close(), S_OK);
    EXPECT_BSTR(lateBound.Call(L"ReadNextLine").value.Text(), L"two");
}

TEST_F(NXFileStreamLateBoundTest, Members_AreReachedByDispid) {
    const auto isTrue = [&](auto... call) {
        const Variant result = stream.Call(call...).value;
        EXPECT_EQ(result.Type(), VT_BOOL);
        return V_BOOL(result.Raw()) == VARIANT_TRUE;
    };
    EXPECT_TRUE(isTrue(FileStreamId::Open, path.c_str(), false));
    EXPECT_TRUE(isTrue(FileStreamId::IsOpen));
    EXPECT_FALSE(isTrue(FileStreamId::IsEOF));
    EXPECT_BSTR(stream.Call(FileStreamId::ReadNextLine).value.Text(), L"one");
    EXPECT_TRUE(isTrue(FileStreamId::UngetLine));
    EXPECT_TRUE(isTrue(FileStreamId::WriteLine, L"ONE"));
    EXPECT_TRUE(isTrue(FileStreamId::Flush));
    EXPECT_TRUE(isTrue(FileStreamId::IsCommentLine, L"#"));
    EXPECT_BSTR(stream.Get(FileStreamId::FileName).value.Text(), path);
    EXPECT_HR(stream.Call(FileStreamId::Close).hr, S_OK);
    EXPECT_FALSE(isTrue(FileStreamId::IsOpen));
    EXPECT_EQ(ReadBytes(path), "ONE\r\ntwo\r\nthree");
    EXPECT_HR(stream.Call(FileStreamId::Clear).hr, S_OK);
    EXPECT_EQ(ReadBytes(path), "");
}

TEST_F(NXFileStreamLateBoundTest, ReadNextLine_TenThousandTimes_LeaksNothing) {
    const FileStream one = StreamWithOneLineRead(Binding::LateBound, path);
    {
        const ExpectNoLeaks noLeaks;
        for (int count = 0; count < 10000; ++count) {
            EXPECT_EQ(one.UngetLine(), VARIANT_TRUE);
            EXPECT_BSTR(one.ReadNextLine(), L"one");
        }
        one.Close();
        for (int count = 0; count < 10000; ++count) {
            EXPECT_BSTR(one.ReadNextLine(), L"one");
        }
    }
    EXPECT_BSTR(one.LentLine(), L"one") << "the copies are not the stream's string";
}

/// Some script engines ask for the result of a statement and discard it; others pass no VARIANT.
TEST_F(NXFileStreamLateBoundTest, ReadNextLine_AsAStatement_LeaksNothing) {
    const FileStream one = StreamWithOneLineRead(Binding::LateBound, path);
    one.Close();
    for (const bool wantsValue : {false, true}) {
        SCOPED_TRACE(wantsValue ? "result discarded" : "no result");
        const ExpectNoLeaks noLeaks;
        for (int count = 0; count < 10000; ++count) {
            ASSERT_HR(one.LateBound().Invoke({.member = FileStreamId::ReadNextLine, .wantsValue = wantsValue}).hr,
                      S_OK);
        }
    }
    EXPECT_BSTR(one.LentLine(), L"one");
}

TEST_F(NXFileStreamLateBoundTest, ReadNextLine_OutlivesTheStream) {
    FileStream one = StreamWithOneLineRead(Binding::LateBound, path);
    const Bstr line = one.ReadNextLine();
    one.Release();
    EXPECT_BSTR(line, L"two");
}

TEST_F(NXFileStreamLateBoundTest, Methods_AsStatements_Work) {
    const auto statement = [&](DISPID member, std::vector<Variant> arguments) {
        EXPECT_HR(stream.Invoke({.member = member, .arguments = std::move(arguments), .wantsValue = false}).hr, S_OK);
    };
    statement(FileStreamId::Open, {path.c_str(), false});
    statement(FileStreamId::ReadNextLine, {});
    statement(FileStreamId::UngetLine, {});
    statement(FileStreamId::WriteLine, {L"ONE"});
    statement(FileStreamId::Flush, {});
    statement(FileStreamId::Close, {});
    EXPECT_EQ(ReadBytes(path), "ONE\r\ntwo\r\nthree");
}

TEST_F(NXFileStreamLateBoundTest, FileName_CalledAsAMethod_IsRead) {
    file.Open(path);
    EXPECT_BSTR(stream.Call(L"fileName").value.Text(), path);
}

TEST_F(NXFileStreamLateBoundTest, Arguments_AreConverted) {
    for (const Variant& mode : {Variant(1), Variant(5), Variant(-3), Variant(2.0), Variant(true)}) {
        EXPECT_HR(stream.Call(L"Open", path.c_str(), mode).hr, S_OK);
        EXPECT_BSTR(stream.Call(L"ReadNextLine").value.Text(), L"one\r");
    }
    for (const Variant& mode : {Variant(0), Variant(0.0), Variant(), Variant(false)}) {
        EXPECT_HR(stream.Call(L"Open", path.c_str(), mode).hr, S_OK);
        EXPECT_BSTR(stream.Call(L"ReadNextLine").value.Text(), L"one");
    }
    WriteBytes(path, "");
    Variant inVariant(L"by reference");
    file.Open(path);
    EXPECT_HR(stream.Call(L"WriteLine", 42).hr, S_OK);
    EXPECT_HR(stream.Call(L"WriteLine", Variant()).hr, S_OK);
    EXPECT_HR(stream.Call(L"WriteLine", Variant::NullText()).hr, S_OK);
    EXPECT_HR(stream.Call(L"WriteLine", Variant::To(inVariant)).hr, S_OK);
    EXPECT_EQ(ReadBytes(path), "42\r\n\r\n\r\nby reference\r\n");
    EXPECT_BSTR(inVariant.Text(), L"by reference");
}

TEST_F(NXFileStreamLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    file.Open(path);
    EXPECT_HR(stream.Call(L"Open").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_TRUE(FAILED(stream.Call(L"Open", path.c_str()).hr));
    EXPECT_HR(stream.Call(L"Open", path.c_str(), L"neither").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(stream.Call(L"Open", Variant::Null(), false).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(stream.Call(L"WriteLine").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(stream.Call(L"WriteLine", L"x", L"y").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(stream.Call(L"WriteLine", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(stream.Call(L"Clear", 1).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_TRUE(FAILED(stream.Put(L"fileName", L"x").hr));
    EXPECT_BSTR(file.FileName(), path);
    EXPECT_EQ(file.Rest(), (Lines{L"one", L"two", L"three"}));
    EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\nthree");
}

TEST_F(NXFileStreamLateBoundTest, OutOfMemory_IsAnHresultAndLeavesTheFile) {
    const std::pair<const char*, Invocation> calls[] = {
        {"Open", {.member = FileStreamId::Open, .arguments = {path.c_str(), false}, .wantsValue = false}},
        {"WriteLine",
         {.member = FileStreamId::WriteLine,
          .arguments = {L"more than a string holds in itself"},
          .wantsValue = false}},
        {"ReadNextLine", {.member = FileStreamId::ReadNextLine, .wantsValue = false}},
        {"fileName", {.member = FileStreamId::FileName, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}},
        {"Clear", {.member = FileStreamId::Clear, .wantsValue = false}},
    };
    for (const auto& [name, call] : calls) {
        SCOPED_TRACE(name);
        ForEachAllocationFailure(
            [&] {
                WriteBytes(path, "one\r\ntwo\r\nthree");
                return StreamWithOneLineRead(Binding::LateBound, path);
            },
            [&call = call](const FileStream& made) { return made.LateBound().Invoke(call).Failure(); },
            [&](const FileStream& made) {
                EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\nthree");
                EXPECT_EQ(made.Open(path), VARIANT_TRUE) << "with memory again";
                EXPECT_EQ(made.Rest(), (Lines{L"one", L"two", L"three"}));
            });
    }
}

} // namespace

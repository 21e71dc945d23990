// NXFileStream through the vtable: the lent line, results, and failures.

#include <string>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/filestreamtest.h"
#include "tests/core/textfiles.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::Binding;
using support::Bstr;
using support::FileStream;
using support::ForEachAllocationFailure;
using support::Lines;
using support::ReadBytes;
using support::Require;
using support::StreamWithOneLineRead;
using support::Variant;
using support::WriteBytes;

class NXFileStreamVtableTest : public support::FileTest {
  protected:
    NXFileStreamVtableTest() { WriteBytes(path, "one\r\ntwo\r\nthree"); }

    FileStream stream{Binding::Vtable};
};

TEST_F(NXFileStreamVtableTest, ReadNextLine_BeforeTheFirstRead_IsNull) {
    EXPECT_NULL_BSTR(stream.LentLine());
    stream.Open(folder / L"missing.txt");
    EXPECT_NULL_BSTR(stream.LentLine());
}

TEST_F(NXFileStreamVtableTest, FileName_WithoutAName_IsNull) {
    Bstr name(L"something");
    EXPECT_HR(stream.Raw()->get_fileName(name.Out()), S_OK);
    EXPECT_NULL_BSTR(name);
    EXPECT_EQ(stream.Open(L""), VARIANT_FALSE);
    EXPECT_BSTR(stream.FileName(), L"");
}

TEST_F(NXFileStreamVtableTest, ReadNextLine_LendsTheStreamsOwnString) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    BSTR lent = stream.LentLine();
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_EQ(stream.WriteLine(L"TWO"), VARIANT_TRUE);
    EXPECT_EQ(stream.Flush(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsCommentLine(L"x"), VARIANT_FALSE);
    EXPECT_BSTR(stream.FileName(), path);
    EXPECT_BSTR(lent, L"two") << "valid until the next read";

    lent = stream.LentLine();
    EXPECT_BSTR(lent, L"three");
    EXPECT_EQ(stream.LentLine(), lent) << "at the end";
    EXPECT_EQ(stream.LentLine(), lent);
    stream.Close();
    EXPECT_EQ(stream.LentLine(), lent) << "when closed";
    EXPECT_BSTR(lent, L"three");
    // The stream frees it; otherwise the fixture reports a leak.
}

TEST_F(NXFileStreamVtableTest, ReadNextLine_AfterOpenOrClear_IsNull) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    stream.Close();
    EXPECT_NULL_BSTR(stream.LentLine());
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    EXPECT_EQ(stream.Open(folder / L"missing.txt"), VARIANT_FALSE);
    EXPECT_NULL_BSTR(stream.LentLine());
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    stream.Clear();
    EXPECT_NULL_BSTR(stream.LentLine());
}

TEST_F(NXFileStreamVtableTest, ReadNextLine_CalledLateBound_CopiesTheLentLine) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    const BSTR lent = stream.LentLine();
    stream.Close();
    {
        const Variant copy = stream.LateBound().Call(L"ReadNextLine").value;
        EXPECT_BSTR(copy.Text(), L"one");
        EXPECT_NE(copy.Text(), lent);
        copy.Text()[0] = L'X';
    }
    EXPECT_EQ(stream.LentLine(), lent) << "the same string again";
    EXPECT_BSTR(lent, L"one");
}

/// Calls every member and ignores the results.
void CallEveryMember(INXFileStream* stream, const std::wstring& fileName) {
    VARIANT_BOOL result = VARIANT_FALSE;
    BSTR lent = nullptr;
    Bstr name;
    EXPECT_HR(stream->Open(Bstr(fileName), VARIANT_FALSE, &result), S_OK);
    EXPECT_HR(stream->ReadNextLine(&lent), S_OK);
    EXPECT_HR(stream->UngetLine(&result), S_OK);
    EXPECT_HR(stream->UngetLine(&result), S_OK);
    EXPECT_HR(stream->WriteLine(nullptr, &result), S_OK);
    EXPECT_HR(stream->Flush(&result), S_OK);
    EXPECT_HR(stream->IsEOF(&result), S_OK);
    EXPECT_HR(stream->IsOpen(&result), S_OK);
    EXPECT_HR(stream->IsCommentLine(nullptr, &result), S_OK);
    EXPECT_HR(stream->get_fileName(name.Out()), S_OK);
    EXPECT_HR(stream->Close(), S_OK);
    EXPECT_HR(stream->Clear(), S_OK);
    EXPECT_HR(stream->ReadNextLine(&lent), S_OK);
}

TEST_F(NXFileStreamVtableTest, Members_LeaveTheErrorRecord) {
    CComPtr<ICreateErrorInfo> created;
    ASSERT_HR(CreateErrorInfo(&created), S_OK);
    CComPtr<IErrorInfo> earlier;
    created->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&earlier));
    for (const std::wstring& name : {path, folder.Path(), folder / L"no such folder\\x", std::wstring()}) {
        SCOPED_TRACE(support::Printed(name));
        SetErrorInfo(0, nullptr);
        CallEveryMember(stream.Raw(), name);
        CComPtr<IErrorInfo> record;
        EXPECT_HR(GetErrorInfo(0, &record), S_FALSE);
        SetErrorInfo(0, earlier);
        CallEveryMember(stream.Raw(), name);
        EXPECT_HR(GetErrorInfo(0, &record), S_OK);
        EXPECT_EQ(record.p, earlier.p);
    }
}

TEST_F(NXFileStreamVtableTest, MembersWithoutAStringResult_AllocateNothing) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    EXPECT_EQ(support::CountRequests([&] {
                  VARIANT_BOOL result = VARIANT_FALSE;
                  BSTR lent = nullptr;
                  stream.Raw()->IsOpen(&result);
                  stream.Raw()->IsEOF(&result);
                  stream.Raw()->Flush(&result);
                  stream.Raw()->UngetLine(&result);
                  stream.Raw()->Close();
                  stream.Raw()->ReadNextLine(&lent);
              }),
              0u);
}

TEST_F(NXFileStreamVtableTest, OutOfMemory_RaisesAndLeavesTheFile) {
    struct World {
        FileStream stream;
        Bstr argument;
        VARIANT_BOOL result = VARIANT_FALSE;
        BSTR lent = nullptr;
    };
    const auto members = {
        +[](World& world) {
            Require(world.stream.Raw()->Open(world.argument, FileStream::textMode, &world.result), "Open");
        },
        +[](World& world) { Require(world.stream.Raw()->WriteLine(world.argument, &world.result), "WriteLine"); },
        +[](World& world) { Require(world.stream.Raw()->ReadNextLine(&world.lent), "ReadNextLine"); },
        +[](World& world) { Require(world.stream.Raw()->Clear(), "Clear"); },
    };
    for (const auto member : members) {
        ForEachAllocationFailure(
            [&] {
                WriteBytes(path, "one\r\ntwo\r\nthree");
                return World{StreamWithOneLineRead(Binding::Vtable, path), Bstr(path)};
            },
            member,
            [&](World& world) {
                EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\nthree");
                EXPECT_BSTR(world.argument, path);
                EXPECT_EQ(world.result, VARIANT_FALSE);
                EXPECT_EQ(world.lent, nullptr);
                EXPECT_EQ(world.stream.Open(path), VARIANT_TRUE) << "with memory again";
                EXPECT_EQ(world.stream.Rest(), (Lines{L"one", L"two", L"three"}));
            },
            support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NXFileStreamVtableTest, FileName_OutOfMemory_ReturnsTheFailure) {
    OLECHAR untouched[] = L"not a BSTR";
    struct World {
        FileStream stream;
        BSTR result;
        HRESULT hr = E_UNEXPECTED; ///< stays when the call raises an exception
    };
    ForEachAllocationFailure(
        [&] {
            return World{StreamWithOneLineRead(Binding::Vtable, path), untouched};
        },
        [](World& world) {
            world.hr = world.stream.Raw()->get_fileName(&world.result);
            if (SUCCEEDED(world.hr)) {
                SysFreeString(world.result);
            }
            return world.hr;
        },
        [&](const World& world) {
            EXPECT_HR(world.hr, E_OUTOFMEMORY);
            EXPECT_EQ(world.result, untouched);
        });
}

} // namespace

#include "tests/model/world.h"

#include <algorithm>
#include <cstring>

#include "nuvolex.h"

#include "tests/automation/client.h"
#include "tests/automation/hresult.h"

using support::PrintedHr;

namespace model {
namespace {

/// The value of a result before a call that must not touch it.
constexpr long untouched = 0x5a5a5a5a;

std::string Differs(const char* what, const std::string& is, const std::string& wanted) {
    return std::string(what) + "\n    is: " + is + "\nwanted: " + wanted;
}

std::string CheckText(const char* what, BSTR actual, const Text& wanted) {
    const Text is = actual == nullptr ? Text() : Text(std::wstring(actual, SysStringLen(actual)));
    return is == wanted ? "" : Differs(what, Printed(is), Printed(wanted));
}

std::wstring Wide(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

std::wstring SourceOf(Kind kind) {
    return L"Nuvolex." + Wide(NameOf(kind)) + L".1";
}

} // namespace

World::World(const support::TemporaryFolder& folder)
    : m_folder(folder), m_objectsLeftBefore(support::LoadedDll() != nullptr && support::DllHoldsObjects()) {
    static int worlds = 0; // files that an earlier world left open must not matter
    m_number = ++worlds;
    CComPtr<ICreateErrorInfo> error;
    CreateErrorInfo(&error);
    std::wstring description = L"an earlier failure's";
    error->SetDescription(description.data());
    error->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&m_earlierError));
}

World::~World() {
    static_cast<void>(End());
    SetErrorInfo(0, nullptr);
}

std::string World::End() {
    if (m_ended) {
        return "";
    }
    m_ended = true;
    for (Slot& slot : m_slots) {
        slot.Release();
    }
    std::string difference = std::move(m_complaint);
    if (difference.empty() && !m_objectsLeftBefore && support::LoadedDll() != nullptr && support::DllHoldsObjects()) {
        difference = "objects are left when all references are gone";
    }
    for (int file = 0; file < regularFiles && difference.empty(); ++file) {
        difference = CheckFile(file);
        if (difference.empty() && m_files[static_cast<std::size_t>(file)] && !support::IsClosed(PathOf(file))) {
            difference = "file" + std::to_string(file) + " is open in the end";
        }
    }
    for (int file = 0; file < regularFiles; ++file) {
        DeleteFileW(PathOf(file).c_str());
    }
    return difference;
}

std::string World::Make(const Call& call) {
    std::string difference = MakeAny(call);
    if (difference.empty()) {
        difference = std::move(m_complaint);
        m_complaint.clear();
    }
    return difference.empty() ? Check() : difference;
}

std::string World::MakeAny(const Call& call) {
    Slot& slot = SlotOf(call.slot);
    const bool isEnumerator = slot.model != nullptr && slot.model->kind == Kind::Enumerator;
    switch (call.op) {
    case Op::Create:
        return Create(call);
    case Op::Alias: {
        const Slot source = SlotOf(call.source);
        Keep(call.slot, source.model, source.real);
        ++m_callsMade;
        return "";
    }
    case Op::Release:
        slot.Release();
        ++m_callsMade;
        return "";
    case Op::WriteFile:
    case Op::DeleteFile:
        return ChangeFile(call);
    case Op::Member:
        return slot.model != nullptr && slot.model->kind == call.member->kind ? CallMember(call) : "";
    default:
        if (isEnumerator) {
            ++m_callsMade;
            return Next(call);
        }
        return "";
    }
}

/// A new object of the DLL. Most are created without COM, which would read the registry each time.
HRESULT World::CreateReal(const Call& call, IUnknown** object) {
    const CLSID& clsid = ClsidOf(call.kind);
    auto** const result = reinterpret_cast<void**>(object);
    const HMODULE dll = support::LoadedDll();
    if (dll == nullptr || call.variant % 16 == 0) {
        return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IidOf(call.kind), result);
    }
    const auto getClassObject = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(GetProcAddress(dll, "DllGetClassObject")));
    CComPtr<IClassFactory> factory;
    const HRESULT hr = getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    return hr == S_OK ? factory->CreateInstance(nullptr, IidOf(call.kind), result) : hr;
}

std::string World::Create(const Call& call) {
    CComPtr<IUnknown> real;
    const HRESULT hr = CreateReal(call, &real.p);
    ++m_callsMade;
    if (hr != S_OK) {
        return Differs("creation", PrintedHr(hr), PrintedHr(S_OK));
    }
    Ref object;
    switch (call.kind) {
    case Kind::String:
        object = std::make_shared<String>();
        break;
    case Kind::Tokens:
        object = std::make_shared<Tokens>();
        break;
    case Kind::Strings:
        object = std::make_shared<Strings>();
        break;
    case Kind::Stream:
        object = MakeStream();
        break;
    case Kind::Collection:
        object = std::make_shared<Collection>();
        break;
    default:
        object = std::make_shared<Objects>(call.kind);
    }
    CComPtr<IUnknown> identity;
    real->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
    object->identity = identity;
    Keep(call.slot, object, real);
    return "";
}

Ref World::MakeStream() {
    std::erase_if(m_streams, [](const auto& stream) { return stream.expired(); });
    auto stream = std::make_shared<Stream>(m_files);
    m_streams.push_back(stream);
    return stream;
}

/// Puts an object into a slot; `real` is any interface of it.
void World::Keep(int slot, const Ref& model, IUnknown* real) {
    Slot kept;
    if (model != nullptr) {
        kept.model = model;
        real->QueryInterface(IidOf(model->kind), reinterpret_cast<void**>(&kept.real));
    }
    std::swap(SlotOf(slot).model, kept.model);
    std::swap(SlotOf(slot).real.p, kept.real.p);
    kept.Release();
}

std::string World::Check() const {
    for (int i = 0; i < slotCount; ++i) {
        const Slot& slot = m_slots[static_cast<std::size_t>(i)];
        if (slot.model != nullptr) {
            slot.real->AddRef();
            const ULONG references = slot.real.p->Release();
            if (references != static_cast<ULONG>(slot.model.use_count())) {
                return Differs(("references to the object in s" + std::to_string(i)).c_str(),
                               std::to_string(references), std::to_string(slot.model.use_count()));
            }
        }
    }
    for (const auto& weak : m_streams) {
        const auto stream = weak.lock();
        if (stream != nullptr && stream->lent != nullptr && stream->lentChange == stream->changes) {
            const std::string difference =
                CheckText("the line that a stream has lent", const_cast<BSTR>(stream->lent), stream->lastLine);
            if (!difference.empty()) {
                return difference;
            }
        }
    }
    return "";
}

// Files

std::wstring World::PathOf(int file) const {
    return m_folder / (std::to_wstring(m_number) + L"-file" + std::to_wstring(file) + L".txt");
}

Text World::NameOfFile(int name) const {
    switch (name) {
    case InMissingFolder:
        return m_folder / L"missing\\x.txt";
    case Folder:
        return m_folder.Path();
    case NullName:
        return {};
    case EmptyName:
        return L"";
    case WithNul:
        return PathOf(0) + L'\0' + L"more";
    default:
        return PathOf(name);
    }
}

bool World::IsFileOpen(int file, const Object* except) const {
    return std::ranges::any_of(m_streams, [=](const auto& weak) {
        const auto stream = weak.lock();
        return stream != nullptr && stream.get() != except && stream->isOpen && stream->file == file;
    });
}

std::string World::ChangeFile(const Call& call) {
    auto& bytes = m_files[static_cast<std::size_t>(call.file)];
    if (IsFileOpen(call.file, nullptr) || (call.op == Op::DeleteFile && !bytes)) {
        return "";
    }
    ++m_callsMade;
    if (call.op == Op::DeleteFile) {
        bytes.reset();
        return DeleteFileW(PathOf(call.file).c_str()) != FALSE ? "" : "a file that is closed cannot be deleted";
    }
    bytes = call.bytes;
    const support::FileHandle file = support::OpenFile(PathOf(call.file), GENERIC_WRITE, 0, CREATE_ALWAYS);
    DWORD written = 0;
    return file != nullptr && WriteFile(file.get(), call.bytes.data(), static_cast<DWORD>(call.bytes.size()), &written,
                                        nullptr) != FALSE
               ? ""
               : "a file that is closed cannot be written";
}

std::string World::CheckFile(int file) const {
    const auto& wanted = m_files[static_cast<std::size_t>(file)];
    const support::FileHandle handle =
        support::OpenFile(PathOf(file), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    LARGE_INTEGER size = {};
    if (handle == nullptr || GetFileSizeEx(handle.get(), &size) == FALSE) {
        return wanted ? "there is no file" + std::to_string(file) : "";
    }
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    ReadFile(handle.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    return wanted == bytes ? ""
                           : Differs(("file" + std::to_string(file)).c_str(), PrintedBytes(bytes),
                                     wanted ? PrintedBytes(*wanted) : "no file");
}

// Members

bool World::Resolve(const Call& call, Arguments& arguments) {
    for (const Argument& argument : call.arguments) {
        Value value = argument.value;
        if (argument.slot >= 0) {
            value.object = ObjectIn(argument.slot);
            if (value.object == nullptr || value.object->kind == Kind::Enumerator) {
                return false;
            }
        } else if (argument.fileName >= 0) {
            value.text = NameOfFile(argument.fileName);
        } else if (value.type == (VT_BYREF | VT_I4)) {
            value.bits = reinterpret_cast<std::intptr_t>(&m_variables[static_cast<std::size_t>(value.bits)]);
        }
        arguments.push_back(std::move(value));
    }
    return true;
}

ModelCall World::ToModel(const Call& call, const Arguments& arguments) const {
    ModelCall toModel = {
        .self = ObjectIn(call.slot), .arguments = arguments, .lateBound = call.lateBound, .makeStream = m_makeStream};
    if (!call.arguments.empty()) {
        const int name = call.arguments[0].fileName;
        toModel.file = name == WithNul ? 0 : name < regularFiles ? name : notAFile;
    }
    return toModel;
}

bool World::Settled(const Call& call, const Arguments& arguments) const {
    const Ref& self = ObjectIn(call.slot);
    if (const auto* const stream = dynamic_cast<const Stream*>(self.get())) {
        const std::string member = call.member->name;
        const int file = member == "Open" ? ToModel(call, arguments).file : member == "Clear" ? stream->file : notAFile;
        return file == notAFile || !IsFileOpen(file, self.get());
    }
    return std::ranges::none_of(arguments, [&](const Value& value) { return Reaches(value.object, self.get()); });
}

std::string World::CallMember(const Call& call) {
    std::string difference;
    {
        Arguments arguments;
        if (!Resolve(call, arguments)) {
            return "";
        }
        difference = call.lateBound ? CallLateBound(call, arguments) : CallVtable(call, arguments);
    }
    const auto* const stream = dynamic_cast<const Stream*>(ObjectIn(call.slot).get());
    const bool look =
        stream != nullptr && stream->file != notAFile && call.variant % 2 == 0 &&
        (std::strcmp(call.member->name, "WriteLine") == 0 || std::strcmp(call.member->name, "Clear") == 0);
    return difference.empty() && look ? CheckFile(stream->file) : difference;
}

/// Checks a result and keeps it if it is an object and the call has a target. `lent`: the caller does not own it.
std::string World::TakeResult(const Call& call, VARIANT& result, const Value& wanted, bool lent) {
    std::string difference = Difference(result, wanted);
    const bool isObject = wanted.type == VT_DISPATCH || wanted.type == VT_UNKNOWN;
    if (difference.empty() && isObject && wanted.object != nullptr && call.target >= 0) {
        Keep(call.target, wanted.object, V_UNKNOWN(&result));
    }
    if (lent) {
        V_VT(&result) = VT_EMPTY;
        return difference;
    }
    for (const auto& weak : m_streams) {
        const auto stream = weak.lock();
        if (wanted.type == VT_BSTR && stream != nullptr && stream->lent != nullptr && stream->lent == V_BSTR(&result) &&
            stream->lentChange == stream->changes) {
            V_VT(&result) = VT_EMPTY;
            return "the result is a stream's own line";
        }
    }
    return difference;
}

std::string World::CallVtable(const Call& call, const Arguments& given) {
    const Member& member = *call.member;
    Arguments arguments = given;
    while (arguments.size() < member.parameters.size()) {
        arguments.push_back(Value::Long(0));
    }
    std::vector<VARIANT> raw(arguments.size() + 1);
    std::vector<Variant> owners(arguments.size() + 1);
    std::shared_ptr<Loan> loan;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const VARTYPE type = member.parameters[i];
        const Value& value = arguments[i];
        if (type == VT_DISPATCH && value.object != nullptr && value.object->kind != member.objects) {
            return "";
        }
        IDispatch* const object = i < call.arguments.size() && call.arguments[i].slot >= 0
                                      ? SlotOf(call.arguments[i].slot).Dispatch()
                                      : nullptr;
        if (type == VT_VARIANT) {
            loan = Lend(raw[i], value, object, [this](const std::string& complaint) { m_complaint = complaint; });
        } else {
            Fill(owners[i], value, object);
            raw[i] = owners[i];
        }
    }
    if (!Settled(call, arguments)) {
        return "";
    }
    ++m_callsMade;

    const Ref self = ObjectIn(call.slot);
    const CComPtr<IDispatch> real = SlotOf(call.slot).Dispatch(); // the result may replace it
    Variant result;
    if (member.result == VT_VARIANT && call.variant % 2 == 1) {
        Fill(result, Value::Of(Text(L"replaced")), nullptr);
    } else {
        V_VT(&result) = VT_I4;
        V_I4(&result) = untouched;
    }
    SetErrorInfo(0, call.earlierError ? m_earlierError.p : nullptr);
    const VtableReply reply = member.vtable(real, raw.data(), result);

    const auto* const stream = dynamic_cast<const Stream*>(self.get());
    const unsigned changes = stream != nullptr ? stream->changes : 0;
    ModelCall toModel = ToModel(call, arguments);
    toModel.loan = std::move(loan);
    Outcome outcome = member.model(toModel);
    toModel.loan.reset();
    std::string difference = CheckError(call, reply.hr, outcome);
    if (!difference.empty()) {
        return difference;
    }
    if (FAILED(reply.hr)) {
        // String lists do not specify the out-parameter.
        return reply.untouched || member.kind == Kind::Strings ? "" : "a failed call has changed the out-parameter";
    }
    if (member.result == VT_EMPTY) {
        return "";
    }
    if (member.lends && member.result == VT_BSTR) {
        auto& lender = static_cast<Stream&>(*self);
        const BSTR text = V_BSTR(&result);
        const bool same = lender.lentChange != lender.changes || changes != lender.changes || lender.lent == text ||
                          lender.lent == nullptr;
        lender.lent = text;
        lender.lentChange = lender.changes;
        if (!same) {
            V_VT(&result) = VT_EMPTY;
            return "another pointer to the same line";
        }
    }
    return TakeResult(call, result, outcome.value, member.lends);
}

/// The result of a call through the vtable, and the error record that it set.
std::string World::CheckError(const Call& call, HRESULT hr, const Outcome& outcome) const {
    if (hr != outcome.hr) {
        return Differs("result", PrintedHr(hr), PrintedHr(outcome.hr));
    }
    if (SUCCEEDED(hr)) {
        return "";
    }
    CComPtr<IErrorInfo> record;
    GetErrorInfo(0, &record);
    if (outcome.message == nullptr) {
        return record == (call.earlierError ? m_earlierError.p : nullptr) ? "" : "the error record was changed";
    }
    if (record == nullptr) {
        return "there is no error record";
    }
    support::Bstr text;
    record->GetDescription(text.Out());
    std::string difference = CheckText("description", text, Text(outcome.message));
    if (difference.empty()) {
        record->GetSource(text.Out());
        difference = CheckText("source", text, SourceOf(call.member->kind));
    }
    IID iid = {};
    record->GetGUID(&iid);
    if (difference.empty() && iid != IidOf(call.member->kind)) {
        difference = "the error record is of another interface";
    }
    DWORD context = 1;
    record->GetHelpContext(&context);
    record->GetHelpFile(text.Out());
    return !difference.empty()                       ? difference
           : context != 0 || SysStringLen(text) != 0 ? "the error record has a help file or context"
                                                     : "";
}

// Enumerators

std::string World::Next(const Call& call) {
    const Ref model = ObjectIn(call.slot); // the result may replace it
    const CComPtr<IUnknown> keeper = SlotOf(call.slot).real;
    auto* const real = static_cast<IEnumVARIANT*>(keeper.p);
    auto& enumerator = static_cast<Enumerator&>(*model);
    const auto check = [](HRESULT is, HRESULT wanted) {
        return is == wanted ? "" : Differs("result", PrintedHr(is), PrintedHr(wanted));
    };
    if (call.op == Op::Reset) {
        enumerator.position = 0;
        return check(real->Reset(), S_OK);
    }
    if (call.op == Op::Skip) {
        return check(real->Skip(call.count), enumerator.Skip(call.count) ? S_OK : S_FALSE);
    }
    if (call.op == Op::Clone) {
        CComPtr<IEnumVARIANT> clone;
        std::string difference = check(real->Clone(&clone), S_OK);
        if (difference.empty() && call.target >= 0) {
            const Ref copy = std::make_shared<Enumerator>(enumerator.owner, enumerator.position);
            Keep(call.target, copy, clone);
        }
        return difference;
    }
    const auto room = static_cast<std::size_t>(call.count);
    std::vector<Variant> values(room + 1);
    ULONG fetched = 99;
    for (Variant& value : values) {
        V_VT(&value) = VT_I4;
        V_I4(&value) = untouched;
    }
    const HRESULT hr =
        real->Next(call.count, call.nullArray ? nullptr : values.data(), call.wantsFetched ? &fetched : nullptr);
    if (call.nullArray || (call.count > 1 && !call.wantsFetched)) {
        return V_I4(&values[0]) != untouched ? "a refused Next has delivered something" : check(hr, E_POINTER);
    }
    const std::vector<Value> wanted = enumerator.Next(room);
    std::string difference = check(hr, wanted.size() == room ? S_OK : S_FALSE);
    if (difference.empty() && call.wantsFetched && fetched != wanted.size()) {
        difference = Differs("fetched", std::to_string(fetched), std::to_string(wanted.size()));
    }
    bool kept = false;
    for (std::size_t i = 0; i < values.size() && difference.empty(); ++i) {
        const bool delivered = i < wanted.size();
        Call first = call;
        first.target = delivered && wanted[i].object != nullptr && !kept ? call.target : -1;
        kept = kept || first.target >= 0;
        if (delivered) {
            difference = TakeResult(first, values[i], wanted[i], false);
        } else if (i == room) {
            difference = Difference(values[i], Value::Long(untouched));
        }
    }
    return difference;
}

} // namespace model

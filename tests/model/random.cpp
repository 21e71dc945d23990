#include "tests/model/random.h"

#include <climits>
#include <cstring>
#include <iterator>

namespace model {

Call RandomCalls::Next(const World& world) {
    Call call;
    call.slot = AnySlot();
    const Ref& object = world.ObjectIn(call.slot);
    if (object == nullptr || Chance(1, 60)) {
        call.op = Op::Create;
        call.kind = creatable[Below(creatable.size())];
        call.variant = static_cast<unsigned>(m_random());
        return call;
    }
    if (Chance(1, 40)) {
        call.op = Op::Release;
        return call;
    }
    if (Chance(1, 60)) {
        call.op = Op::Alias;
        call.source = AnySlot();
        return call;
    }
    if (Chance(1, 60)) {
        call.op = Chance(1, 8) ? Op::DeleteFile : Op::WriteFile;
        call.file = static_cast<int>(Below(regularFiles));
        call.bytes = AnyBytes();
        return call;
    }
    if (object->kind == Kind::Enumerator) {
        return EnumeratorCall(call.slot);
    }
    return MemberOf(world, call.slot, *object);
}

Call RandomCalls::EnumeratorCall(int slot) {
    Call call;
    call.slot = slot;
    call.target = Chance(1, 3) ? AnySlot() : -1;
    const unsigned which = Below(12);
    call.op = which < 7 ? Op::Next : which < 9 ? Op::Skip : which < 10 ? Op::Reset : Op::Clone;
    call.count = Chance(1, 2) ? 1 : Chance(1, 20) ? 1000 : Below(6);
    if (call.op == Op::Skip && Chance(1, 20)) {
        call.count = ULONG_MAX;
    }
    call.wantsFetched = !Chance(1, 8);
    call.nullArray = Chance(1, 40);
    return call;
}

int RandomCalls::SlotWith(const World& world, Kind kind) {
    const int start = AnySlot();
    for (int i = 0; i < slotCount; ++i) {
        const int slot = (start + i) % slotCount;
        if (world.ObjectIn(slot) != nullptr && world.ObjectIn(slot)->kind == kind) {
            return slot;
        }
    }
    return -1;
}

Call RandomCalls::MemberOf(const World& world, int slot, const Object& object) {
    Call call;
    call.slot = slot;
    const auto members = MembersOf(object.kind);
    const auto* const stream = dynamic_cast<const Stream*>(&object);
    call.member = &members[Below(members.size())];
    for (int again = 0; again < 3 && stream != nullptr; ++again) {
        // Streams are read and written, and closed soon.
        const std::string_view name = call.member->name;
        const bool dull = stream->isOpen ? name == "Clear" || name == "Close" || name == "Open" : name != "Open";
        if (dull && !Chance(1, 6)) {
            call.member = &members[Below(members.size())];
        }
    }
    for (std::size_t i = 0; i < call.member->parameters.size(); ++i) {
        call.arguments.push_back(AnyArgument(world, *call.member, i, object));
    }
    if (call.member->optional > 0 && Chance(1, 3)) {
        call.arguments.pop_back();
    }
    call.target = Chance(1, 2) ? AnySlot() : -1;
    call.variant = static_cast<unsigned>(m_random());
    call.earlierError = Chance(1, 4);
    call.lateBound = Chance(3, 5);
    if (call.lateBound) {
        MakeLateBound(world, call);
    }
    return call;
}

void RandomCalls::MakeLateBound(const World& world, Call& call) {
    static constexpr LCID locales[] = {0x0409, 0x0407, LOCALE_USER_DEFAULT, LOCALE_NEUTRAL};
    call.locale = locales[Below(std::size(locales))];
    call.byName = Chance(1, 4);
    call.wantsResult = !Chance(1, 8);
    call.wantsDetails = !Chance(1, 8);
    call.shape = Chance(1, 5) ? Shape::Named : Chance(1, 8) ? static_cast<Shape>(Below(shapes)) : Shape::Plain;
    for (Argument& argument : call.arguments) {
        if (!Chance(1, 3) || argument.value.type == (VT_BYREF | VT_I4)) {
            continue;
        }
        auto pass = Chance(1, 2) ? static_cast<Pass>(1 + Below(3)) : static_cast<Pass>(Below(passes));
        if (argument.fileName >= 0 && pass > Pass::NullReference) {
            pass = Pass::Direct; // any other file name might be any file
        }
        if (pass == Pass::OtherObject) {
            const int slot = AnySlot();
            const Ref& object = world.ObjectIn(slot);
            const VARTYPE type = argument.value.type;
            if ((type != VT_I4 && type != VT_BSTR && type != VT_BOOL) || object == nullptr ||
                object->kind == Kind::Enumerator) {
                continue;
            }
            argument.value = Value::Of(Ref());
            argument.slot = slot;
        }
        argument.pass = pass;
    }
}

Argument RandomCalls::AnyArgument(const World& world, const Member& member, std::size_t i, const Object& object) {
    Argument argument;
    const std::string_view name = member.name;
    switch (member.parameters[i]) {
    case VT_I4:
        argument.value = Value::Long(AnyIndex(object.kind == Kind::String ? 6 : object.Size()));
        break;
    case VT_BOOL:
        argument.value = Value::Bool(Chance(1, 2));
        if (Chance(1, 8)) {
            argument.value.bits = Chance(1, 2) ? 1 : 2;
        }
        break;
    case VT_BSTR:
        if (name == "Open") {
            argument.value = Value::Of(Text());
            argument.fileName = static_cast<int>(Chance(4, 5) ? Below(regularFiles) : Below(fileNames));
        } else {
            const bool isLine = name == "WriteLine" || (name == "IsCommentLine" && Chance(1, 2));
            argument.value = Value::Of(isLine ? AnyLine() : AnyText());
        }
        break;
    case VT_DISPATCH:
        argument.value = Value::Of(Ref());
        argument.slot = Chance(1, 8) ? -1 : Chance(1, 12) ? AnySlot() : SlotWith(world, member.objects);
        break;
    default:
        argument = AnyValue(world);
    }
    return argument;
}

Argument RandomCalls::AnyValue(const World& world) {
    Argument argument;
    Value& value = argument.value;
    switch (Below(14)) {
    case 0:
        break;
    case 1:
        value.type = VT_NULL;
        break;
    case 2:
        value = {.type = VT_I2, .bits = static_cast<int>(Below(1000)) - 500};
        break;
    case 3: {
        const double number = static_cast<double>(Below(1000)) / 8;
        value.type = Chance(1, 2) ? VT_R8 : VT_DATE;
        std::memcpy(&value.bits, &number, sizeof(number));
        break;
    }
    case 4:
        value = {.type = VT_CY, .bits = static_cast<int>(Below(100000))};
        break;
    case 5:
        value = Value::Bool(Chance(1, 2));
        break;
    case 6:
        value = {.type = VT_ERROR, .bits = E_INVALIDARG};
        break;
    case 7:
        value = {.type = VT_ARRAY | VT_I4};
        for (unsigned count = Below(4); count > 0; --count) {
            value.array.push_back(static_cast<long>(Below(100)));
        }
        break;
    case 8:
        value = {.type = VT_BYREF | VT_I4, .bits = static_cast<int>(Below(4))};
        break;
    case 9:
    case 10: {
        value.type = Chance(1, 2) ? VT_DISPATCH : VT_UNKNOWN;
        const int slot = AnySlot();
        const Ref& object = world.ObjectIn(slot);
        argument.slot = object != nullptr && object->kind != Kind::Enumerator ? slot : -1;
        break;
    }
    case 11:
        value = Value::Long(static_cast<long>(m_random()));
        break;
    default:
        value = Value::Of(AnyText());
    }
    return argument;
}

long RandomCalls::AnyIndex(std::size_t size) {
    static constexpr long extremes[] = {-1, LONG_MIN, LONG_MAX, 65536, -2, LONG_MIN + 1, 1000};
    if (Chance(1, 16)) {
        return extremes[Below(std::size(extremes))];
    }
    return static_cast<long>(Below(size + (Chance(1, 6) ? 3 : 1)));
}

Text RandomCalls::AnyText() {
    static constexpr wchar_t units[] = L"aab,,; ;;\tb \r\n#\x00e4\x6f22\x2003\xd83d\xfeff\0";
    if (Chance(1, 12)) {
        return {};
    }
    std::wstring text;
    for (unsigned length = Chance(1, 12) ? 0 : Chance(1, 30) ? 300 : Below(9); length > 0; --length) {
        // The array's terminating NUL is one of them, but rarely used.
        const unsigned unit = Below(std::size(units));
        text += units[unit] == L'\0' && !Chance(1, 3) ? L'c' : units[unit];
    }
    return text;
}

Text RandomCalls::AnyLine() {
    if (Chance(1, 20)) {
        return {};
    }
    std::wstring line;
    for (const char byte : AnyBytes()) {
        line += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        if (line.size() >= 200 || (byte == '\n' && !Chance(1, 4))) {
            break;
        }
    }
    return line;
}

/// Lines of text, many of critical lengths.
std::string RandomCalls::AnyBytes() {
    static constexpr char rare[] = {'\r', '\n', '\0', '\x1a', '\xe4', '\xff', ' ', '\t', ';', '#'};
    std::string bytes;
    for (unsigned lines = Below(7); lines > 0; --lines) {
        const unsigned length = Chance(1, 4) ? 124 + Below(8) : Chance(1, 12) ? 250 + Below(10) : Below(12);
        const bool plain = Chance(1, 2);
        for (unsigned i = 0; i < length; ++i) {
            const bool odd = !plain && Chance(1, length / 2 + 2);
            bytes += odd ? rare[Below(std::size(rare))] : static_cast<char>('a' + i % 26);
        }
        if (lines > 1 || Chance(2, 3)) {
            bytes += Chance(1, 4) ? "\n" : "\r\n";
        }
    }
    return bytes;
}

} // namespace model

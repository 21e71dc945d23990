#include "core/nkstring.h"

#include <algorithm>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

static_assert(sizeof(CNKString) == sizeof(void*) && !std::is_polymorphic_v<CNKString>);
static_assert(std::is_nothrow_move_constructible_v<CNKString> && std::is_nothrow_move_assignable_v<CNKString>);

namespace {

/// The record that copies of a _bstr_t share. The pointer is private, but needed to move strings and to create records
/// (see Adopt). Explicit instantiations may name private members. A _bstr_t of our own is no alternative: <comdef.h>,
/// which has _com_error, includes the toolchain's.
auto& RecordOf(_bstr_t& handle) noexcept;

template <auto member> struct RecordAccess {
    friend auto& RecordOf(_bstr_t& handle) noexcept { return handle.*member; }
};
template struct RecordAccess<&_bstr_t::m_Data>;

using Record = std::remove_pointer_t<std::remove_reference_t<decltype(RecordOf(std::declval<_bstr_t&>()))>>;

/// Checks the result of a BSTR allocation.
BSTR ThrowIfNull(BSTR text) {
    if (text == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);
    }
    return text;
}

} // namespace

// Construction

CNKString::CNKString(const wchar_t* text) {
    Adopt(text == nullptr ? nullptr : ThrowIfNull(SysAllocString(text)));
}

CNKString::CNKString(const char* text) {
    Adopt(_com_util::ConvertStringToBSTR(text));
}

CNKString::CNKString(const wchar_t* text, std::size_t length) {
    Adopt(AllocateBstr(text, length));
}

CNKString::CNKString(wchar_t character, std::size_t count) {
    const BSTR text = AllocateBstr(nullptr, count);
    std::fill_n(text, count, character);
    Adopt(text);
}

BSTR CNKString::AllocateBstr(const wchar_t* text, std::size_t length) {
    const bool possible = length <= (std::numeric_limits<UINT>::max)();
    return ThrowIfNull(possible ? SysAllocStringLen(text, static_cast<UINT>(length)) : nullptr);
}

void CNKString::AdoptOrCopy(BSTR text, bool fCopy) {
    Adopt(fCopy ? CopyOf(text) : text);
}

// The only place that creates records. The record's operator new and the constructors of _bstr_t are inline in the
// toolchain's header. How they fail depends on macros and compiler flags, and a program linked with this library may
// bring its own copies of them, compiled differently.
void CNKString::Adopt(BSTR text) {
    if (OwnsRecord()) {
        RecordOf(*this)->Attach(text);
        return;
    }
    auto* const record = ::new (std::nothrow) Record(text, false);
    if (record == nullptr) {
        SysFreeString(text);
        _com_issue_error(E_OUTOFMEMORY);
    }
    const CNKString old(std::move(*this));
    RecordOf(*this) = record;
}

bool CNKString::OwnsRecord() noexcept {
    const Record* const record = RecordOf(*this);
    return record != nullptr && record->RefCount() == 1;
}

BSTR CNKString::CopyOf(const wchar_t* text) {
    const auto length = static_cast<UINT>(ByteLength(text));
    return text == nullptr ? nullptr : ThrowIfNull(SysAllocStringByteLen(reinterpret_cast<const char*>(text), length));
}

// Assignment

CNKString& CNKString::operator=(CNKString&& other) noexcept {
    CNKString taken(std::move(other));
    swap(taken);
    return *this;
}

CNKString& CNKString::operator=(const wchar_t* text) {
    if (text != nullptr && text == static_cast<const wchar_t*>(*this)) {
        return *this;
    }
    Replace([text] { return text == nullptr ? nullptr : ThrowIfNull(SysAllocString(text)); });
    return *this;
}

CNKString& CNKString::operator=(const char* text) {
    Replace([text] { return _com_util::ConvertStringToBSTR(text); });
    return *this;
}

// `make` may read the old text, which is released only afterwards.
template <class Make> void CNKString::Replace(Make make) {
    CNKString old(std::move(*this));
    const BSTR text = make();
    swap(old);
    Attach(text);
}

CNKString& CNKString::Clear() noexcept {
    return *this = CNKString();
}

void CNKString::swap(CNKString& other) noexcept {
    std::swap(RecordOf(*this), RecordOf(other));
}

// Access to the BSTR

BSTR CNKString::Detach() {
    if (OwnsRecord()) {
        return _bstr_t::Detach();
    }
    const BSTR text = copy();
    Clear();
    return text;
}

BSTR CNKString::copy() const {
    return CopyOf(static_cast<const wchar_t*>(*this));
}

void CNKString::Attach(BSTR text) {
    if (!OwnsRecord()) {
        Clear();
    }
    Adopt(text);
}

void CNKString::Assign(BSTR text) {
    if (text == nullptr || text != static_cast<const wchar_t*>(*this)) {
        const CNKString old(std::move(*this)); // `text` may point into it
        *this = CNKString(text, true);
    }
}

BSTR& CNKString::GetBSTR() {
    if (RecordOf(*this) == nullptr) {
        Adopt(nullptr);
    }
    return RecordOf(*this)->GetWString();
}

BSTR* CNKString::GetAddress() {
    Attach(nullptr);
    return &GetBSTR();
}

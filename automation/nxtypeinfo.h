/// Type information of the automation interfaces.
#pragma once

#include <array>
#include <atomic>
#include <memory>

#include <atlcom.h>

/// The type information of one automation interface, and the short ways to its members.
///
/// A name that is a member's, and a call whose arguments are of the very types that the member takes, need none of what
/// makes the platform's dispatcher slow. Both are answered from a table, made once from the type information. All the
/// rest goes to the platform: conversions, references, named, optional and object arguments, names of parameters. For a
/// caller there is no difference but time.
class CNXTypeInfoHolder : public CComTypeInfoHolder {
  public:
    using CComTypeInfoHolder::CComTypeInfoHolder;

    HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID lcid, DISPID* rgdispid) noexcept;

    /// DISP_E_BADPARAMCOUNT: more arguments than parameters. (Not every platform's dispatcher minds arguments that a
    /// member has no parameters for. It would drop them, and run `list.Remove` where a script says something else.)
    /// Otherwise as the platform's dispatcher says, and whatever exception the member raises.
    HRESULT Invoke(IDispatch* p, DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pdispparams,
                   VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr);

  private:
    static constexpr UINT mostParameters = 2;
    static constexpr UINT longestName = 15;

    struct Member {
        DISPID id;
        WORD kind; ///< DISPATCH_METHOD, DISPATCH_PROPERTYGET or DISPATCH_PROPERTYPUT
        UINT parameters;
        bool direct;                   ///< takes and gives nothing but numbers, booleans and texts
        UINT slot;                     ///< in the vtable
        VARTYPE types[mostParameters]; ///< of the parameters of a direct member
        VARTYPE result;                ///< of a direct member; VT_VOID: none
        wchar_t name[longestName + 1]; ///< empty if it is longer
    };

    /// An argument as calls pass it: on this platform each has a place of 8 bytes, whatever its type.
    using Place = INT_PTR;

    /// Those of a call's arguments and, behind them, of its result.
    using Places = std::array<Place, mostParameters + 1>;

    /// Reads the arguments of a call. False if not all are there, or one is not for the short way.
    static bool ReadArguments(const Member& member, WORD flags, const DISPPARAMS& given, Places& places) noexcept;
    /// Calls a direct member.
    static HRESULT Call(IDispatch* p, const Member& member, Places places, VARIANT* pvarResult, EXCEPINFO* pexcepinfo);

    /// Makes m_members, at the first call.
    HRESULT EnsureMembers() noexcept;
    static HRESULT Describe(ITypeInfo* info, UINT index, Member& member) noexcept;
    /// The member that a call with these flags reaches, or null.
    [[nodiscard]] const Member* Find(DISPID id, WORD flags) const noexcept;
    /// The member of that name, in whatever case its ASCII letters are, or null.
    [[nodiscard]] const Member* Find(const wchar_t* name) const noexcept;

    std::atomic<bool> m_membersKnown = false;
    std::unique_ptr<Member[]> m_members;
    UINT m_memberCount = 0;
};

/// Type information of the automation interfaces.
#pragma once

#include <memory>

#include <atlcom.h>

/// The type information of one automation interface, which calls its members with the right number of arguments only.
///
/// Not every platform's dispatcher minds arguments that a member has no parameters for. It would drop them, and run
/// `list.Remove` where a script says something else.
class CNXTypeInfoHolder : public CComTypeInfoHolder {
  public:
    using CComTypeInfoHolder::CComTypeInfoHolder;

    /// DISP_E_BADPARAMCOUNT: more arguments than parameters. Otherwise as the platform's dispatcher says, and whatever
    /// exception the member raises.
    HRESULT Invoke(IDispatch* p, DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pdispparams,
                   VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr);

  private:
    struct Member {
        DISPID id;
        WORD kind; ///< DISPATCH_METHOD, DISPATCH_PROPERTYGET or DISPATCH_PROPERTYPUT
        UINT parameters;
    };

    /// Makes m_members, at the first call.
    HRESULT EnsureMembers() noexcept;
    /// The member that a call with these flags reaches, or null.
    [[nodiscard]] const Member* Find(DISPID id, WORD flags) const noexcept;

    std::atomic<bool> m_membersKnown = false;
    std::unique_ptr<Member[]> m_members;
    UINT m_memberCount = 0;
};

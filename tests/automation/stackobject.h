/// COM objects on a test's stack, whose references the test can count.
#pragma once

#include <functional>

#include <nuvolex.h>
#include <oaidl.h>

namespace support {

/// A COM object on the test's stack, whose references the test can count.
template <class Interface> class StackObject : public Interface {
  public:
    StackObject() = default;
    StackObject(const StackObject&) = delete;
    StackObject& operator=(const StackObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        if (const HRESULT hr = onQuery(); FAILED(hr)) {
            return hr;
        }
        *object = static_cast<Interface*>(this);
        this->AddRef();
        queried = iid;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        onAddRef();
        return ++references;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        onRelease();
        return --references;
    }

    std::function<HRESULT()> onQuery = [] { return S_OK; };
    /// Runs in AddRef before the reference is added.
    std::function<void()> onAddRef = [] {};
    /// Runs in Release before the reference is removed.
    std::function<void()> onRelease = [] {};
    IID queried = IID_NULL;
    ULONG references = 0;
};

/// An automation object whose own members are not called.
template <class Interface> class StackAutomationObject : public StackObject<Interface> {
  public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

class StackTokenString : public StackAutomationObject<INXTokenString> {
  public:
    HRESULT STDMETHODCALLTYPE get_Value(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Value(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Separator(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Separator(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_MultiCharacter(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_MultiCharacter(VARIANT_BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Add(BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Count(long*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Token(long, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown**) override { return E_NOTIMPL; }
};

class StackFileStream : public StackAutomationObject<INXFileStream> {
  public:
    HRESULT STDMETHODCALLTYPE Clear() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Close() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Flush(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsCommentLine(BSTR, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsEOF(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsOpen(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ReadNextLine(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Open(BSTR, VARIANT_BOOL, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UngetLine(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE WriteLine(BSTR, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_fileName(BSTR*) override { return E_NOTIMPL; }
};

} // namespace support

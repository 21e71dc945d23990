#include "automation/exceptions.h"

#include <new>
#include <utility>

HRESULT HResultOfCurrentException() noexcept {
    SetErrorInfo(0, nullptr);
    try {
        throw;
    } catch (const _com_error& error) {
        return error.Error();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

HRESULT CopyText(const CNKString& text, BSTR* pbsCopy) noexcept {
    try {
        *pbsCopy = text.copy();
        return S_OK;
    } catch (const _com_error& error) {
        return error.Error();
    }
}

HRESULT HandOver(CNKString&& text, BSTR* pbsCopy) noexcept {
    try {
        *pbsCopy = std::move(text).DetachText();
        return S_OK;
    } catch (const _com_error& error) {
        return error.Error();
    }
}

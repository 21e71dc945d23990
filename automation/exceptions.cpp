#include "automation/exceptions.h"

#include <utility>

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

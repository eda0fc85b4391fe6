// Windows.Foundation.Uri: recognises absolute addresses and returns their text.

#include "classes.h"
#include "object.h"
#include "state.h"

namespace standins::runtime {
namespace {
bool isLetter(wchar_t unit) { return (unit >= L'a' && unit <= L'z') || (unit >= L'A' && unit <= L'Z'); }
bool isDigit(wchar_t unit) { return unit >= L'0' && unit <= L'9'; }

// A scheme, a colon and, for the web's schemes, a host.
bool isAbsolute(std::wstring_view text) {
    const auto colon = text.find(L':');
    if (colon == std::wstring_view::npos || colon == 0 || !isLetter(text[0])) {
        return false;
    }
    const auto scheme = text.substr(0, colon);
    for (const wchar_t unit : scheme) {
        if (!isLetter(unit) && !isDigit(unit) && unit != L'+' && unit != L'-' && unit != L'.') {
            return false;
        }
    }
    if (scheme != L"http" && scheme != L"https") {
        return true;
    }
    const auto rest = text.substr(colon + 1);
    return rest.starts_with(L"//") && rest.size() > 2 && rest[2] != L'/';
}

class Uri final : public Object<abi::Uri> {
public:
    explicit Uri(std::wstring text) : Object("Uri"), m_text(std::move(text)) {}
    const std::wstring& text() const { return m_text; }

    HRESULT STDMETHODCALLTYPE get_AbsoluteUri(HSTRING* text) override { return give(m_text, text); }
    HRESULT STDMETHODCALLTYPE get_DisplayUri(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Domain(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Extension(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Fragment(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Host(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Password(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Path(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Query(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_QueryParsed(IInspectable**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_RawUri(HSTRING* text) override { return give(m_text, text); }

private:
    std::wstring m_text;
};

class Factory final : public Object<abi::ActivationFactory, abi::UriFactory> {
public:
    Factory() : Object("UriFactory") { agile = isAgile(uriClass); }

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
        *instance = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateUri(HSTRING text, IInspectable** uri) override {
        const std::wstring units = textOf(text);
        HRESULT result = instanceOf(uriClass).give();
        if (SUCCEEDED(result) && !isAbsolute(units)) {
            result = E_INVALIDARG;
            leaveReason(result, units + L" is not a valid absolute URI.\r\n", Reason::restricted);
        }
        sawUri(units, result);
        *uri = SUCCEEDED(result) ? new Uri(units) : nullptr;
        return result;
    }
    HRESULT STDMETHODCALLTYPE CreateWithRelativeUri(HSTRING, HSTRING, IInspectable** uri) override {
        *uri = nullptr;
        return E_NOTIMPL;
    }
};
}  // namespace

abi::ActivationFactory* makeUriFactory() { return new Factory; }

bool readUri(IUnknown* uri, std::wstring& text) {
    void* asked = nullptr;
    if (!uri || uri->QueryInterface(abi::Uri::iid, &asked) != S_OK) {
        return false;
    }
    auto* const found = static_cast<abi::Uri*>(asked);
    HSTRING string = nullptr;
    found->get_AbsoluteUri(&string);
    found->Release();
    text = textOf(string);
    WindowsDeleteString(string);
    return true;
}
}  // namespace standins::runtime

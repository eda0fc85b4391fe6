// Error information as the real runtime leaves it on a thread.

#include "object.h"
#include "state.h"

#include <oleauto.h>

namespace standins::runtime {
namespace {
class ErrorInformation final : public abi::RestrictedErrorInfo, public IErrorInfo {
public:
    ErrorInformation(HRESULT code, std::wstring reason, bool restricted)
        : m_code(code), m_reason(std::move(reason)), m_restricted(restricted) {
        countObject("ErrorInformation", 1);
    }
    virtual ~ErrorInformation() { countObject("ErrorInformation", -1); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (same(id, abi::errorInfoId) || same(id, abi::unknownId)) {
            *object = static_cast<IErrorInfo*>(this);
        } else if (m_restricted && same(id, abi::RestrictedErrorInfo::iid)) {
            *object = static_cast<abi::RestrictedErrorInfo*>(this);
        } else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        ++m_references;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG const left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* description, HRESULT* code, BSTR* restricted,
                                              BSTR* capability) override {
        *description = SysAllocString(L"The general text of the failure.\r\n");
        *code = m_code;
        *restricted = SysAllocStringLen(m_reason.data(), static_cast<UINT>(m_reason.size()));
        *capability = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetReference(BSTR* reference) override {
        *reference = nullptr;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* id) override {
        *id = GUID{};
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override {
        *source = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override {
        *description = SysAllocStringLen(m_reason.data(), static_cast<UINT>(m_reason.size()));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* file) override {
        *file = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override {
        *context = 0;
        return S_OK;
    }

private:
    std::atomic<ULONG> m_references{1};
    HRESULT m_code;
    std::wstring m_reason;
    bool m_restricted;
};
}  // namespace

void leaveReason(HRESULT code, const std::wstring& reason, Reason kind) {
    if (kind == Reason::none) {
        return;
    }
    auto* const information = new ErrorInformation(code, reason, kind == Reason::restricted);
    SetErrorInfo(0, information);
    static_cast<IErrorInfo*>(information)->Release();
}
}  // namespace standins::runtime

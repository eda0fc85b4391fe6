#include "fakes.h"

#include <windows.h>

#include <oleauto.h>

#include <cstring>

namespace projection_tests {
wchar_t* bstr(const wchar_t* text) noexcept { return text ? SysAllocString(text) : nullptr; }

FakeErrorInfo::FakeErrorInfo(int32_t code, const wchar_t* description, const wchar_t* restricted)
    : Fake({}), m_code(code), m_description(description), m_restricted(restricted) {}

int32_t FakeErrorInfo::GetErrorDetails(wchar_t** description, int32_t* code, wchar_t** restricted,
                                       wchar_t** capability) noexcept {
    *description = bstr(m_description);
    *code = m_code;
    *restricted = bstr(m_restricted);
    *capability = bstr(L"S-1-0");
    return detailsResult;
}

int32_t FakeErrorInfo::GetReference(wchar_t** reference) noexcept {
    ++references_asked;
    *reference = bstr(L"reference");
    return 0;
}

int32_t FakeErrorInfo::QueryInterface(const guid& id, void** object) noexcept {
    namespace impl = winrt::impl;
    *object = nullptr;
    if (id == impl::guid_v<impl::UnknownAbi> || id == impl::guid_v<impl::ErrorInfoAbi>) {
        *object = static_cast<impl::ErrorInfoAbi*>(&m_plain);
    } else if (isRestricted && id == impl::guid_v<impl::RestrictedErrorInfoAbi>) {
        *object = static_cast<impl::RestrictedErrorInfoAbi*>(this);
    } else if (isRestricted && id == impl::guid_v<impl::LanguageErrorInfoAbi>) {
        *object = static_cast<impl::LanguageErrorInfoAbi*>(&m_language);
    } else {
        return impl::error_no_interface;
    }
    AddRef();
    return 0;
}

int32_t FakeErrorInfo::Plain::GetDescription(wchar_t** description) noexcept {
    *description = bstr(m_owner.m_description);
    return 0;
}

int32_t FakeErrorInfo::Language::CapturePropagationContext(void* exception) noexcept {
    m_owner.contexts_captured += exception == nullptr ? 1 : 1000;
    return 0;
}

void FakeErrorInfo::publish() {
    winrt::impl::platform::setErrorInfo(0, static_cast<winrt::impl::ErrorInfoAbi*>(&m_plain));
    Release();
}

namespace {
bool storing = false;

int32_t originate(int32_t code, void* message, void* exception) noexcept {
    OriginateScope::calls.push_back({code, message != nullptr, textOf(message)});
    if (storing && exception == nullptr) {
        const auto& text = OriginateScope::calls.back().text;
        (new FakeErrorInfo(code, L"general text", message ? text.c_str() : nullptr))->publish();
    }
    return 1;
}

void* findOriginate(const char* name) noexcept {
    return std::strcmp(name, "RoOriginateLanguageException") == 0 ? reinterpret_cast<void*>(originate) : nullptr;
}
}  // namespace

OriginateScope::OriginateScope(bool store) {
    storing = store;
    calls.clear();
    calls.reserve(100);  // the texts that are returned point into it
    winrt::impl::platform::calls.runtimeFunction = findOriginate;
}

OriginateScope::~OriginateScope() { SetErrorInfo(0, nullptr); }
}  // namespace projection_tests

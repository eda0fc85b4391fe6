#pragma once

/// What the system knows about a failure besides its code: texts and a context that belong to the calling thread.

#include "winrt/impl/com_ptr.h"

#include <string_view>

namespace winrt::impl {
/// Owns one BSTR.
class Bstr {
public:
    Bstr() noexcept = default;
    Bstr(Bstr&& other) noexcept : m_text(std::exchange(other.m_text, nullptr)) {}
    Bstr& operator=(Bstr&& other) noexcept {
        std::swap(m_text, other.m_text);
        return *this;
    }
    ~Bstr() { platform::freeBstr(m_text); }

    wchar_t** put() noexcept { return &m_text; }
    explicit operator bool() const noexcept { return m_text != nullptr; }
    operator std::wstring_view() const noexcept { return {m_text, platform::bstrLength(m_text)}; }

private:
    wchar_t* m_text = nullptr;
};

constexpr bool isSpace(wchar_t unit) noexcept { return unit == L' ' || (unit >= L'\t' && unit <= L'\r'); }

/// Only the end is trimmed: system texts end in line breaks, and inner line breaks belong to the text.
inline hstring trimmedMessage(std::wstring_view text) {
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return hstring{text};
}

/// The system's own text for a code, in the user's language; empty if there is none.
inline hstring systemMessage(hresult code) {
    struct Buffer {
        wchar_t* text = nullptr;
        ~Buffer() { platform::freeLocal(text); }
    } buffer;
    constexpr uint32_t allocateFromSystemIgnoringInserts = 0x1300;
    constexpr uint32_t userLanguage = 0x0400;
    const uint32_t length =
        platform::formatMessage(allocateFromSystemIgnoringInserts, nullptr, static_cast<uint32_t>(code.value),
                                userLanguage, &buffer.text, 0, nullptr);
    return trimmedMessage({buffer.text, length});
}

inline com_ptr<ErrorInfoAbi> takeErrorInfo() noexcept {
    com_ptr<ErrorInfoAbi> info;
    platform::takeErrorInfo(0, info.put_void());
    return info;
}

/// Makes the system create error information for a failure that originates here, and takes that information. Returns
/// null if the thread has no COM or the system keeps no error information.
inline com_ptr<RestrictedErrorInfoAbi> originate(hresult code, void* message) noexcept {
    using Function = int32_t (*)(int32_t code, void* message, void* exception) noexcept;
    const auto function = reinterpret_cast<Function>(platform::calls.runtimeFunction("RoOriginateLanguageException"));
    if (function == nullptr) {
        return nullptr;
    }
    function(code, message, nullptr);
    return takeErrorInfo().try_as<RestrictedErrorInfoAbi>();
}

/// Takes the calling thread's error information after a call has failed. Information of the older kind has only a
/// description, so the system is asked to make new information from it.
inline com_ptr<RestrictedErrorInfoAbi> takeRestrictedErrorInfo(hresult code) {
    const auto info = takeErrorInfo();
    if (auto restricted = info.try_as<RestrictedErrorInfoAbi>()) {
        if (const auto language = info.try_as<LanguageErrorInfoAbi>()) {
            language->CapturePropagationContext(nullptr);
        }
        return restricted;
    }
    hstring message;
    if (info) {
        Bstr description;
        info->GetDescription(description.put());
        message = trimmedMessage(description);
    }
    return originate(code, get_abi(message));
}
}  // namespace winrt::impl

#pragma once

/// Failures as exceptions.
///
/// hresult_error is the runtime's own exception family and is NOT derived from std::exception: a handler for standard
/// exceptions does not catch it. The derived types add only their type. The code for "out of memory" throws
/// std::bad_alloc instead. Error information belongs to a thread, so make or take an error on the thread that failed.

#include "winrt/impl/error_info.h"

#include <exception>
#include <new>
#include <stdexcept>
#include <string>

namespace winrt {
struct hresult_error {
    hresult_error() noexcept = default;
    hresult_error(hresult_error&&) noexcept = default;
    hresult_error& operator=(hresult_error&&) noexcept = default;
    hresult_error(const hresult_error& other) noexcept : m_code(other.m_code), m_info(other.m_info) {}
    hresult_error& operator=(const hresult_error& other) noexcept {
        m_code = other.m_code;
        m_info = other.m_info;
        m_reference = {};
        return *this;
    }

    /// A failure that the program itself has found, with the system's text for the code or with the given text.
    explicit hresult_error(hresult code) noexcept : m_code(code) { keep(impl::originate(code, nullptr)); }
    hresult_error(hresult code, const param::hstring& message) noexcept : m_code(code) {
        keep(impl::originate(code, get_abi(message)));
    }

    /// A failure that a call has just returned on this thread.
    hresult_error(hresult code, take_ownership_from_abi_t) : m_code(code) { keep(impl::takeRestrictedErrorInfo(code)); }

    hresult code() const noexcept { return m_code; }

    /// The text that belongs to exactly this code, or the system's text, without trailing white space. Empty if the
    /// system has no text. The restricted description takes precedence even if it is empty.
    hstring message() const {
        if (m_info) {
            int32_t code = 0;
            impl::Bstr description;
            impl::Bstr restricted;
            impl::Bstr capability;
            const auto result = m_info->GetErrorDetails(description.put(), &code, restricted.put(), capability.put());
            if (result == 0 && code == m_code) {
                return impl::trimmedMessage(restricted ? restricted : description);
            }
        }
        return impl::systemMessage(m_code);
    }

    /// Passes the failure back to a binary caller: the thread gets the error information again.
    hresult to_abi() const noexcept {
        if (const auto info = m_info.try_as<impl::ErrorInfoAbi>()) {
            impl::platform::setErrorInfo(0, info.get());
        }
        return m_code;
    }

private:
    void keep(com_ptr<impl::RestrictedErrorInfoAbi> info) noexcept {
        m_info = std::move(info);
        if (m_info) {
            m_info->GetReference(m_reference.put());
        }
    }

    hresult m_code = impl::error_fail;
    impl::Bstr m_reference;  // lets a debugger find where the failure began; copies lack it
    com_ptr<impl::RestrictedErrorInfoAbi> m_info;
};

namespace impl {
/// Base of the derived types. Each represents one code.
template <uint32_t Code>
struct CodedError : hresult_error {
    CodedError() noexcept : hresult_error(hresultOf(Code)) {}
    CodedError(const param::hstring& message) noexcept : hresult_error(hresultOf(Code), message) {}
    CodedError(take_ownership_from_abi_t) : hresult_error(hresultOf(Code), take_ownership_from_abi) {}
};
}  // namespace impl

struct hresult_access_denied : impl::CodedError<0x80070005> {
    using CodedError::CodedError;
};
struct hresult_wrong_thread : impl::CodedError<0x8001010E> {
    using CodedError::CodedError;
};
struct hresult_not_implemented : impl::CodedError<0x80004001> {
    using CodedError::CodedError;
};
struct hresult_invalid_argument : impl::CodedError<0x80070057> {
    using CodedError::CodedError;
};
struct hresult_out_of_bounds : impl::CodedError<0x8000000B> {
    using CodedError::CodedError;
};
struct hresult_no_interface : impl::CodedError<0x80004002> {
    using CodedError::CodedError;
};
struct hresult_class_not_available : impl::CodedError<0x80040111> {
    using CodedError::CodedError;
};
struct hresult_class_not_registered : impl::CodedError<0x80040154> {
    using CodedError::CodedError;
};
struct hresult_changed_state : impl::CodedError<0x8000000C> {
    using CodedError::CodedError;
};
struct hresult_illegal_method_call : impl::CodedError<0x8000000E> {
    using CodedError::CodedError;
};
struct hresult_illegal_state_change : impl::CodedError<0x8000000D> {
    using CodedError::CodedError;
};
struct hresult_illegal_delegate_assignment : impl::CodedError<0x80000018> {
    using CodedError::CodedError;
};
struct hresult_canceled : impl::CodedError<0x800704C7> {
    using CodedError::CodedError;
};

inline void throw_hresult(hresult code) {
    switch (static_cast<uint32_t>(code.value)) {
        case 0x8007000E:
            throw std::bad_alloc();
        case 0x80070005:
            throw hresult_access_denied(take_ownership_from_abi);
        case 0x8001010E:
            throw hresult_wrong_thread(take_ownership_from_abi);
        case 0x80004001:
            throw hresult_not_implemented(take_ownership_from_abi);
        case 0x80070057:
            throw hresult_invalid_argument(take_ownership_from_abi);
        case 0x8000000B:
            throw hresult_out_of_bounds(take_ownership_from_abi);
        case 0x80004002:
            throw hresult_no_interface(take_ownership_from_abi);
        case 0x80040111:
            throw hresult_class_not_available(take_ownership_from_abi);
        case 0x80040154:
            throw hresult_class_not_registered(take_ownership_from_abi);
        case 0x8000000C:
            throw hresult_changed_state(take_ownership_from_abi);
        case 0x8000000E:
            throw hresult_illegal_method_call(take_ownership_from_abi);
        case 0x8000000D:
            throw hresult_illegal_state_change(take_ownership_from_abi);
        case 0x80000018:
            throw hresult_illegal_delegate_assignment(take_ownership_from_abi);
        case 0x800704C7:
            throw hresult_canceled(take_ownership_from_abi);
        default:
            throw hresult_error(code, take_ownership_from_abi);
    }
}

inline void throw_last_error() { throw_hresult(impl::hresultFromWin32(impl::platform::lastError())); }

/// The code for the exception that is being handled. Call inside a catch block. If the exception is neither of this
/// family nor a standard exception, the process ends, because no code describes it.
inline hresult to_hresult() noexcept {
    try {
        throw;
    } catch (const hresult_error& error) {
        return error.to_abi();
    } catch (const std::bad_alloc&) {
        return impl::error_bad_alloc;
    } catch (const std::out_of_range& error) {
        return hresult_out_of_bounds(to_hstring(error.what())).to_abi();
    } catch (const std::invalid_argument& error) {
        return hresult_invalid_argument(to_hstring(error.what())).to_abi();
    } catch (const std::exception& error) {
        return hresult_error(impl::error_fail, to_hstring(error.what())).to_abi();
    }
}

/// The text of the exception that is being handled. Call inside a catch block.
inline hstring to_message() {
    try {
        throw;
    } catch (const hresult_error& error) {
        return error.message();
    } catch (const std::exception& error) {
        return to_hstring(error.what());
    }
}
}  // namespace winrt

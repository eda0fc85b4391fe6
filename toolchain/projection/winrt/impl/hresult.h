#pragma once

/// Result codes and their one rule: a negative code is a failure and throws.

#include "winrt/impl/hstring.h"

#include <cstdint>

namespace winrt {
struct hresult {
    int32_t value{};

    constexpr hresult() noexcept = default;
    constexpr hresult(int32_t code) noexcept : value(code) {}
    constexpr operator int32_t() const noexcept { return value; }
};

namespace impl {
constexpr hresult hresultOf(uint32_t code) noexcept { return static_cast<int32_t>(code); }

constexpr hresult hresultFromWin32(uint32_t error) noexcept {
    return static_cast<int32_t>(error) <= 0 ? hresultOf(error) : hresultOf((error & 0xFFFF) | 0x80070000);
}

inline constexpr hresult error_ok{0};
inline constexpr hresult error_fail = hresultOf(0x80004005);
inline constexpr hresult error_access_denied = hresultOf(0x80070005);
inline constexpr hresult error_wrong_thread = hresultOf(0x8001010E);
inline constexpr hresult error_not_implemented = hresultOf(0x80004001);
inline constexpr hresult error_invalid_argument = hresultOf(0x80070057);
inline constexpr hresult error_out_of_bounds = hresultOf(0x8000000B);
inline constexpr hresult error_no_interface = hresultOf(0x80004002);
inline constexpr hresult error_class_not_available = hresultOf(0x80040111);
inline constexpr hresult error_class_not_registered = hresultOf(0x80040154);
inline constexpr hresult error_changed_state = hresultOf(0x8000000C);
inline constexpr hresult error_illegal_method_call = hresultOf(0x8000000E);
inline constexpr hresult error_illegal_state_change = hresultOf(0x8000000D);
inline constexpr hresult error_illegal_delegate_assignment = hresultOf(0x80000018);
inline constexpr hresult error_canceled = hresultOf(0x800704C7);
inline constexpr hresult error_bad_alloc = hresultOf(0x8007000E);
inline constexpr hresult error_not_initialized = hresultOf(0x800401F0);
}  // namespace impl

/// Throws the exception for a failure code (hresult_error.h), with the calling thread's error information.
[[noreturn]] void throw_hresult(hresult code);

/// Throws for the calling thread's last Win32 error.
[[noreturn]] void throw_last_error();

inline hresult check_hresult(hresult code) {
    if (code < 0) {
        throw_hresult(code);
    }
    return code;
}
}  // namespace winrt

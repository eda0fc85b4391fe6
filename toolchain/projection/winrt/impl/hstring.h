#pragma once

/// The runtime's string: immutable, counted UTF-16 text; null if empty.
///
/// Throws std::bad_alloc if there is no memory, and std::invalid_argument if the length of a text needs more than 32
/// bits. Copies share one block; any thread may use them.

#include "winrt/impl/platform.h"

#include <compare>
#include <initializer_list>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace winrt {
/// Tells a constructor to take over the reference that a raw value represents.
struct take_ownership_from_abi_t {};
inline constexpr take_ownership_from_abi_t take_ownership_from_abi{};

struct hstring {
    using value_type = wchar_t;
    using size_type = uint32_t;
    using const_iterator = const wchar_t*;
    using iterator = const_iterator;

    hstring() noexcept = default;
    hstring(std::nullptr_t) = delete;
    hstring(void* string, take_ownership_from_abi_t) noexcept : m_string(string) {}
    hstring(const hstring& other) : m_string(duplicate(other.m_string)) {}
    hstring(hstring&& other) noexcept : m_string(std::exchange(other.m_string, nullptr)) {}
    hstring(const wchar_t* text) : hstring(std::wstring_view(text)) {}
    hstring(const wchar_t* text, uint32_t length) : hstring(std::wstring_view(text, length)) {}
    hstring(std::initializer_list<wchar_t> text) : hstring(text.begin(), static_cast<uint32_t>(text.size())) {}
    explicit hstring(std::wstring_view text) : m_string(create(text)) {}
    ~hstring() { clear(); }

    hstring& operator=(hstring other) noexcept {
        std::swap(m_string, other.m_string);
        return *this;
    }
    hstring& operator=(std::nullptr_t) = delete;

    void clear() noexcept { impl::platform::deleteString(std::exchange(m_string, nullptr)); }

    operator std::wstring_view() const noexcept {
        uint32_t length = 0;
        const wchar_t* const text = impl::platform::stringBuffer(m_string, &length);
        return {text, length};
    }

    /// Always terminated by NUL; never null.
    const wchar_t* c_str() const noexcept { return impl::platform::stringBuffer(m_string, nullptr); }
    const wchar_t* data() const noexcept { return c_str(); }
    uint32_t size() const noexcept { return static_cast<uint32_t>(std::wstring_view(*this).size()); }
    bool empty() const noexcept { return m_string == nullptr; }
    wchar_t operator[](uint32_t index) const noexcept { return c_str()[index]; }
    wchar_t front() const noexcept { return c_str()[0]; }
    wchar_t back() const noexcept { return c_str()[size() - 1]; }
    const_iterator begin() const noexcept { return c_str(); }
    const_iterator end() const noexcept { return c_str() + size(); }
    const_iterator cbegin() const noexcept { return begin(); }
    const_iterator cend() const noexcept { return end(); }

    friend void* get_abi(const hstring& text) noexcept;
    friend void** put_abi(hstring& text) noexcept;
    friend void* detach_abi(hstring& text) noexcept;

private:
    static void* create(std::wstring_view text) {
        if (text.size() > std::numeric_limits<uint32_t>::max() / 2) {
            throw std::invalid_argument("length");
        }
        void* string = nullptr;
        if (impl::platform::createString(text.data(), static_cast<uint32_t>(text.size()), &string) != 0) {
            throw std::bad_alloc();
        }
        return string;
    }

    static void* duplicate(void* other) {
        void* string = nullptr;
        if (impl::platform::duplicateString(other, &string) != 0) {
            throw std::bad_alloc();
        }
        return string;
    }

    void* m_string = nullptr;
};

/// The raw string: borrowed, as a place for an out parameter (which releases what was held), or detached.
inline void* get_abi(const hstring& text) noexcept { return text.m_string; }

inline void** put_abi(hstring& text) noexcept {
    text.clear();
    return &text.m_string;
}

inline void* detach_abi(hstring& text) noexcept { return std::exchange(text.m_string, nullptr); }

namespace impl {
template <typename T>
concept WideText = std::is_convertible_v<const T&, std::wstring_view>;
}

template <impl::WideText Other>
bool operator==(const hstring& left, const Other& right) noexcept {
    return std::wstring_view(left) == std::wstring_view(right);
}

template <impl::WideText Other>
auto operator<=>(const hstring& left, const Other& right) noexcept {
    return std::wstring_view(left) <=> std::wstring_view(right);
}

namespace param {
/// A string argument: accepts whatever converts to text and lends its handle to one call.
struct hstring {
    hstring(winrt::hstring text) : m_text(std::move(text)) {}
    hstring(std::wstring_view text) : m_text(text) {}
    hstring(const std::wstring& text) : m_text(std::wstring_view(text)) {}
    hstring(const wchar_t* text) : m_text(text) {}

    operator const winrt::hstring&() const noexcept { return m_text; }
    friend void* get_abi(const hstring& argument) noexcept { return winrt::get_abi(argument.m_text); }

private:
    winrt::hstring m_text;
};
}  // namespace param

/// UTF-8 from UTF-16. An unpaired surrogate becomes the replacement character.
inline std::string to_string(std::wstring_view text) {
    const auto units = static_cast<int32_t>(text.size());
    const auto bytes =
        impl::platform::fromWide(impl::platform::utf8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(bytes), '\0');
    impl::platform::fromWide(impl::platform::utf8, 0, text.data(), units, result.data(), bytes, nullptr, nullptr);
    return result;
}

/// UTF-16 from UTF-8. An ill-formed sequence becomes the replacement character.
inline hstring to_hstring(std::string_view text) {
    const auto bytes = static_cast<int32_t>(text.size());
    const auto units = impl::platform::toWide(impl::platform::utf8, 0, text.data(), bytes, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(units), L'\0');
    impl::platform::toWide(impl::platform::utf8, 0, text.data(), bytes, result.data(), units);
    return hstring{std::wstring_view(result)};
}
}  // namespace winrt

#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <typeinfo>

namespace common {

/// One argument of `format`: a value, which must live until the call returns, and the function that writes it.
struct FormatArgument {
    const void* value;
    void (*render)(std::ostream& out, const void* value);
};

/// Builds a diagnostic text from `text` and its arguments. Two forms of placeholder may be mixed:
///
/// - `{N}` counts from zero, `%N` from one. A missing argument is written as `()`.
/// - `{N:options}` applies options to that argument; `{:options}` applies them to all later arguments until the next
///   such placeholder. Options are separated by `:` and recognised by their first letter: `x` hexadecimal and `d`
///   decimal, in upper case also with upper-case digits; `f.P` fixed point with P digits.
/// - `%%` is one percent sign; **the literal text between the previous placeholder and `%%` is lost**. Message texts
///   are part of the interface, so this stays.
/// - Without arguments, the text is returned unchanged, including its placeholders.
///
/// A malformed placeholder is written as `ERROR:(reason)` and never makes the call fail. An exception from a render
/// function passes through if it is not a `std::exception`.
///
///     format("{0} of %2, {1:x}", 1, 255) == "1 of 255, ff"
///     format("{0:f.2} s", 1.5) == "1.50 s"
///     format("{0} of {1}", "one") == "one of ()"
std::string format(std::string_view text, const FormatArgument* arguments, std::size_t count);

namespace format_internal {

void renderLiteral(std::ostream& out, const void* value);
void renderCString(std::ostream& out, const void* value);
void renderView(std::ostream& out, const void* value);
void renderString(std::ostream& out, const void* value);
void renderWide(std::ostream& out, const void* value);
void renderTypeInfo(std::ostream& out, const void* value);

template <typename T>
void renderStreamable(std::ostream& out, const void* value) {
    out << *static_cast<const T*>(value);
}

// The types that callers pass; add one here when a caller needs it. An argument refers to its value, so a value of
// another type must not convert: the argument would refer to a temporary that is gone before it is rendered.
template <typename T>
FormatArgument argument(const T& value) = delete;
template <std::same_as<bool> Bool>
FormatArgument argument(const Bool& value) {
    return {&value, &renderStreamable<bool>};
}
template <std::same_as<const char*> Pointer>
FormatArgument argument(const Pointer& value) {
    return {&value, &renderCString};
}
inline FormatArgument argument(const std::int32_t& value) { return {&value, &renderStreamable<std::int32_t>}; }
inline FormatArgument argument(const std::uint32_t& value) { return {&value, &renderStreamable<std::uint32_t>}; }
inline FormatArgument argument(const std::int64_t& value) { return {&value, &renderStreamable<std::int64_t>}; }
inline FormatArgument argument(const std::uint64_t& value) { return {&value, &renderStreamable<std::uint64_t>}; }
inline FormatArgument argument(const double& value) { return {&value, &renderStreamable<double>}; }
inline FormatArgument argument(const std::string_view& value) { return {&value, &renderView}; }
inline FormatArgument argument(const std::string& value) { return {&value, &renderString}; }
inline FormatArgument argument(const std::u16string_view& value) { return {&value, &renderWide}; }
inline FormatArgument argument(const std::u16string& value) { return {&value, &renderWide}; }
inline FormatArgument argument(const std::wstring_view& value) { return {&value, &renderWide}; }
inline FormatArgument argument(const std::wstring& value) { return {&value, &renderWide}; }
inline FormatArgument argument(const std::type_info& value) { return {&value, &renderTypeInfo}; }

// A literal is its own text.
template <std::size_t N>
FormatArgument argument(const char (&value)[N]) {
    return {&value[0], &renderLiteral};
}

}  // namespace format_internal

/// `format` with its arguments in place. A null `const char*` writes nothing. Wide text is never converted; a fixed
/// note stands in its place. A `std::type_info` writes the readable name of the type.
template <typename... Args>
    requires(!std::convertible_to<const Args&, const FormatArgument*> &&
             ...)  // a list of arguments is for the other one
std::string format(std::string_view text, const Args&... args) {
    const std::array<FormatArgument, sizeof...(Args)> list{format_internal::argument(args)...};
    return format(text, list.data(), list.size());
}

}  // namespace common

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

/// One argument of `format`: a value that is only looked at while the call runs, and how to write it.
struct FormatArgument {
    const void* value;
    void (*render)(std::ostream& out, const void* value);
};

/// Builds a diagnostic text from `text` and its arguments. Two placeholder forms may be mixed:
///
/// - `{N}` counts from zero, `%N` from one; a missing argument is written as `()`.
/// - `{N:options}` applies options to that argument, `{:options}` to all later ones until the next such placeholder.
///   Options, separated by `:` and told by their first letter: `x` hexadecimal, `d` decimal, in upper case also with
///   upper-case digits; `f.P` fixed point with P digits.
/// - `%%` is one percent sign; **the literal text between the previous placeholder and `%%` is lost**. Texts of the
///   installed base rely on it, so it stays.
/// - Without arguments the text is returned as it is, placeholders included.
///
/// A malformed placeholder never fails the caller: `ERROR:(reason)` stands in its place. Exceptions that are not
/// `std::exception`, thrown by a render function, pass through.
///
///     format("{0} of %2, {1:x}", 1, 255) == "1 of 255, ff"
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

// The plain-value types that the callers pass; add one here when a caller needs it. An argument refers to its value, so
// a value of another type must not convert: it would refer to a temporary that is gone before it is rendered.
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

/// `format` with its arguments in place. A null `const char*` writes nothing; wide text is never converted and writes
/// a fixed note instead; a `std::type_info` writes the readable type name.
template <typename... Args>
std::string format(std::string_view text, const Args&... args) {
    const std::array<FormatArgument, sizeof...(Args)> list{format_internal::argument(args)...};
    return format(text, list.data(), list.size());
}

}  // namespace common

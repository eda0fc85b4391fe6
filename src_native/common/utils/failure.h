#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace common {

/// Where a failure or a log record was written. Views: whoever keeps one longer than the call copies the texts.
/// Functions, files and lines are constants of their site and part of the message texts that users compare; they do
/// not follow later edits of the source.
struct SourceLocation {
    std::string_view function;
    std::string_view file;
    std::optional<std::uint32_t> line;
};

/// The root of the module's own exceptions: an ordinary run-time failure that the binding layer hands to script.
/// Derives virtually, so that a class may also inherit another standard exception.
class Exception : public virtual std::exception {
public:
    /// The message alone, NUL-terminated. `what()` returns the same text.
    virtual const char* message() const noexcept = 0;
    /// "file(line):message", or the message alone when the location names neither function nor file. Made on the
    /// first call and kept; not safe on two threads at once.
    virtual const char* fullText() const = 0;
    /// Views into this exception.
    virtual SourceLocation location() const noexcept = 0;
    virtual std::uint32_t code() const noexcept = 0;
};

/// Implements the texts of `Exception` for the interface `Base`. Copies carry every field, the kept full text included.
template <typename Base>
class ExceptionImpl : public Base {
public:
    ExceptionImpl(const SourceLocation& location, std::string_view message, std::uint32_t code);
    ExceptionImpl(const ExceptionImpl&) = default;
    ExceptionImpl(ExceptionImpl&&) = default;
    ExceptionImpl& operator=(const ExceptionImpl&) = default;
    ExceptionImpl& operator=(ExceptionImpl&&) = default;
    ~ExceptionImpl() override = default;

    const char* what() const noexcept override { return message(); }
    const char* message() const noexcept override { return m_message.c_str(); }
    const char* fullText() const override;
    SourceLocation location() const noexcept override { return {m_function, m_file, m_line}; }
    std::uint32_t code() const noexcept override { return m_code; }

private:
    std::string m_function;
    std::string m_file;
    std::optional<std::uint32_t> m_line;
    std::string m_message;
    std::uint32_t m_code;
    mutable std::optional<std::string> m_fullText;
};

extern template class ExceptionImpl<Exception>;

namespace common_internal {

/// The exception that this program throws, by value.
class DefaultException : public ExceptionImpl<Exception> {
public:
    using ExceptionImpl<Exception>::ExceptionImpl;
};

}  // namespace common_internal

/// Takes assertion failures in place of the default report. One may be installed in the process; the default ends it.
class AssertionHandler {
public:
    AssertionHandler() = default;
    AssertionHandler(const AssertionHandler&) = delete;
    AssertionHandler& operator=(const AssertionHandler&) = delete;
    virtual ~AssertionHandler() = default;
    /// Called on the failing thread. After it returns, the failed site goes on with what it has (a null pointer, say).
    virtual void onAssertionFailure(const SourceLocation& location, const char* module, const char* expression,
                                    const char* message) = 0;
};

/// Installs `handler` (or none) and destroys the one before. Not to be called while another thread may be failing.
void setAssertionHandler(std::unique_ptr<AssertionHandler> handler);

/// Reports a broken invariant. With a handler installed: calls it and returns. Otherwise: sends the report to the
/// debugger and stops there if one is attached, shows it in a message box with the caption "FAILURE", and ends the
/// process by `std::terminate`.
///
/// `module` is null at every site of this program. The report then shows empty parentheses for it; any other value is
/// shown as "unknown", because the report has no way to tell modules apart.
/// Any thread; the box blocks the failing one.
void raiseAssertionFailure(const SourceLocation& location, const char* module, const char* expression,
                           const std::string& message);

}  // namespace common

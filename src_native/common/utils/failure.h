#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace common {

/// Where a failure occurred or a log record was written. The members are views: copy the texts to keep them longer than
/// the call. Function, file and line are constants at each site. They are part of the message texts that users compare,
/// so they do not follow later edits of the source.
struct SourceLocation {
    std::string_view function;
    std::string_view file;
    std::optional<std::uint32_t> line;
};

/// The root of the module's own exceptions: an ordinary run-time failure that the binding layer turns into a script
/// `Error`. The base is virtual so that a class may also inherit from another standard exception.
///
/// Throw a failure that the caller can handle; raise an assertion failure for a broken invariant:
///
///     constexpr SourceLocation here{"zeb::openWindow", "src_native/bridge/window", 41};
///     if (refused) throw common_internal::DefaultException(here, "The window cannot be opened", 0);
///     if (window == nullptr) raiseAssertionFailure(here, nullptr, "window != nullptr", "There is no window");
class Exception : public virtual std::exception {
public:
    /// The message alone, NUL-terminated. `what()` returns the same text.
    virtual const char* message() const noexcept = 0;
    /// "file(line):message", or only the message when the location names neither function nor file. The text is made on
    /// the first call and kept, so two threads must not call this at once.
    virtual const char* fullText() const = 0;
    /// The texts are views into this exception.
    virtual SourceLocation location() const noexcept = 0;
    virtual std::uint32_t code() const noexcept = 0;
};

/// Implements `Exception` for the interface `Base`. A copy carries every field, including a full text that was already
/// made.
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

/// The exception that this module throws, by value.
class DefaultException : public ExceptionImpl<Exception> {
public:
    using ExceptionImpl<Exception>::ExceptionImpl;
};

}  // namespace common_internal

/// Receives assertion failures instead of the default assertion report, which ends the process. The process
/// has at most one handler.
class AssertionHandler {
public:
    AssertionHandler() = default;
    AssertionHandler(const AssertionHandler&) = delete;
    AssertionHandler& operator=(const AssertionHandler&) = delete;
    virtual ~AssertionHandler() = default;
    /// Called on the failing thread. When it returns, the failed code continues with what it has, for example a null
    /// pointer.
    virtual void onAssertionFailure(const SourceLocation& location, const char* module, const char* expression,
                                    const char* message) = 0;
};

/// Installs `handler`, or none when it is null, and destroys the previous one. Must not be called while another thread
/// may fail.
void setAssertionHandler(std::unique_ptr<AssertionHandler> handler);

/// Reports a broken invariant. With a handler installed, calls it and returns. Without one, it sends the assertion
/// report to the debugger and stops there if one is attached, shows it in a message box with the caption "FAILURE", and
/// ends the process with `std::terminate`.
///
/// `module` is null everywhere in this module, and the assertion report then shows empty parentheses for it. Any other
/// value is shown as "unknown", because the assertion report cannot tell modules apart.
/// Any thread. The message box blocks the thread that failed.
void raiseAssertionFailure(const SourceLocation& location, const char* module, const char* expression,
                           const std::string& message);

}  // namespace common

#include "common/utils/failure.h"

#include <utility>

#include "common/utils/failure_services.h"
#include "common/utils/format.h"

namespace common {

template <typename Base>
ExceptionImpl<Base>::ExceptionImpl(const SourceLocation& location, std::string_view message, std::uint32_t code)
    : m_function(location.function), m_file(location.file), m_line(location.line), m_message(message), m_code(code) {}

template <typename Base>
const char* ExceptionImpl<Base>::fullText() const {
    if (m_function.empty() && m_file.empty()) return message();
    if (!m_fullText) m_fullText = common::format("{0}({1}):{2}", m_file, m_line.value_or(0), m_message);
    return m_fullText->c_str();
}

template class ExceptionImpl<Exception>;

namespace {

std::unique_ptr<AssertionHandler>& assertionHandler() {
    static std::unique_ptr<AssertionHandler> handler;
    return handler;
}

}  // namespace

void setAssertionHandler(std::unique_ptr<AssertionHandler> handler) { assertionHandler().swap(handler); }

void raiseAssertionFailure(const SourceLocation& location, const char* module, const char* expression,
                           const std::string& message) {
    if (AssertionHandler* handler = assertionHandler().get()) {
        handler->onAssertionFailure(location, module, expression, message.c_str());
        return;
    }
    const char* const moduleText = module == nullptr ? nullptr : "unknown";
    const std::string report =
        common::format("\nASSERTION FAILURE: {0}\n\nCallee:({1}) in module:({2})\n{3}({4}):{5}\n", expression,
                       location.function, moduleText, location.file, location.line.value_or(0), message);
    if (platform::isDebuggerAttached()) {
        platform::writeDebugOutput(report.c_str());
        platform::breakIntoDebugger();
    }
    platform::showErrorBox(report.c_str(), "FAILURE");
    std::terminate();
}

}  // namespace common

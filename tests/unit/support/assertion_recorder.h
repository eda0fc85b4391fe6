#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/utils/failure.h"

namespace unit {

/// An assertion failure as its handler received it, with copies of the texts.
struct AssertionFailure {
    std::string function;
    std::string file;
    std::optional<std::uint32_t> line;
    bool hasModule;
    std::string expression;
    std::string message;
};

/// Takes assertion failures from construction to the end of the scope. The failed code continues.
class AssertionRecorder {
public:
    AssertionRecorder() { common::setAssertionHandler(std::make_unique<Handler>(*this)); }
    ~AssertionRecorder() { common::setAssertionHandler(nullptr); }
    AssertionRecorder(const AssertionRecorder&) = delete;
    AssertionRecorder& operator=(const AssertionRecorder&) = delete;

    const std::vector<AssertionFailure>& failures() const { return m_failures; }

private:
    class Handler final : public common::AssertionHandler {
    public:
        explicit Handler(AssertionRecorder& recorder) : m_recorder(recorder) {}
        void onAssertionFailure(const common::SourceLocation& location, const char* module, const char* expression,
                                const char* message) override {
            m_recorder.m_failures.push_back({std::string(location.function), std::string(location.file), location.line,
                                             module != nullptr, expression, message});
        }

    private:
        AssertionRecorder& m_recorder;
    };

    std::vector<AssertionFailure> m_failures;
};

}  // namespace unit

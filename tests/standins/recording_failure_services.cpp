#include "standins/recording_failure_services.h"

#include "common/utils/failure_services.h"

namespace standins {

FailureServices& failureServices() {
    static FailureServices services;
    return services;
}

}  // namespace standins

namespace common::platform {

using standins::failureServices;

bool isDebuggerAttached() noexcept { return failureServices().debuggerAttached; }

void writeDebugOutput(const char* text) noexcept {
    failureServices().debuggerCalls.push_back(std::string("output: ") + text);
}

void breakIntoDebugger() { failureServices().debuggerCalls.emplace_back("break"); }

void showErrorBox(const char* text, const char* caption) {
    if (!failureServices().boxReturns) throw standins::ErrorBoxShown{text, caption};
}

}  // namespace common::platform

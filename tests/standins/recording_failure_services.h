#pragma once

#include <string>
#include <vector>

/// The platform's failure services for tests, on every system: linked in place of the platform's own.
namespace standins {

/// Thrown by the error box in place of waiting for somebody to dismiss it, so that a test gets the process back that a
/// failure would end.
struct ErrorBoxShown {
    std::string text;
    std::string caption;
};

/// What the services answer and what they were asked. One thread at a time.
struct FailureServices {
    bool debuggerAttached = false;
    bool boxReturns = false;                 ///< as if dismissed; the failing site then ends the process
    std::vector<std::string> debuggerCalls;  ///< "output: TEXT" and "break", in order
};

/// The process's services.
FailureServices& failureServices();

}  // namespace standins

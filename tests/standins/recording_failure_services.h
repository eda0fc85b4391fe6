#pragma once

#include <string>
#include <vector>

/// The platform's failure services for tests, linked instead of the platform's own on every system.
namespace standins {

/// Thrown by the error box instead of waiting for somebody to dismiss it, so that a failure that would end the process
/// returns to the test.
struct ErrorBoxShown {
    std::string text;
    std::string caption;
};

/// What the services return and what they were asked. One thread at a time.
struct FailureServices {
    bool debuggerAttached = false;
    bool boxReturns = false;                 ///< as if dismissed; the failed code then ends the process
    std::vector<std::string> debuggerCalls;  ///< "output: TEXT" and "break", in order
};

/// The process's services.
FailureServices& failureServices();

}  // namespace standins

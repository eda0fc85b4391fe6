#pragma once

/// How the stand-in classes behave and what they have seen. One per process; any thread may call every function.
///
/// Script verbs (CODE: an HRESULT; REASON: text that goes with a failure):
///
///   reset                          every class works, the next deployments succeed, nothing seen; held deployments end
///   activation CLASS CODE REASON   the result of asking for the class's factory
///   agile      CLASS FLAG          whether the factory says that any thread may call it
///   instance   CLASS CODE REASON   the result of making an object of the class
///   options3   FLAG                whether launcher options have their third interface
///   options    CODE                the result of setting an option of the launcher
///   launch     CODE REASON         the result of starting a launch
///   refuse     CODE REASON         the result of starting a deployment
///
/// and for the deployments that start from now on:
///
///   success                        back to success, after the handler is set
///   end        WHEN                when it ends. atReturn: before it is returned; onHandler (default): on another
///                                  thread once there is a handler; afterStatus: right after its status was first read;
///                                  held: when released
///   status     STATUS              how it ends: 1 completed, 2 cancelled, 3 failed
///   error      CODE                its error code
///   text       TEXT                the result's error text
///   extended   CODE                the result's extended error code
///   results    CODE                the result of asking for the result
///   reason     KIND TEXT           the text that goes with that failure, as error information of the kind "restricted"
///                                  or "plain" (the older kind), or "none"
///   member     NAME CODE           the result of a single call: Status, Completed, ErrorText, AsyncInfo (its query)
///
///   release    INDEX               ends a held deployment, by its place in "updates"
///
/// Report topics: "activations", "uris", "options", "launches", "updates", "live".

#include "../control_text.h"
#include "abi.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace standins::runtime {
/// A failure that a call returns, with the text that goes with it.
struct Failure {
    HRESULT code = S_OK;
    std::wstring reason;

    /// Returns the code. A failing code leaves the reason, if there is one, as the thread's error information.
    HRESULT give() const;
};

enum class End { atReturn, onHandler, afterStatus, held };
enum class Reason { none, restricted, plain };

/// How one deployment goes, fixed when it starts.
struct Plan {
    End end = End::onHandler;
    INT32 status = 1;
    HRESULT error = S_OK;
    std::wstring text;
    HRESULT extended = S_OK;
    HRESULT results = S_OK;
    Reason reasonKind = Reason::none;
    std::wstring reason;
    std::map<std::string, HRESULT, std::less<>> members;

    HRESULT member(std::string_view name) const {
        const auto found = members.find(name);
        return found == members.end() ? S_OK : found->second;
    }
};

/// Sets the calling thread's error information as the real runtime does for a failure with its own text. `plain` is the
/// older kind, which has a description and no code.
void leaveReason(HRESULT code, const std::wstring& reason, Reason kind);

// ---- what the classes ask ----
Failure activationOf(const std::wstring& className);
bool isAgile(const std::wstring& className);
Failure instanceOf(const std::wstring& className);
bool hasOptions3();
HRESULT optionResult();
Failure launchResult();
Failure refusal();
Plan nextPlan();

// ---- what the classes have seen ----
/// What was seen of a deployment. Its operation writes this on any thread. It outlives a reset.
struct Update {
    std::wstring uri;
    bool uriIsDefaultInterface = false;
    bool dependenciesAreNull = false;
    UINT32 options = 0;
    DWORD thread = 0;
    bool refused = false;
    std::atomic<int> statusReads = 0;
    std::atomic<int> progressHandlers = 0;
    std::atomic<int> completedHandlers = 0;
    std::atomic<bool> handlerIsAgile = false;
    std::atomic<bool> handlerMarshals = false;
    std::atomic<bool> handlerKnowsItsId = false;
    std::atomic<DWORD> handlerThread = 0;
    std::atomic<int> resultReads = 0;
    std::atomic<bool> ended = false;
    std::atomic<bool> gone = false;  // the last reference was dropped
};

void sawActivation(const std::wstring& className, HRESULT result);
void sawUri(const std::wstring& text, HRESULT result);
void sawOption(bool value);
void sawLaunch(const JsonObject& launch);
void sawUpdate(std::shared_ptr<Update> update);

/// Keeps the function that ends a held deployment. It runs on its own thread when the deployment is released.
void hold(const std::shared_ptr<Update>& update, std::function<void()> end);

void apply(const Command& command);
bool report(std::string_view topic, std::string& json);
}  // namespace standins::runtime

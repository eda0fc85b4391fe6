#pragma once

/// How the stand-in classes behave and what they have seen. One per process; every function may be called from any
/// thread.
///
/// Script verbs (CODE: an HRESULT; REASON: text that goes with a failure):
///
///   reset                          every class works, the next deployments succeed, nothing seen; what is held ends
///   activation CLASS CODE REASON   what asking for the class's factory gives
///   agile      CLASS FLAG          whether the factory says that any thread may call it
///   instance   CLASS CODE REASON   what making an object of the class gives
///   options3   FLAG               whether launcher options have their third interface
///   options    CODE                what setting an option of the launcher gives
///   launch     CODE REASON         what starting a launch gives
///   refuse     CODE REASON         what starting a deployment gives
///
/// and for the deployments that start from now on:
///
///   success                        back to success, after the handler is there
///   end        WHEN                atReturn: has ended when it is returned; onHandler: on another thread once a
///   handler
///                                  is there (default); afterStatus: right after its status was read for the first
///                                  time; held: when released
///   status     STATUS              how it ends: 1 completed, 2 cancelled, 3 failed
///   error      CODE                its error code
///   text       TEXT                the result's error text
///   extended   CODE                the result's extended error code
///   results    CODE                what asking for the result gives
///   reason     KIND TEXT           what goes with that failure: "restricted", "plain" (the older kind of error
///                                  information) or "none"
///   member     NAME CODE           what a single call gives: Status, Completed, ErrorText, AsyncInfo (the query for
///   it)
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
/// A failure that a call is to give, with the text that goes with it.
struct Failure {
    HRESULT code = S_OK;
    std::wstring reason;

    /// Gives the code; a failing one leaves the reason, if there is one, as the thread's error information.
    HRESULT give() const;
};

enum class End { atReturn, onHandler, afterStatus, held };
enum class Reason { none, restricted, plain };

/// One deployment's fate, fixed when it starts.
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

/// Writes the calling thread's error information as the real runtime does for a failure with text of its own; `plain`
/// gives the older kind, which has a description and no code.
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
/// A deployment's record. Its operation writes it from whatever thread calls; it outlives a reset.
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
    std::atomic<bool> gone = false;  // the last reference has been let go
};

void sawActivation(const std::wstring& className, HRESULT result);
void sawUri(const std::wstring& text, HRESULT result);
void sawOption(bool value);
void sawLaunch(const JsonObject& launch);
void sawUpdate(std::shared_ptr<Update> update);

/// Keeps what ends a held deployment until it is released, which happens on a thread of its own.
void hold(const std::shared_ptr<Update>& update, std::function<void()> end);

void apply(const Command& command);
bool report(std::string_view topic, std::string& json);
}  // namespace standins::runtime

#include "state.h"

#include "object.h"

#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace standins::runtime {
namespace {
struct State {
    std::map<std::wstring, Failure> activations;
    std::map<std::wstring, Failure> instances;
    std::map<std::wstring, bool> agile;
    bool hasOptions3 = true;
    HRESULT optionResult = S_OK;
    Failure launch;
    Failure refusal;
    Plan plan;

    std::vector<std::string> seenActivations;
    std::vector<std::string> seenUris;
    std::vector<std::string> seenOptions;
    std::vector<std::string> seenLaunches;
    std::vector<std::shared_ptr<Update>> updates;
    std::map<std::shared_ptr<Update>, std::function<void()>> held;
};

std::mutex mutex;
State state;
// Separate from the state, because objects outlive a reset.
std::map<std::string, int> living;

template <typename Result>
Result read(Result State::* member) {
    const std::lock_guard lock(mutex);
    return state.*member;
}

void write(std::vector<std::string> State::* list, const JsonObject& entry) {
    const std::lock_guard lock(mutex);
    (state.*list).push_back(entry.text());
}

Failure failureOf(const Command& command, std::size_t first) {
    return {command.code(first), command.size() > first + 1 ? command.text(first + 1) : std::wstring()};
}

template <typename Value>
Value oneOf(const std::string& name, const std::map<std::string, Value>& values) {
    const auto found = values.find(name);
    if (found == values.end()) {
        throw std::invalid_argument("no such choice: " + name);
    }
    return found->second;
}

// Ends held deployments outside the lock and on another thread, because a completion must not run on the caller's
// thread.
void endAll(std::vector<std::function<void()>> ends) {
    if (!ends.empty()) {
        std::thread([ends = std::move(ends)] {
            for (const auto& end : ends) {
                end();
            }
        }).detach();
    }
}

bool applyToPlan(const Command& command, Plan& plan) {
    const std::string& verb = command.verb();
    if (verb == "success") {
        plan = Plan();
    } else if (verb == "end") {
        plan.end = oneOf<End>(command.ascii(0), {{"atReturn", End::atReturn},
                                                 {"onHandler", End::onHandler},
                                                 {"afterStatus", End::afterStatus},
                                                 {"held", End::held}});
    } else if (verb == "status") {
        plan.status = command.code(0);
    } else if (verb == "error") {
        plan.error = command.code(0);
    } else if (verb == "text") {
        plan.text = command.text(0);
    } else if (verb == "extended") {
        plan.extended = command.code(0);
    } else if (verb == "results") {
        plan.results = command.code(0);
    } else if (verb == "reason") {
        plan.reasonKind = oneOf<Reason>(
            command.ascii(0), {{"none", Reason::none}, {"plain", Reason::plain}, {"restricted", Reason::restricted}});
        plan.reason = command.text(1);
    } else if (verb == "member") {
        plan.members[command.ascii(0)] = command.code(1);
    } else {
        return false;
    }
    return true;
}

std::string jsonOf(const Update& update) {
    return JsonObject()
        .add("uri", std::wstring_view(update.uri))
        .add("uriIsDefaultInterface", update.uriIsDefaultInterface)
        .add("dependenciesAreNull", update.dependenciesAreNull)
        .add("options", update.options)
        .add("thread", update.thread)
        .add("refused", update.refused)
        .add("statusReads", update.statusReads.load())
        .add("progressHandlers", update.progressHandlers.load())
        .add("completedHandlers", update.completedHandlers.load())
        .add("handlerIsAgile", update.handlerIsAgile.load())
        .add("handlerMarshals", update.handlerMarshals.load())
        .add("handlerKnowsItsId", update.handlerKnowsItsId.load())
        .add("handlerThread", update.handlerThread.load())
        .add("resultReads", update.resultReads.load())
        .add("ended", update.ended.load())
        .add("gone", update.gone.load())
        .text();
}
}  // namespace

void countObject(const char* className, int change) noexcept {
    const std::lock_guard lock(mutex);
    living[className] += change;
}

HRESULT Failure::give() const {
    if (FAILED(code) && !reason.empty()) {
        leaveReason(code, reason, Reason::restricted);
    }
    return code;
}

Failure activationOf(const std::wstring& className) {
    const std::lock_guard lock(mutex);
    return state.activations[className];
}

bool isAgile(const std::wstring& className) {
    const std::lock_guard lock(mutex);
    return state.agile.try_emplace(className, true).first->second;
}

Failure instanceOf(const std::wstring& className) {
    const std::lock_guard lock(mutex);
    return state.instances[className];
}

bool hasOptions3() { return read(&State::hasOptions3); }
HRESULT optionResult() { return read(&State::optionResult); }
Failure launchResult() { return read(&State::launch); }
Failure refusal() { return read(&State::refusal); }
Plan nextPlan() { return read(&State::plan); }

void sawActivation(const std::wstring& className, HRESULT result) {
    write(&State::seenActivations, JsonObject().add("class", std::wstring_view(className)).add("result", result));
}

void sawUri(const std::wstring& text, HRESULT result) {
    write(&State::seenUris, JsonObject().add("text", std::wstring_view(text)).add("result", result));
}

void sawOption(bool value) { write(&State::seenOptions, JsonObject().add("ignoreAppUriHandlers", value)); }

void sawLaunch(const JsonObject& launch) { write(&State::seenLaunches, launch); }

void sawUpdate(std::shared_ptr<Update> update) {
    const std::lock_guard lock(mutex);
    state.updates.push_back(std::move(update));
}

void hold(const std::shared_ptr<Update>& update, std::function<void()> end) {
    const std::lock_guard lock(mutex);
    state.held[update] = std::move(end);
}

void apply(const Command& command) {
    const std::string& verb = command.verb();
    std::vector<std::function<void()>> ends;
    State old;  // destroyed after the lock
    {
        const std::lock_guard lock(mutex);
        if (verb == "reset") {
            for (auto& [update, end] : state.held) {
                ends.push_back(std::move(end));
            }
            old = std::exchange(state, State());
        } else if (verb == "activation") {
            state.activations[command.text(0)] = failureOf(command, 1);
        } else if (verb == "agile") {
            state.agile[command.text(0)] = command.flag(1);
        } else if (verb == "instance") {
            state.instances[command.text(0)] = failureOf(command, 1);
        } else if (verb == "options3") {
            state.hasOptions3 = command.flag(0);
        } else if (verb == "options") {
            state.optionResult = command.code(0);
        } else if (verb == "launch") {
            state.launch = failureOf(command, 0);
        } else if (verb == "refuse") {
            state.refusal = failureOf(command, 0);
        } else if (verb == "release") {
            const auto index = command.number(0);
            const auto found = index < state.updates.size() ? state.held.find(state.updates[index]) : state.held.end();
            if (found == state.held.end()) {
                throw std::invalid_argument("no deployment is held there");
            }
            ends.push_back(std::move(found->second));
            state.held.erase(found);
        } else if (!applyToPlan(command, state.plan)) {
            throw std::invalid_argument("no such verb");
        }
    }
    endAll(std::move(ends));
}

bool report(std::string_view topic, std::string& json) {
    const std::lock_guard lock(mutex);
    const std::map<std::string_view, std::vector<std::string> State::*> lists = {
        {"activations", &State::seenActivations},
        {"uris", &State::seenUris},
        {"options", &State::seenOptions},
        {"launches", &State::seenLaunches},
    };
    if (const auto found = lists.find(topic); found != lists.end()) {
        json = jsonArray(state.*found->second);
    } else if (topic == "updates") {
        std::vector<std::string> updates;
        updates.reserve(state.updates.size());
        for (const auto& update : state.updates) {
            updates.push_back(jsonOf(*update));
        }
        json = jsonArray(updates);
    } else if (topic == "live") {
        JsonObject counts;
        for (const auto& [name, count] : living) {
            if (count != 0) {
                counts.add(name, count);
            }
        }
        json = counts.text();
    } else {
        return false;
    }
    return true;
}
}  // namespace standins::runtime

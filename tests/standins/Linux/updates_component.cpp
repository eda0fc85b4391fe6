#include "updates_component.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>

#include "bridge/package_deployment.h"
#include "common/utils/text.h"
#include "common/v8binding/v8binding.h"
#include "standins/event_log.h"
#include "standins/package_deployment.h"

namespace zeb::standins {

namespace {

/// What the deployments of one plan wait for.
class Gate {
public:
    void open() {
        const std::lock_guard guard(m_mutex);
        m_open = true;
        m_opened.notify_all();
    }
    void waitFor(std::chrono::milliseconds limit) {
        std::unique_lock lock(m_mutex);
        m_opened.wait_for(lock, limit, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_open = false;
};

std::mutex g_mutex;
std::shared_ptr<Gate> g_gate = std::make_shared<Gate>();

std::optional<std::string> endOf(const std::string& end, const std::string& text, std::int32_t code) {
    if (end == "success") return std::nullopt;
    if (end == "text") return text;
    if (end == "failure") throw DeploymentFailure{text, code};
    throw std::runtime_error(text);
}

}  // namespace

common::js::MethodTable UpdatesComponent::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<UpdatesComponent, &UpdatesComponent::plan>("plan"),
        methodEntry<UpdatesComponent, &UpdatesComponent::finish>("finish"),
        methodEntry<UpdatesComponent, &UpdatesComponent::started>("started"),
        methodEntry<UpdatesComponent, &UpdatesComponent::setEventLog>("setEventLog"),
        methodEntry<UpdatesComponent, &UpdatesComponent::queries>("queries"),
        methodEntry<UpdatesComponent, &UpdatesComponent::openHandles>("openHandles"),
    };
    return table;
}

UpdatesComponent::UpdatesComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, methods());
}

void UpdatesComponent::plan(const std::string& end, const std::string& text, std::int32_t code,
                            std::int32_t milliseconds) {
    const auto gate = std::make_shared<Gate>();
    {
        const std::lock_guard guard(g_mutex);
        g_gate = gate;
    }
    ::standins::DeploymentPlan plan;
    plan.onStart = [end, text, code] {
        if (end == "refused") throw DeploymentFailure{text, code};
    };
    plan.whileWaiting = [=] {
        gate->waitFor(std::chrono::milliseconds(milliseconds));
        return endOf(end, text, code);
    };
    ::standins::planDeployments(std::move(plan));
}

void UpdatesComponent::finish() {
    const std::lock_guard guard(g_mutex);
    g_gate->open();
}

std::vector<std::wstring> UpdatesComponent::started() {
    const std::vector<std::string> addresses = ::standins::startedDeployments();
    std::vector<std::wstring> result(addresses.size());
    std::ranges::transform(addresses, result.begin(), &common::utf8ToUtf16);
    return result;
}

void UpdatesComponent::setEventLog(std::uint32_t records, std::uint32_t status) {
    ::standins::EventLog log;
    log.channelStatuses = {status};
    for (std::uint32_t index = 0; index < records; ++index) log.records.push_back(L"<Event/>" + std::to_wstring(index));
    ::standins::eventLog() = std::move(log);
}

std::vector<std::wstring> UpdatesComponent::queries() { return {::standins::eventLog().query}; }

std::uint32_t UpdatesComponent::openHandles() { return static_cast<std::uint32_t>(::standins::eventLog().open.size()); }

}  // namespace zeb::standins

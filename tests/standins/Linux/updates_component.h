#pragma once

#include <v8.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bridge/component.h"

namespace zeb::standins {

/// Package deployments and the event log for scripts, instead of a system that has them. Exported as "__updates".
/// Script thread. A plan applies to the whole process.
class UpdatesComponent : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    UpdatesComponent(v8::Isolate* isolate, v8::Local<v8::Object> object);
    static common::js::MethodTable methods();

    /// How deployments end from now on: "success", "text" (with an error text), "failure" (a text and a code),
    /// "unknown" (some other exception), or "refused" (it cannot start). Each lasts until `finish` or for the given
    /// milliseconds. Forgets the earlier deployments.
    static void plan(const std::string& end, const std::string& text, std::int32_t code, std::int32_t milliseconds);
    /// Ends the deployments that run.
    static void finish();
    /// The addresses of the deployments since the plan.
    static std::vector<std::wstring> started();

    /// An event log with this many event records and one channel with this status.
    static void setEventLog(std::uint32_t records, std::uint32_t status);
    /// The last query, as it arrived.
    static std::vector<std::wstring> queries();
    static std::uint32_t openHandles();
};

}  // namespace zeb::standins

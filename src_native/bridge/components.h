#pragma once

#include "bridge/crash_emitter.h"
#include "bridge/diagnostics_component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/node_module.h"
#include "bridge/package_auto_updater.h"

namespace zeb {

/// The one list of the module's components. Its order is the order of the exports. The product and the test add-ons
/// that stand in for it each have one object of this type, so a component that is added here is in all of them.
///
/// `Record` hands the module record to the runtime, and `Platform` registers the components of the one platform.
template <typename Record, typename Platform>
struct ComponentRegistrations {
    ComponentRegistration crashEmitter{"crash_emitter", &makeComponent<CrashEmitter>};
    ComponentRegistration diagnostics{"diagnostics", &makeComponent<DiagnosticsComponent>};
    ComponentRegistration hardware{"hardware", &makeComponent<HwComponentComponent>};
    Record record;
    Platform platform;
    ComponentRegistration packageAutoUpdater{"msix_auto_updater", &makeComponent<WindowsPackageAutoUpdater>};
};

/// What an add-on gives in place of a record or of a platform that it has not.
struct NothingToRegister {};

}  // namespace zeb

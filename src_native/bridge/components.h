#pragma once

#include "bridge/crash_emitter.h"
#include "bridge/diagnostics_component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/node_module.h"
#include "bridge/package_auto_updater.h"

namespace zeb {

/// The list of the module's components. Its order is the order of the exports. The product and each test add-on that
/// stands in for it have one object of this type, so a component that is added here is in all of them.
///
/// `Record` passes the module record to the runtime, and `Platform` registers the components of one platform.
template <typename Record, typename Platform>
struct ComponentRegistrations {
    ComponentRegistration crashEmitter{"crash_emitter", &makeComponent<CrashEmitter>};
    ComponentRegistration diagnostics{"diagnostics", &makeComponent<DiagnosticsComponent>};
    ComponentRegistration hardware{"hardware", &makeComponent<HwComponentComponent>};
    Record record;
    Platform platform;
    ComponentRegistration packageAutoUpdater{"msix_auto_updater", &makeComponent<WindowsPackageAutoUpdater>};
};

/// For an add-on that has no module record, or no components of a platform.
struct NothingToRegister {};

}  // namespace zeb

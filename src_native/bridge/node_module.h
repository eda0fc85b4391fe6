#pragma once

#include <node.h>
#include <v8.h>

#include <list>
#include <string>

#include "bridge/component.h"

namespace zeb {

/// A component's entry in the exports: the property's name and how to make the object behind it.
struct RegistryEntry {
    std::string name;
    ComponentFactory factory;
};

/// The process's components in the order in which script sees them. Static initialisation fills this; later it is only
/// read.
std::list<RegistryEntry>& componentRegistry();

/// Appends one entry when it is constructed. For objects of static storage; `components.h` has the module's.
class ComponentRegistration {
public:
    ComponentRegistration(std::string name, ComponentFactory factory);
};

/// Passes the module record to the runtime when it is constructed. It is an object among the component registrations,
/// because the runtime expects to hear of a module while it loads the module.
class ModuleRegistration {
public:
    ModuleRegistration();
};

/// The module record that the runtime gets.
const node::node_module& moduleRecord();

/// Fills `exports` for one context: one object per registered component, in order, then "shutdown". Runs once per
/// context that loads the module; each run makes its own components. Throws a script `Error` in a context that is not
/// one of Node.js.
void initializeModule(v8::Local<v8::Object> exports, v8::Local<v8::Value> module, v8::Local<v8::Context> context,
                      void* unused);

/// Releases the components of every context: those of `isolate` at once, those of other threads on their threads. Never
/// throws: an exception from a component's destructor ends the process.
void releaseComponents(v8::Isolate* isolate) noexcept;

}  // namespace zeb

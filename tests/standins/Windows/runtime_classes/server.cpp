// The stand-in server of activatable classes. The real activation finds it through the registry and asks it for the
// factories. A test scripts it and reads what it has seen (state.h).

#include "classes.h"
#include "object.h"
#include "state.h"

namespace runtime = standins::runtime;

namespace {
struct Class {
    const wchar_t* name;
    standins::abi::ActivationFactory* (*makeFactory)();
};

constexpr Class classes[] = {
    {runtime::uriClass, runtime::makeUriFactory},
    {runtime::launcherOptionsClass, runtime::makeLauncherOptionsFactory},
    {runtime::launcherClass, runtime::makeLauncherFactory},
    {runtime::packageManagerClass, runtime::makePackageManagerFactory},
};
}  // namespace

extern "C" {
HRESULT WINAPI DllGetActivationFactory(HSTRING name, standins::abi::ActivationFactory** factory) {
    const std::wstring wanted = runtime::textOf(name);
    *factory = nullptr;
    HRESULT result = CLASS_E_CLASSNOTAVAILABLE;
    for (const Class& known : classes) {
        if (wanted == known.name) {
            result = runtime::activationOf(wanted).give();
            *factory = SUCCEEDED(result) ? known.makeFactory() : nullptr;
        }
    }
    runtime::sawActivation(wanted, result);
    return result;
}

// Objects and threads may be anywhere, so the DLL is never unloaded.
HRESULT WINAPI DllCanUnloadNow() { return S_FALSE; }

const char* standinCommand(const wchar_t* text, std::size_t units) noexcept {
    return standins::applyScript(text, units, runtime::apply);
}

const char* standinReport(const char* topic) noexcept { return standins::makeReport(topic, runtime::report); }
}

// Windows.System.LauncherOptions and Launcher: start nothing and record everything.

#include "classes.h"
#include "object.h"
#include "state.h"

namespace standins::runtime {
namespace {
class Options final : public Object<abi::LauncherOptions, abi::LauncherOptions3> {
public:
    Options() : Object("LauncherOptions") {}

    HRESULT STDMETHODCALLTYPE get_IgnoreAppUriHandlers(boolean* value) override {
        *value = m_ignore;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE put_IgnoreAppUriHandlers(boolean value) override {
        HRESULT const result = optionResult();
        if (SUCCEEDED(result)) {
            m_ignore = value != 0;
            sawOption(m_ignore);
        }
        return result;
    }

protected:
    bool has(REFIID) const override { return hasOptions3(); }

private:
    bool m_ignore = false;
};

class OptionsFactory final : public Object<abi::ActivationFactory> {
public:
    OptionsFactory() : Object("LauncherOptionsFactory") { agile = isAgile(launcherOptionsClass); }

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
        HRESULT const result = instanceOf(launcherOptionsClass).give();
        *instance = SUCCEEDED(result) ? static_cast<abi::LauncherOptions*>(new Options) : nullptr;
        return result;
    }
};

// Never ends. The module must not wait for a browser; if it did, the test would hang.
class LaunchOperation final : public Object<abi::LaunchOperation, abi::AsyncInfo> {
public:
    LaunchOperation() : Object("LaunchOperation") {}

    HRESULT STDMETHODCALLTYPE put_Completed(abi::CompletedHandler*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE get_Completed(abi::CompletedHandler** handler) override {
        *handler = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetResults(boolean* launched) override {
        *launched = FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Id(UINT32* id) override {
        *id = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Status(INT32* status) override {
        *status = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_ErrorCode(HRESULT* code) override {
        *code = S_OK;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Cancel() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Close() override { return S_OK; }
};

class Launcher final : public Object<abi::ActivationFactory, abi::LauncherStatics> {
public:
    Launcher() : Object("LauncherFactory") { agile = isAgile(launcherClass); }

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
        *instance = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE LaunchFileAsync(IInspectable*, IInspectable** operation) override {
        return notLaunched(operation);
    }
    HRESULT STDMETHODCALLTYPE LaunchFileWithOptionsAsync(IInspectable*, IInspectable*,
                                                         IInspectable** operation) override {
        return notLaunched(operation);
    }
    HRESULT STDMETHODCALLTYPE LaunchUriAsync(IInspectable* uri, IInspectable** operation) override {
        return launch(uri, nullptr, operation);
    }
    HRESULT STDMETHODCALLTYPE LaunchUriWithOptionsAsync(IInspectable* uri, IInspectable* options,
                                                        IInspectable** operation) override {
        return launch(uri, options, operation);
    }

private:
    static HRESULT notLaunched(IInspectable** operation) {
        *operation = nullptr;
        return E_NOTIMPL;
    }

    static HRESULT launch(IInspectable* uri, IInspectable* options, IInspectable** operation) {
        HRESULT const result = launchResult().give();
        std::wstring text;
        readUri(uri, text);
        JsonObject seen;
        seen.add("uri", std::wstring_view(text)).add("uriIsDefaultInterface", isExactly<abi::Uri>(uri));
        seen.add("optionsAreDefaultInterface", isExactly<abi::LauncherOptions>(options));
        boolean ignore = FALSE;
        void* asked = nullptr;
        if (options && options->QueryInterface(abi::LauncherOptions3::iid, &asked) == S_OK) {
            auto* const third = static_cast<abi::LauncherOptions3*>(asked);
            third->get_IgnoreAppUriHandlers(&ignore);
            third->Release();
        }
        seen.add("ignoreAppUriHandlers", ignore != FALSE).add("thread", GetCurrentThreadId()).add("result", result);
        sawLaunch(seen);
        *operation = SUCCEEDED(result) ? static_cast<abi::LaunchOperation*>(new LaunchOperation) : nullptr;
        return result;
    }
};
}  // namespace

abi::ActivationFactory* makeLauncherOptionsFactory() { return new OptionsFactory; }
abi::ActivationFactory* makeLauncherFactory() { return new Launcher; }
}  // namespace standins::runtime

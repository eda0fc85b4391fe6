// Windows.Management.Deployment.PackageManager: deployments that end as planned and when planned, on another thread.

#include "classes.h"
#include "object.h"
#include "state.h"

#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace standins::runtime {
namespace {
constexpr INT32 started = 0;
constexpr INT32 canceled = 2;
constexpr INT32 failed = 3;

// A counted pointer with just what this file needs.
template <typename T>
class Kept {
public:
    explicit Kept(T* object) noexcept : m_object(object) { m_object->AddRef(); }
    Kept(const Kept& other) noexcept : Kept(other.m_object) {}
    Kept& operator=(const Kept&) = delete;
    ~Kept() { m_object->Release(); }
    T* operator->() const noexcept { return m_object; }

private:
    T* m_object;
};

bool answers(IUnknown* object, REFIID id) {
    IUnknown* answer = nullptr;
    if (object->QueryInterface(id, reinterpret_cast<void**>(&answer)) != S_OK) {
        return false;
    }
    answer->Release();
    return true;
}

class Result final : public Object<abi::DeploymentResult> {
public:
    explicit Result(const Plan& plan) : Object("DeploymentResult"), m_plan(plan) {}

    HRESULT STDMETHODCALLTYPE get_ErrorText(HSTRING* text) override {
        *text = nullptr;
        HRESULT const result = m_plan.member("ErrorText");
        if (FAILED(result)) {
            leaveReason(result, m_plan.reason, m_plan.reasonKind);
            return result;
        }
        return give(m_plan.text, text);
    }
    HRESULT STDMETHODCALLTYPE get_ActivityId(GUID* id) override {
        *id = GUID{0x11223344, 0x5566, 0x7788, {1, 2, 3, 4, 5, 6, 7, 8}};
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_ExtendedErrorCode(HRESULT* code) override {
        *code = m_plan.extended;
        return S_OK;
    }

private:
    Plan m_plan;
};

class DeploymentOperation final : public Object<abi::DeploymentOperation, abi::AsyncInfo> {
public:
    DeploymentOperation(Plan plan, std::shared_ptr<Update> update)
        : Object("DeploymentOperation"), m_plan(std::move(plan)), m_update(std::move(update)) {
        if (m_plan.end == End::atReturn) {
            m_status = m_plan.status;
            m_update->ended = true;
        }
    }
    ~DeploymentOperation() override { m_update->gone = true; }

    // Ends the deployment unless it has ended: sets the status, then calls the handler if there is one.
    void end(INT32 status) {
        abi::CompletedHandler* handler = nullptr;
        {
            const std::lock_guard lock(m_mutex);
            if (m_status != started) {
                return;
            }
            m_status = status;
            m_update->ended = true;
            handler = std::exchange(m_handler, nullptr);
        }
        if (handler) {
            call(handler, status);
            handler->Release();
        }
    }

    // A function that ends it later and holds its own reference.
    std::function<void()> ending() {
        return [self = Kept(this)] { self->end(self->m_plan.status); };
    }

    HRESULT STDMETHODCALLTYPE put_Progress(IUnknown*) override {
        ++m_update->progressHandlers;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Progress(IUnknown** handler) override {
        *handler = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE put_Completed(abi::CompletedHandler* handler) override {
        if (HRESULT const result = m_plan.member("Completed"); FAILED(result)) {
            leaveReason(result, m_plan.reason, m_plan.reasonKind);
            return result;
        }
        if (++m_update->completedHandlers != 1) {
            return abi::illegalDelegateAssignment;
        }
        m_update->handlerIsAgile = answers(handler, abi::agileId);
        m_update->handlerMarshals = answers(handler, abi::marshalId);
        m_update->handlerKnowsItsId = answers(handler, abi::DeploymentOperation::handlerId);
        INT32 status = started;
        {
            const std::lock_guard lock(m_mutex);
            status = m_status;
            if (status == started) {
                handler->AddRef();
                m_handler = handler;
            }
        }
        if (status != started) {
            call(handler, status);
        } else if (m_plan.end == End::onHandler) {
            std::thread(ending()).detach();
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Completed(abi::CompletedHandler** handler) override {
        *handler = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetResults(IInspectable** result) override {
        ++m_update->resultReads;
        *result = nullptr;
        if (status() == started) {
            return abi::illegalMethodCall;
        }
        if (FAILED(m_plan.results)) {
            leaveReason(m_plan.results, m_plan.reason, m_plan.reasonKind);
            return m_plan.results;
        }
        *result = new Result(m_plan);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Id(UINT32* id) override {
        *id = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Status(INT32* value) override {
        if (HRESULT const result = m_plan.member("Status"); FAILED(result)) {
            leaveReason(result, m_plan.reason, m_plan.reasonKind);
            return result;
        }
        *value = status();
        if (++m_update->statusReads == 1 && m_plan.end == End::afterStatus) {
            end(m_plan.status);
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_ErrorCode(HRESULT* code) override {
        INT32 const now = status();
        *code = now == failed ? m_plan.error : now == canceled ? abi::cancelled : S_OK;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Cancel() override {
        end(canceled);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Close() override { return S_OK; }

protected:
    bool has(REFIID) const override { return SUCCEEDED(m_plan.member("AsyncInfo")); }

private:
    INT32 status() {
        const std::lock_guard lock(m_mutex);
        return m_status;
    }

    void call(abi::CompletedHandler* handler, INT32 status) {
        m_update->handlerThread = GetCurrentThreadId();
        handler->Invoke(static_cast<abi::DeploymentOperation*>(this), status);
    }

    const Plan m_plan;
    const std::shared_ptr<Update> m_update;
    std::mutex m_mutex;
    INT32 m_status = started;
    abi::CompletedHandler* m_handler = nullptr;
};

class PackageManager final : public Object<abi::PackageManager> {
public:
    PackageManager() : Object("PackageManager") {}

    HRESULT STDMETHODCALLTYPE AddPackageAsync(IInspectable*, IUnknown*, UINT32, IInspectable** operation) override {
        *operation = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UpdatePackageAsync(IInspectable* uri, IUnknown* dependencies, UINT32 options,
                                                 IInspectable** operation) override {
        *operation = nullptr;
        const auto update = std::make_shared<Update>();
        readUri(uri, update->uri);
        update->uriIsDefaultInterface = isExactly<abi::Uri>(uri);
        update->dependenciesAreNull = dependencies == nullptr;
        update->options = options;
        update->thread = GetCurrentThreadId();
        HRESULT const result = refusal().give();
        update->refused = FAILED(result);
        if (FAILED(result)) {
            sawUpdate(update);
            return result;
        }
        const auto plan = nextPlan();
        auto* const made = new DeploymentOperation(plan, update);
        if (plan.end == End::held) {
            hold(update, made->ending());
        }
        sawUpdate(update);
        *operation = static_cast<abi::DeploymentOperation*>(made);
        return S_OK;
    }
};

class Factory final : public Object<abi::ActivationFactory> {
public:
    Factory() : Object("PackageManagerFactory") { agile = isAgile(packageManagerClass); }

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
        HRESULT const result = instanceOf(packageManagerClass).give();
        *instance = SUCCEEDED(result) ? new PackageManager : nullptr;
        return result;
    }
};
}  // namespace

abi::ActivationFactory* makePackageManagerFactory() { return new Factory; }
}  // namespace standins::runtime

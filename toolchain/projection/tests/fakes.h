#pragma once

/// In-process objects behind the projection's binary interfaces, and scopes that replace the projection's calls.

#include <winrt/Windows.Foundation.h>

#include <atomic>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace projection_tests {
using winrt::guid;

/// How many fakes are alive. If a test ends with more than it began with, it has found a leak.
inline std::atomic<int> aliveFakes{0};

class LeakCheck {
public:
    LeakCheck() = default;
    LeakCheck(const LeakCheck&) = delete;
    LeakCheck& operator=(const LeakCheck&) = delete;
    int leaked() const noexcept { return aliveFakes - m_before; }

private:
    int m_before = aliveFakes;
};

/// A counted object of one interface that answers a list of ids. It starts with one reference.
template <typename Abi>
class Fake : public Abi {
public:
    explicit Fake(std::initializer_list<guid> ids) : m_ids(ids) { ++aliveFakes; }
    virtual ~Fake() { --aliveFakes; }
    Fake(const Fake&) = delete;
    Fake& operator=(const Fake&) = delete;

    int32_t QueryInterface(const guid& id, void** object) noexcept override {
        *object = nullptr;
        for (const guid& own : m_ids) {
            if (id == own) {
                *object = static_cast<Abi*>(this);
                this->AddRef();
                return 0;
            }
        }
        return winrt::impl::error_no_interface;
    }
    uint32_t AddRef() noexcept override { return ++m_references; }
    uint32_t Release() noexcept override {
        const uint32_t left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }
    uint32_t references() const noexcept { return m_references; }

private:
    std::vector<guid> m_ids;
    std::atomic<uint32_t> m_references{1};
};

template <typename Abi>
class FakeInspectable : public Fake<Abi> {
public:
    using Fake<Abi>::Fake;
    int32_t GetIids(uint32_t*, guid**) noexcept override { return winrt::impl::error_not_implemented; }
    int32_t GetRuntimeClassName(void**) noexcept override { return winrt::impl::error_not_implemented; }
    int32_t GetTrustLevel(int32_t*) noexcept override { return winrt::impl::error_not_implemented; }
};

/// Error information as the system keeps it: one object with both interfaces.
class FakeErrorInfo final : public Fake<winrt::impl::RestrictedErrorInfoAbi> {
public:
    FakeErrorInfo(int32_t code, const wchar_t* description, const wchar_t* restricted);

    int32_t GetErrorDetails(wchar_t** description, int32_t* code, wchar_t** restricted,
                            wchar_t** capability) noexcept override;
    int32_t GetReference(wchar_t** reference) noexcept override;
    int32_t QueryInterface(const guid& id, void** object) noexcept override;

    /// Makes it the calling thread's error information and releases the caller's reference.
    void publish();

    int32_t detailsResult = 0;
    bool isRestricted = true;  // false: only the older interface, which has a description and no code
    int references_asked = 0;
    int contexts_captured = 0;

private:
    class Plain final : public winrt::impl::ErrorInfoAbi {
    public:
        explicit Plain(FakeErrorInfo& owner) : m_owner(owner) {}
        int32_t QueryInterface(const guid& id, void** object) noexcept override {
            return m_owner.QueryInterface(id, object);
        }
        uint32_t AddRef() noexcept override { return m_owner.AddRef(); }
        uint32_t Release() noexcept override { return m_owner.Release(); }
        int32_t GetGUID(guid*) noexcept override { return winrt::impl::error_not_implemented; }
        int32_t GetSource(wchar_t**) noexcept override { return winrt::impl::error_not_implemented; }
        int32_t GetDescription(wchar_t** description) noexcept override;
        int32_t GetHelpFile(wchar_t**) noexcept override { return winrt::impl::error_not_implemented; }
        int32_t GetHelpContext(uint32_t*) noexcept override { return winrt::impl::error_not_implemented; }

    private:
        FakeErrorInfo& m_owner;
    };

    class Language final : public winrt::impl::LanguageErrorInfoAbi {
    public:
        explicit Language(FakeErrorInfo& owner) : m_owner(owner) {}
        int32_t QueryInterface(const guid& id, void** object) noexcept override {
            return m_owner.QueryInterface(id, object);
        }
        uint32_t AddRef() noexcept override { return m_owner.AddRef(); }
        uint32_t Release() noexcept override { return m_owner.Release(); }
        int32_t GetLanguageException(void**) noexcept override { return winrt::impl::error_not_implemented; }
        int32_t GetPreviousLanguageExceptionErrorInfo(void**) noexcept override {
            return winrt::impl::error_not_implemented;
        }
        int32_t CapturePropagationContext(void* exception) noexcept override;
        int32_t GetPropagationContextHead(void**) noexcept override { return winrt::impl::error_not_implemented; }

    private:
        FakeErrorInfo& m_owner;
    };

    int32_t m_code;
    const wchar_t* m_description;
    const wchar_t* m_restricted;
    Plain m_plain{*this};
    Language m_language{*this};
};

/// Replaces the projection's replaceable calls for a scope.
class CallsScope {
public:
    CallsScope() = default;
    ~CallsScope() { winrt::impl::platform::calls = m_saved; }
    CallsScope(const CallsScope&) = delete;
    CallsScope& operator=(const CallsScope&) = delete;

private:
    winrt::impl::platform::Calls m_saved = winrt::impl::platform::calls;
};

/// Records what RoOriginateLanguageException was given in this scope. With `store`, it also does what a complete system
/// does: it gives the thread error information with that text.
class OriginateScope {
public:
    explicit OriginateScope(bool store = true);
    ~OriginateScope();

    struct Call {
        int32_t code;
        bool hasText;
        std::wstring text;
    };
    static inline std::vector<Call> calls;

private:
    CallsScope m_scope;
};

/// Leaves no factory and no hook of one test to the next.
class ActivationScope {
public:
    ActivationScope() { winrt::clear_factory_cache(); }
    ~ActivationScope() {
        winrt_activation_handler = nullptr;
        winrt::clear_factory_cache();
    }
    ActivationScope(const ActivationScope&) = delete;
    ActivationScope& operator=(const ActivationScope&) = delete;
};

/// A new BSTR with the text; null for null.
wchar_t* bstr(const wchar_t* text) noexcept;

inline std::wstring textOf(void* string) {
    uint32_t length = 0;
    const wchar_t* const text = winrt::impl::platform::stringBuffer(string, &length);
    return {text, length};
}
}  // namespace projection_tests

#pragma once

/// What all stand-in objects have in common: counting, interfaces, and the number of living objects.

#include "abi.h"

#include <atomic>
#include <cstring>
#include <string>
#include <string_view>

namespace standins::runtime {
inline bool same(REFIID left, REFIID right) noexcept { return std::memcmp(&left, &right, sizeof(GUID)) == 0; }

/// Changes the number of living objects of a class, which is part of the report.
void countObject(const char* className, int change) noexcept;

inline HRESULT give(std::wstring_view text, HSTRING* string) noexcept {
    return WindowsCreateString(text.data(), static_cast<UINT32>(text.size()), string);
}

inline std::wstring textOf(HSTRING string) {
    UINT32 length = 0;
    const wchar_t* const text = WindowsGetStringRawBuffer(string, &length);
    return {text, length};
}

/// An object of several interfaces. The first is its identity and its class's default. It is agile unless told
/// otherwise, like all classes of the real server. It starts with one reference.
template <typename Default, typename... More>
class Object : public Default, public More... {
public:
    explicit Object(const char* className) noexcept : m_className(className) { countObject(className, 1); }
    virtual ~Object() { countObject(m_className, -1); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        void* found = nullptr;
        if (same(id, Default::iid) || same(id, abi::unknownId) || same(id, abi::inspectableId) ||
            (agile && same(id, abi::agileId))) {
            found = static_cast<Default*>(this);
        }
        (..., (found = !found && same(id, More::iid) && has(More::iid) ? static_cast<More*>(this) : found));
        *object = found;
        if (!found) {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG const left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetIids(ULONG* count, IID** ids) override {
        *count = 0;
        *ids = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING* name) override {
        const std::string_view ascii = m_className;
        return give(std::wstring(ascii.begin(), ascii.end()), name);
    }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel* level) override {
        *level = BaseTrust;
        return S_OK;
    }

    bool agile = true;

protected:
    /// Whether this object has an interface besides its default one. Only asked for the interfaces it is made of.
    virtual bool has(REFIID) const { return true; }

private:
    std::atomic<ULONG> m_references{1};
    const char* m_className;
};

/// Whether a pointer is exactly the wanted interface of its object, as the binary contract requires of arguments.
template <typename Interface>
bool isExactly(IUnknown* object) {
    void* wanted = nullptr;
    if (!object || object->QueryInterface(Interface::iid, &wanted) != S_OK) {
        return false;
    }
    object->Release();
    return wanted == object;
}
}  // namespace standins::runtime

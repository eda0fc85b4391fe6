// A library named after a namespace, as an application might ship it: makes factories for its own classes.

#define INITGUID  // defines IID_IErrorInfo here

#include <winrt/base.h>

#include <windows.h>

#include <oleauto.h>

#include <string>

namespace {
constexpr winrt::guid thingFactory{"5b0f5b7c-6d4e-4f6b-9d1c-0c8a3f5f2a01"};

class Factory final : public winrt::impl::ActivationFactoryAbi {
public:
    int32_t QueryInterface(const winrt::guid& id, void** object) noexcept override {
        *object = nullptr;
        if (id != thingFactory && id != winrt::guid_of<winrt::impl::UnknownAbi>() &&
            id != winrt::guid_of<winrt::impl::AgileObjectAbi>()) {
            return winrt::impl::error_no_interface;
        }
        *object = this;
        AddRef();
        return 0;
    }
    // One object for the library's whole life.
    uint32_t AddRef() noexcept override { return 2; }
    uint32_t Release() noexcept override { return 1; }
    int32_t GetIids(uint32_t*, winrt::guid**) noexcept override { return winrt::impl::error_not_implemented; }
    int32_t GetRuntimeClassName(void**) noexcept override { return winrt::impl::error_not_implemented; }
    int32_t GetTrustLevel(int32_t*) noexcept override { return winrt::impl::error_not_implemented; }
    int32_t ActivateInstance(void**) noexcept override { return winrt::impl::error_not_implemented; }
};

Factory factory;
std::wstring asked;

// Leaves its own reason on the thread.
int32_t refuse() noexcept {
    ICreateErrorInfo* made = nullptr;
    IErrorInfo* info = nullptr;
    CreateErrorInfo(&made);
    wchar_t reason[] = L"the library's reason";
    made->SetDescription(reason);
    made->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
    SetErrorInfo(0, info);
    info->Release();
    made->Release();
    return winrt::impl::error_class_not_available;
}
}  // namespace

extern "C" __declspec(dllexport) int32_t DllGetActivationFactory(void* classId, void** result) noexcept {
    uint32_t length = 0;
    const wchar_t* const text = winrt::impl::platform::stringBuffer(classId, &length);
    asked.assign(text, length);
    if (asked == L"Zeb.ProjectionTest.RefusedThing") {
        *result = nullptr;
        return refuse();
    }
    *result = &factory;
    return 0;
}

extern "C" __declspec(dllexport) const wchar_t* lastClass() noexcept { return asked.c_str(); }

#pragma once

/// The binary interfaces of the stand-in classes. They are declared again on purpose: a mistake in the projection's
/// declarations must not repeat itself here. Only slots that are called have their real parameters.

#include <windows.h>

#include <hstring.h>
#include <inspectable.h>
#include <unknwn.h>
#include <winstring.h>

#include <cstdint>

namespace standins::abi {
struct ActivationFactory : IInspectable {
    static constexpr GUID iid{0x00000035, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    virtual HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) = 0;
};

struct AsyncInfo : IInspectable {
    static constexpr GUID iid{0x00000036, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    virtual HRESULT STDMETHODCALLTYPE get_Id(UINT32* id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Status(INT32* status) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ErrorCode(HRESULT* code) = 0;
    virtual HRESULT STDMETHODCALLTYPE Cancel() = 0;
    virtual HRESULT STDMETHODCALLTYPE Close() = 0;
};

/// A handler for the end of an operation. The two kinds differ only in their id.
struct CompletedHandler : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Invoke(IInspectable* operation, INT32 status) = 0;
};

struct UriFactory : IInspectable {
    static constexpr GUID iid{0x44A9796F, 0x723E, 0x4FDF, {0xA2, 0x18, 0x03, 0x3E, 0x75, 0xB0, 0xC0, 0x84}};
    virtual HRESULT STDMETHODCALLTYPE CreateUri(HSTRING text, IInspectable** uri) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateWithRelativeUri(HSTRING base, HSTRING relative, IInspectable** uri) = 0;
};

struct Uri : IInspectable {
    static constexpr GUID iid{0x9E365E57, 0x48B2, 0x4160, {0x95, 0x6F, 0xC7, 0x38, 0x51, 0x20, 0xBB, 0xFC}};
    virtual HRESULT STDMETHODCALLTYPE get_AbsoluteUri(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_DisplayUri(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Domain(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Extension(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Fragment(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Host(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Password(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Path(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Query(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_QueryParsed(IInspectable** decoder) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_RawUri(HSTRING* text) = 0;
};

struct LauncherOptions : IInspectable {
    static constexpr GUID iid{0xBAFA21D8, 0xB071, 0x4CD8, {0x85, 0x3E, 0x34, 0x12, 0x03, 0xE5, 0x57, 0xD3}};
};

struct LauncherOptions3 : IInspectable {
    static constexpr GUID iid{0xF0770655, 0x4B63, 0x4E3A, {0x91, 0x07, 0x4E, 0x68, 0x78, 0x41, 0x92, 0x3A}};
    virtual HRESULT STDMETHODCALLTYPE get_IgnoreAppUriHandlers(boolean* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_IgnoreAppUriHandlers(boolean value) = 0;
};

struct LauncherStatics : IInspectable {
    static constexpr GUID iid{0x277151C3, 0x9E3E, 0x42F6, {0x91, 0xA4, 0x5D, 0xFD, 0xEB, 0x23, 0x24, 0x51}};
    virtual HRESULT STDMETHODCALLTYPE LaunchFileAsync(IInspectable* file, IInspectable** operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE LaunchFileWithOptionsAsync(IInspectable* file, IInspectable* options,
                                                                 IInspectable** operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE LaunchUriAsync(IInspectable* uri, IInspectable** operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE LaunchUriWithOptionsAsync(IInspectable* uri, IInspectable* options,
                                                                IInspectable** operation) = 0;
};

struct LaunchOperation : IInspectable {
    static constexpr GUID iid{0xCDB5EFB3, 0x5788, 0x509D, {0x9B, 0xE1, 0x71, 0xCC, 0xB8, 0xA3, 0x36, 0x2A}};
    static constexpr GUID handlerId{0xC1D3D1A2, 0xAE17, 0x5A5F, {0xB5, 0xA2, 0xBD, 0xCC, 0x88, 0x44, 0x88, 0x9A}};
    virtual HRESULT STDMETHODCALLTYPE put_Completed(CompletedHandler* handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Completed(CompletedHandler** handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetResults(boolean* launched) = 0;
};

struct PackageManager : IInspectable {
    static constexpr GUID iid{0x9A7D4B65, 0x5E8F, 0x4FC7, {0xA2, 0xE5, 0x7F, 0x69, 0x25, 0xCB, 0x8B, 0x53}};
    virtual HRESULT STDMETHODCALLTYPE AddPackageAsync(IInspectable* uri, IUnknown* dependencies, UINT32 options,
                                                      IInspectable** operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdatePackageAsync(IInspectable* uri, IUnknown* dependencies, UINT32 options,
                                                         IInspectable** operation) = 0;
};

struct DeploymentOperation : IInspectable {
    static constexpr GUID iid{0x5A97AAB7, 0xB6EA, 0x55AC, {0xA5, 0xDC, 0xD5, 0xB1, 0x64, 0xD9, 0x4E, 0x94}};
    static constexpr GUID handlerId{0x6E1C7129, 0x61E0, 0x5D88, {0x9F, 0xD4, 0xF3, 0xCE, 0x65, 0xA0, 0x57, 0x19}};
    virtual HRESULT STDMETHODCALLTYPE put_Progress(IUnknown* handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Progress(IUnknown** handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Completed(CompletedHandler* handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Completed(CompletedHandler** handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetResults(IInspectable** result) = 0;
};

struct DeploymentResult : IInspectable {
    static constexpr GUID iid{0x2563B9AE, 0xB77D, 0x4C1F, {0x8A, 0x7B, 0x20, 0xE6, 0xAD, 0x51, 0x5E, 0xF3}};
    virtual HRESULT STDMETHODCALLTYPE get_ErrorText(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ActivityId(GUID* id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ExtendedErrorCode(HRESULT* code) = 0;
};

struct RestrictedErrorInfo : IUnknown {
    static constexpr GUID iid{0x82BA7092, 0x4C88, 0x427D, {0xA7, 0xBC, 0x16, 0xDD, 0x93, 0xFE, 0xB6, 0x7E}};
    virtual HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* description, HRESULT* code, BSTR* restricted,
                                                      BSTR* capability) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReference(BSTR* reference) = 0;
};

inline constexpr GUID unknownId{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID inspectableId{0xAF86E2E0, 0xB12D, 0x4C6A, {0x9C, 0x5A, 0xD7, 0xAA, 0x65, 0x10, 0x1E, 0x90}};
inline constexpr GUID agileId{0x94EA2B94, 0xE9CC, 0x49E0, {0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90}};
inline constexpr GUID marshalId{0x00000003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID errorInfoId{0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

constexpr HRESULT illegalMethodCall = static_cast<HRESULT>(0x8000000E);
constexpr HRESULT illegalDelegateAssignment = static_cast<HRESULT>(0x80000018);
constexpr HRESULT cancelled = static_cast<HRESULT>(0x800704C7);
}  // namespace standins::abi

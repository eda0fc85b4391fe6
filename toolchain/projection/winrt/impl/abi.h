#pragma once

/// The binary layout of the basic interfaces.
///
/// Projected classes never implement the structures below: a projected object holds a pointer to one and calls through
/// it. Their virtual functions are in the order of the binary contract, return an HRESULT unless stated otherwise, and
/// write results through the last parameter. A `bool` is the runtime's one-byte boolean. Strings and interface pointers
/// are passed as `void*`.
/// interface pointers cross as `void*`.

#include "winrt/impl/guid.h"

#include <cstdint>

namespace winrt::impl {
/// abi<T>::type: the binary interface of a projected interface, class (its default interface) or delegate.
template <typename T>
struct abi;
template <typename T>
using abi_t = typename abi<T>::type;

struct UnknownAbi {
    virtual int32_t QueryInterface(const guid& id, void** object) noexcept = 0;
    virtual uint32_t AddRef() noexcept = 0;
    virtual uint32_t Release() noexcept = 0;

protected:
    ~UnknownAbi() = default;  // Release destroys objects
};

struct InspectableAbi : UnknownAbi {
    virtual int32_t GetIids(uint32_t* count, guid** ids) noexcept = 0;
    virtual int32_t GetRuntimeClassName(void** name) noexcept = 0;
    virtual int32_t GetTrustLevel(int32_t* level) noexcept = 0;
};

struct ActivationFactoryAbi : InspectableAbi {
    virtual int32_t ActivateInstance(void** instance) noexcept = 0;
};

/// A marker without functions: any thread may call the object.
struct AgileObjectAbi : UnknownAbi {};

struct MarshalAbi : UnknownAbi {
    virtual int32_t GetUnmarshalClass(const guid& id, void* object, uint32_t context, void* contextData, uint32_t flags,
                                      guid* unmarshaler) noexcept = 0;
    virtual int32_t GetMarshalSizeMax(const guid& id, void* object, uint32_t context, void* contextData, uint32_t flags,
                                      uint32_t* size) noexcept = 0;
    virtual int32_t MarshalInterface(void* stream, const guid& id, void* object, uint32_t context, void* contextData,
                                     uint32_t flags) noexcept = 0;
    virtual int32_t UnmarshalInterface(void* stream, const guid& id, void** object) noexcept = 0;
    virtual int32_t ReleaseMarshalData(void* stream) noexcept = 0;
    virtual int32_t DisconnectObject(uint32_t reserved) noexcept = 0;
};

struct ErrorInfoAbi : UnknownAbi {
    virtual int32_t GetGUID(guid* id) noexcept = 0;
    virtual int32_t GetSource(wchar_t** source) noexcept = 0;
    virtual int32_t GetDescription(wchar_t** description) noexcept = 0;
    virtual int32_t GetHelpFile(wchar_t** file) noexcept = 0;
    virtual int32_t GetHelpContext(uint32_t* context) noexcept = 0;
};

struct RestrictedErrorInfoAbi : UnknownAbi {
    virtual int32_t GetErrorDetails(wchar_t** description, int32_t* code, wchar_t** restrictedDescription,
                                    wchar_t** capability) noexcept = 0;
    virtual int32_t GetReference(wchar_t** reference) noexcept = 0;
};

struct LanguageErrorInfoAbi : UnknownAbi {
    virtual int32_t GetLanguageException(void** exception) noexcept = 0;
    virtual int32_t GetPreviousLanguageExceptionErrorInfo(void** previous) noexcept = 0;
    virtual int32_t CapturePropagationContext(void* exception) noexcept = 0;
    virtual int32_t GetPropagationContextHead(void** head) noexcept = 0;
};

template <>
inline constexpr guid guid_v<UnknownAbi>{"00000000-0000-0000-c000-000000000046"};
template <>
inline constexpr guid guid_v<InspectableAbi>{"af86e2e0-b12d-4c6a-9c5a-d7aa65101e90"};
template <>
inline constexpr guid guid_v<ActivationFactoryAbi>{"00000035-0000-0000-c000-000000000046"};
template <>
inline constexpr guid guid_v<AgileObjectAbi>{"94ea2b94-e9cc-49e0-c0ff-ee64ca8f5b90"};
template <>
inline constexpr guid guid_v<MarshalAbi>{"00000003-0000-0000-c000-000000000046"};
template <>
inline constexpr guid guid_v<ErrorInfoAbi>{"1cf2b120-547d-101b-8e65-08002b2bd119"};
template <>
inline constexpr guid guid_v<RestrictedErrorInfoAbi>{"82ba7092-4c88-427d-a7bc-16dd93feb67e"};
template <>
inline constexpr guid guid_v<LanguageErrorInfoAbi>{"5746e5c4-5b97-424c-b620-2822915734dd"};
}  // namespace winrt::impl

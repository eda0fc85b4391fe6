#include <windows.h>

#include <stdexcept>

#include "control.h"

namespace control {

namespace {

using desktop::Arguments;

void check(LSTATUS status, const char* call) {
    if (status != ERROR_SUCCESS) throw std::runtime_error(std::string(call) + " gave " + std::to_string(status));
}

void set(const Arguments& arguments, DWORD type, const void* data, std::size_t size) {
    check(RegSetKeyValueW(HKEY_LOCAL_MACHINE, arguments.wideText(0).c_str(), arguments.wideText(1).c_str(), type, data,
                          static_cast<DWORD>(size)),
          "RegSetKeyValueW");
}

// (key below HKEY_LOCAL_MACHINE, value name, value).
napi_value setRegistryNumber(const Arguments& arguments) {
    const auto value = static_cast<DWORD>(arguments.number(2));
    set(arguments, REG_DWORD, &value, sizeof value);
    return nullptr;
}

napi_value setRegistryText(const Arguments& arguments) {
    const std::wstring value = arguments.wideText(2);
    set(arguments, REG_SZ, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
    return nullptr;
}

// Returns the number, or undefined if there is none.
napi_value registryNumber(const Arguments& arguments) {
    DWORD value = 0;
    DWORD size = sizeof value;
    const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, arguments.wideText(0).c_str(),
                                        arguments.wideText(1).c_str(), RRF_RT_REG_DWORD, nullptr, &value, &size);
    return status == ERROR_SUCCESS ? desktop::toScript(arguments.env(), value) : nullptr;
}

// Succeeds if the value does not exist.
napi_value removeRegistryValue(const Arguments& arguments) {
    const LSTATUS status =
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, arguments.wideText(0).c_str(), arguments.wideText(1).c_str());
    if (status != ERROR_FILE_NOT_FOUND) check(status, "RegDeleteKeyValueW");
    return nullptr;
}

// Removes the key with everything below it.
napi_value removeRegistryKey(const Arguments& arguments) {
    const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, arguments.wideText(0).c_str());
    if (status != ERROR_FILE_NOT_FOUND) check(status, "RegDeleteTreeW");
    return nullptr;
}

}  // namespace

std::vector<desktop::NamedFunction> registryFunctions() {
    return {{"setRegistryNumber", &setRegistryNumber},
            {"setRegistryText", &setRegistryText},
            {"registryNumber", &registryNumber},
            {"removeRegistryValue", &removeRegistryValue},
            {"removeRegistryKey", &removeRegistryKey}};
}

}  // namespace control

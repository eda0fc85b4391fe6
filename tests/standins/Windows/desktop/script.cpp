#include "script.h"

#include <windows.h>

#include <stdexcept>

namespace desktop {

namespace {

void check(napi_status status) {
    if (status != napi_ok) throw std::invalid_argument("unexpected argument");
}

napi_value invoke(napi_env env, napi_callback_info info) {
    void* function = nullptr;
    napi_get_cb_info(env, info, nullptr, nullptr, nullptr, &function);
    try {
        return reinterpret_cast<Function>(function)(Arguments(env, info));
    } catch (const std::exception& failure) {
        napi_throw_error(env, nullptr, failure.what());
        return nullptr;
    }
}

}  // namespace

Arguments::Arguments(napi_env env, napi_callback_info info) : m_env(env) {
    std::size_t count = 0;
    check(napi_get_cb_info(env, info, &count, nullptr, nullptr, nullptr));
    m_values.resize(count);
    check(napi_get_cb_info(env, info, &count, m_values.data(), nullptr, nullptr));
}

std::int64_t Arguments::number(std::size_t index) const {
    std::int64_t result = 0;
    if (index < m_values.size()) check(napi_get_value_int64(m_env, m_values[index], &result));
    return result;
}

bool Arguments::flag(std::size_t index) const {
    bool result = false;
    if (index < m_values.size()) check(napi_get_value_bool(m_env, m_values[index], &result));
    return result;
}

std::string Arguments::text(std::size_t index) const {
    if (index >= m_values.size()) return {};
    std::size_t length = 0;
    check(napi_get_value_string_utf8(m_env, m_values[index], nullptr, 0, &length));
    std::string result(length, '\0');
    check(napi_get_value_string_utf8(m_env, m_values[index], result.data(), length + 1, &length));
    return result;
}

std::wstring Arguments::wideText(std::size_t index) const {
    if (index >= m_values.size()) return {};
    std::size_t length = 0;
    check(napi_get_value_string_utf16(m_env, m_values[index], nullptr, 0, &length));
    std::wstring result(length, L'\0');
    check(napi_get_value_string_utf16(m_env, m_values[index], reinterpret_cast<char16_t*>(result.data()), length + 1,
                                      &length));
    return result;
}

napi_value toScript(napi_env env, double value) {
    napi_value result = nullptr;
    napi_create_double(env, value, &result);
    return result;
}

napi_value toScript(napi_env env, bool value) {
    napi_value result = nullptr;
    napi_get_boolean(env, value, &result);
    return result;
}

napi_value toScript(napi_env env, const std::string& value) {
    napi_value result = nullptr;
    napi_create_string_utf8(env, value.data(), value.size(), &result);
    return result;
}

napi_value toScript(napi_env env, const std::wstring& value) {
    napi_value result = nullptr;
    napi_create_string_utf16(env, reinterpret_cast<const char16_t*>(value.data()), value.size(), &result);
    return result;
}

napi_value toScript(napi_env env, const std::vector<napi_value>& values) {
    napi_value result = nullptr;
    napi_create_array_with_length(env, values.size(), &result);
    for (std::size_t index = 0; index < values.size(); ++index) {
        napi_set_element(env, result, static_cast<std::uint32_t>(index), values[index]);
    }
    return result;
}

Object::Object(napi_env env) : m_env(env) { napi_create_object(env, &m_object); }

Object& Object::set(const char* name, napi_value value) {
    napi_set_named_property(m_env, m_object, name, value);
    return *this;
}

void define(napi_env env, napi_value exports, const std::vector<NamedFunction>& functions) {
    for (const NamedFunction& entry : functions) {
        napi_value function = nullptr;
        napi_create_function(env, entry.name, NAPI_AUTO_LENGTH, &invoke, reinterpret_cast<void*>(entry.function),
                             &function);
        napi_set_named_property(env, exports, entry.name, function);
    }
}

void throwLastError(const char* call) {
    throw std::runtime_error(std::string(call) + " failed with " + std::to_string(GetLastError()));
}

}  // namespace desktop

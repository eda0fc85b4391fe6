#pragma once

#include <node_api.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

/// Just enough of Node-API for the test helpers: arguments in, plain values out. An exception becomes a script error
/// with the exception's text.
namespace desktop {

/// The arguments of one call. A missing one reads as 0, false or the empty text.
class Arguments {
public:
    Arguments(napi_env env, napi_callback_info info);

    napi_env env() const noexcept { return m_env; }
    std::int64_t number(std::size_t index) const;
    bool flag(std::size_t index) const;
    std::string text(std::size_t index) const;
    std::wstring wideText(std::size_t index) const;

private:
    napi_env m_env;
    std::vector<napi_value> m_values;
};

napi_value toScript(napi_env env, double value);
napi_value toScript(napi_env env, bool value);
napi_value toScript(napi_env env, const std::string& value);
napi_value toScript(napi_env env, const std::wstring& value);
napi_value toScript(napi_env env, const std::vector<napi_value>& values);
template <typename T>
    requires std::is_integral_v<T>
napi_value toScript(napi_env env, T value) {
    return toScript(env, static_cast<double>(value));
}

/// A plain object, property by property.
class Object {
public:
    explicit Object(napi_env env);
    template <typename T>
    Object& set(const char* name, const T& value) {
        return set(name, toScript(m_env, value));
    }
    Object& set(const char* name, napi_value value);
    napi_value value() const noexcept { return m_object; }

private:
    napi_env m_env;
    napi_value m_object = nullptr;
};

/// A function of the add-on. Null becomes undefined.
using Function = napi_value (*)(const Arguments& arguments);

struct NamedFunction {
    const char* name;
    Function function;
};

void define(napi_env env, napi_value exports, const std::vector<NamedFunction>& functions);

[[noreturn]] void throwLastError(const char* call);

}  // namespace desktop

#include "native/mouse_script.h"

#include <array>

namespace zeb::bench {

namespace {

napi_value number(napi_env env, double value) {
    napi_value result = nullptr;
    napi_create_double(env, value, &result);
    return result;
}

}  // namespace

napi_value toScript(napi_env env, const MouseTally& tally) {
    const std::array figures{static_cast<double>(tally.reports), tally.seconds, tally.threadSeconds};
    napi_value result = nullptr;
    napi_create_array(env, &result);
    for (std::uint32_t index = 0; index < figures.size(); ++index) {
        napi_set_element(env, result, index, number(env, figures[index]));
    }
    return result;
}

napi_value now(napi_env env, napi_callback_info) {
    napi_value result = nullptr;
    napi_create_int32(env, toStamp(Clock::now()), &result);
    return result;
}

napi_value scriptThreadTime(napi_env env, napi_callback_info) { return number(env, threadTime()); }

}  // namespace zeb::bench

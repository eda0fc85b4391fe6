#include "probe_component.h"

#include <array>
#include <new>
#include <stdexcept>
#include <utility>

#include "common/utils/failure.h"

namespace probe {

namespace {

std::string hexadecimal(const std::string& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string result;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        result += digits[value >> 4];
        result += digits[value & 15];
    }
    return result;
}

}  // namespace

common::js::MethodTable Probe::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<Probe, &Probe::integer>("integer"),
        methodEntry<Probe, &Probe::wideInteger>("wideInteger"),
        methodEntry<Probe, &Probe::unsignedInteger>("unsignedInteger"),
        methodEntry<Probe, &Probe::boolean>("boolean"),
        methodEntry<Probe, &Probe::text>("text"),
        methodEntry<Probe, &Probe::two>("two"),
        methodEntry<Probe, &Probe::mixed>("mixed"),
        methodEntry<Probe, &Probe::mixedRuns>("mixedRuns"),
        methodEntry<Probe, &Probe::call>("call"),
        methodEntry<Probe, &Probe::endedBy>("endedBy"),
        methodEntry<Probe, &Probe::nothing>("nothing"),
        methodEntry<Probe, &Probe::smallest>("smallest"),
        methodEntry<Probe, &Probe::largest>("largest"),
        methodEntry<Probe, &Probe::truth>("truth"),
        methodEntry<Probe, &Probe::utf8>("utf8"),
        methodEntry<Probe, &Probe::list>("list"),
        methodEntry<Probe, &Probe::strangeTexts>("strangeTexts"),
        methodEntry<Probe, &Probe::record>("record"),
        methodEntry<Probe, &Probe::wrapped>("wrapped"),
        methodEntry<Probe, &Probe::classLevel>("classLevel"),
        methodEntry<Probe, &Probe::throwModuleException>("throwModuleException"),
        methodEntry<Probe, &Probe::throwStandardException>("throwStandardException"),
        methodEntry<Probe, &Probe::throwBadAlloc>("throwBadAlloc"),
        methodEntry<Probe, &Probe::throwNumber>("throwNumber"),
    };
    return table;
}

Probe::Probe(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, methods());
}

std::string Probe::text(std::string value) { return hexadecimal(value); }

std::string Probe::two(std::int32_t number, std::string value) {
    return std::to_string(number) + ' ' + hexadecimal(value);
}

std::string Probe::mixed(std::int32_t first, std::int64_t second, std::string third,
                         std::unique_ptr<Callback> callback) {
    ++m_mixedRuns;
    return std::to_string(first) + ' ' + std::to_string(second) + ' ' + hexadecimal(third) + ' ' +
           (callback ? "callback" : "none");
}

void Probe::call(std::unique_ptr<Callback> callback, std::string value, std::int32_t times) {
    for (std::int32_t done = 0; callback && done < times; ++done) (*callback)(value, done);
}

std::int32_t Probe::endedBy(std::unique_ptr<Callback> callback) {
    const std::int32_t before = s_ended;
    (*callback)("", 0);
    return s_ended - before;
}

std::string Probe::utf8() { return "gr\xc3\xbc\xc3\x9f \xf0\x9f\x91\x8b \xff."; }

std::vector<std::wstring> Probe::list(std::int32_t length) {
    std::vector<std::wstring> result;
    for (std::int32_t index = 0; index < length; ++index) result.push_back(std::to_wstring(index));
    return result;
}

// UTF-16 units, whatever the width of wchar_t: empty, with a NUL, a surrogate pair, lone surrogates.
std::vector<std::wstring> Probe::strangeTexts() {
    return {{}, {L'a', L'\0', L'b'}, {0xd83d, 0xdc4b}, {L'x', 0xd83d}, {0xdc4b, L'y'}, {0xffff}};
}

common::ComPtr<Wrapped> Probe::wrapped(std::int32_t kind) { return makeWrapped(static_cast<WrappedKind>(kind)); }

void Probe::throwModuleException(std::string message) {
    throw common::common_internal::DefaultException({"probe::function", "probe/file", 7}, message, 3);
}

void Probe::throwStandardException(std::string message) { throw std::runtime_error(message); }

void Probe::throwBadAlloc() { throw std::bad_alloc(); }

void Probe::throwNumber(std::int32_t number) { throw number; }

}  // namespace probe

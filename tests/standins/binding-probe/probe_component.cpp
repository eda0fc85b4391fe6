#include "probe_component.h"

#include <array>
#include <new>
#include <stdexcept>
#include <utility>

#include "common/utils/failure.h"

namespace probe {

namespace {

template <auto method>
constexpr common::js::MethodEntry entry(const char* name) {
    return common::js::methodEntry<Probe, method>(name);
}

constexpr std::array kMethods{
    entry<&Probe::integer>("integer"),
    entry<&Probe::wideInteger>("wideInteger"),
    entry<&Probe::unsignedInteger>("unsignedInteger"),
    entry<&Probe::boolean>("boolean"),
    entry<&Probe::text>("text"),
    entry<&Probe::two>("two"),
    entry<&Probe::mixed>("mixed"),
    entry<&Probe::mixedRuns>("mixedRuns"),
    entry<&Probe::call>("call"),
    entry<&Probe::endedBy>("endedBy"),
    entry<&Probe::nothing>("nothing"),
    entry<&Probe::smallest>("smallest"),
    entry<&Probe::largest>("largest"),
    entry<&Probe::truth>("truth"),
    entry<&Probe::utf8>("utf8"),
    entry<&Probe::list>("list"),
    entry<&Probe::strangeTexts>("strangeTexts"),
    entry<&Probe::record>("record"),
    entry<&Probe::wrapped>("wrapped"),
    entry<&Probe::classLevel>("classLevel"),
    entry<&Probe::throwModuleException>("throwModuleException"),
    entry<&Probe::throwStandardException>("throwStandardException"),
    entry<&Probe::throwBadAlloc>("throwBadAlloc"),
    entry<&Probe::throwNumber>("throwNumber"),
};

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

Probe::Probe(v8::Isolate* isolate, v8::Local<v8::Object> object) { common::js::bindMethods(isolate, object, kMethods); }

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

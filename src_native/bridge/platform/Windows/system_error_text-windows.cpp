#include <windows.h>

#include <memory>

#include "bridge/system_error_text.h"
#include "common/utils/text.h"

namespace zeb {

namespace {

struct LocalFreer {
    void operator()(char* block) const noexcept { LocalFree(block); }
};

std::wstring wideFromSystemCodePage(const std::string& text) {
    const int length = static_cast<int>(text.size());
    const int needed = length == 0 ? 0 : MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(needed), L'\0');
    if (needed != 0) MultiByteToWideChar(CP_ACP, 0, text.data(), length, result.data(), needed);
    return result;
}

}  // namespace

std::string systemErrorText(std::uint32_t code) {
    constexpr DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    // One language for all users, because others read these texts in bug reports.
    constexpr DWORD language = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
    char* allocated = nullptr;
    const DWORD length =
        FormatMessageA(flags, nullptr, code, language, reinterpret_cast<char*>(&allocated), 0, nullptr);
    const std::unique_ptr<char, LocalFreer> buffer(allocated);
    return buffer ? std::string(buffer.get(), length) : std::string();
}

std::string systemErrorTextUtf8(std::uint32_t code) {
    return common::utf16ToUtf8(wideFromSystemCodePage(systemErrorText(code)));
}

}  // namespace zeb

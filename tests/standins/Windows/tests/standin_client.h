#pragma once

#include <windows.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace standins {

/// Steers one stand-in from a test program. Its file is named from the build folder, three levels above the program.
class StandinClient {
public:
    explicit StandinClient(std::wstring_view file) : m_path(folder() + std::wstring(file)) {
        m_library = LoadLibraryExW(m_path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        if (m_library == nullptr) throw std::runtime_error("the stand-in cannot be loaded");
        m_command = function<Command>("standinCommand");
        m_report = function<Report>("standinReport");
    }

    const std::wstring& path() const noexcept { return m_path; }

    /// Applies a script (control_text.h). Throws what is wrong with it.
    void command(std::wstring_view script) const {
        if (const char* const wrong = m_command(script.data(), script.size())) throw std::invalid_argument(wrong);
    }
    /// JSON; empty for an unknown topic.
    std::string report(const char* topic) const {
        const char* const json = m_report(topic);
        return json ? json : "";
    }

    template <typename Function>
    Function* function(const char* name) const {
        const auto address = GetProcAddress(m_library, name);
        if (address == nullptr) throw std::runtime_error(std::string("not exported: ") + name);
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(address));
    }

private:
    using Command = const char*(const wchar_t* text, std::size_t units);
    using Report = const char*(const char* topic);

    static std::wstring folder() {
        wchar_t program[MAX_PATH] = L"";
        std::wstring path(&program[0], GetModuleFileNameW(nullptr, &program[0], MAX_PATH));
        for (int level = 0; level != 4; ++level) path.resize(path.rfind(L'\\'));
        return path + L"\\";
    }

    std::wstring m_path;
    HMODULE m_library = nullptr;
    Command* m_command = nullptr;
    Report* m_report = nullptr;
};

}  // namespace standins

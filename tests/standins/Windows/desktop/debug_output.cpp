#include <windows.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "desktop.h"

namespace desktop {

namespace {

/// Reads the system's debug output: what processes without a debugger write with OutputDebugStringA.
class DebugOutput {
public:
    DebugOutput() {
        m_section =
            CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Record), L"DBWIN_BUFFER");
        m_record = static_cast<const Record*>(MapViewOfFile(m_section, FILE_MAP_READ, 0, 0, sizeof(Record)));
        m_ready = CreateEventW(nullptr, FALSE, TRUE, L"DBWIN_BUFFER_READY");
        m_data = CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_DATA_READY");
        m_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (m_record == nullptr || m_ready == nullptr || m_data == nullptr) throwLastError("opening the debug output");
        m_thread = std::thread([this] { run(); });
    }
    ~DebugOutput() {
        SetEvent(m_stop);
        m_thread.join();
        UnmapViewOfFile(m_record);
        for (HANDLE handle : {m_section, m_ready, m_data, m_stop}) CloseHandle(handle);
    }
    DebugOutput(const DebugOutput&) = delete;
    DebugOutput& operator=(const DebugOutput&) = delete;

    napi_value take(napi_env env) {
        const std::lock_guard lock(m_mutex);
        std::vector<napi_value> result;
        for (const auto& [process, text] : m_texts) {
            result.push_back(Object(env).set("process", process).set("text", text).value());
        }
        m_texts.clear();
        return toScript(env, result);
    }

private:
    struct Record {
        DWORD process;
        char text[4096 - sizeof(DWORD)];
    };

    void run() {
        const HANDLE events[] = {m_stop, m_data};
        while (WaitForMultipleObjects(2, &events[0], FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
            {
                const std::lock_guard lock(m_mutex);
                m_texts.emplace_back(m_record->process, std::string(&m_record->text[0]));
            }
            SetEvent(m_ready);
        }
    }

    HANDLE m_section = nullptr;
    HANDLE m_ready = nullptr;
    HANDLE m_data = nullptr;
    HANDLE m_stop = nullptr;
    const Record* m_record = nullptr;
    std::thread m_thread;
    std::mutex m_mutex;
    std::vector<std::pair<DWORD, std::string>> m_texts;
};

std::unique_ptr<DebugOutput> g_debugOutput;

napi_value openDebugOutput(const Arguments&) {
    if (!g_debugOutput) g_debugOutput = std::make_unique<DebugOutput>();
    return nullptr;
}

napi_value closeDebugOutput(const Arguments&) {
    g_debugOutput.reset();
    return nullptr;
}

napi_value takeDebugOutput(const Arguments& arguments) {
    if (!g_debugOutput) throw std::logic_error("openDebugOutput comes first");
    return g_debugOutput->take(arguments.env());
}

napi_value writeDebugOutput(const Arguments& arguments) {
    OutputDebugStringA(arguments.text(0).c_str());
    return nullptr;
}

}  // namespace

std::vector<NamedFunction> debugOutputFunctions() {
    return {{"openDebugOutput", &openDebugOutput},
            {"closeDebugOutput", &closeDebugOutput},
            {"takeDebugOutput", &takeDebugOutput},
            {"writeDebugOutput", &writeDebugOutput}};
}

}  // namespace desktop

#include <windows.h>

#include <tlhelp32.h>

#include <bit>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "desktop.h"

namespace desktop {

namespace {

struct HandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<HANDLE, HandleCloser>;

struct DebugException {
    DWORD code;
    bool firstChance;
    std::wstring module;  // the fault's module and its offset from the module's start
    ULONG_PTR offset;
    std::vector<ULONG_PTR> parameters;
};

/// Runs a program as its debugger, on a pool thread, and records what a debugger is told.
class DebugRun {
public:
    DebugRun(std::wstring commandLine, std::wstring outputPath, DWORD milliseconds, DWORD lastException)
        : m_commandLine(std::move(commandLine)),
          m_outputPath(std::move(outputPath)),
          m_milliseconds(milliseconds),
          m_lastException(lastException) {}

    static napi_value start(const Arguments& arguments);

private:
    void run();
    void loop(HANDLE process, DWORD processId);
    void take(HANDLE process, const OUTPUT_DEBUG_STRING_INFO& output);
    void take(const EXCEPTION_DEBUG_INFO& exception);
    void addModule(HANDLE file, void* base);
    napi_value result(napi_env env) const;

    std::wstring m_commandLine;
    std::wstring m_outputPath;
    DWORD m_milliseconds;
    DWORD m_lastException;
    std::vector<std::string> m_debugStrings;
    std::vector<DebugException> m_exceptions;
    std::map<ULONG_PTR, std::wstring> m_modules;  // by address
    DWORD m_exitCode = 0;
    std::string m_failure;
    napi_async_work m_work = nullptr;
    napi_deferred m_deferred = nullptr;
};

void DebugRun::run() {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    const Handle output(CreateFileW(m_outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                    CREATE_ALWAYS, 0, nullptr));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output.get();
    PROCESS_INFORMATION information{};
    if (!CreateProcessW(nullptr, m_commandLine.data(), nullptr, nullptr, TRUE, DEBUG_ONLY_THIS_PROCESS, nullptr,
                        nullptr, &startup, &information)) {
        m_failure = "CreateProcessW failed with " + std::to_string(GetLastError());
        return;
    }
    const Handle process(information.hProcess);
    const Handle thread(information.hThread);
    loop(process.get(), information.dwProcessId);
    if (!m_failure.empty()) TerminateProcess(process.get(), 1);
}

void DebugRun::loop(HANDLE process, DWORD processId) {
    const ULONGLONG deadline = GetTickCount64() + m_milliseconds;
    for (;;) {
        const ULONGLONG now = GetTickCount64();
        DEBUG_EVENT event{};
        if (now >= deadline || !WaitForDebugEvent(&event, static_cast<DWORD>(deadline - now))) {
            m_failure = "the program did not end in time";
            return;
        }
        DWORD answer = DBG_CONTINUE;
        if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
            take(process, event.u.DebugString);
        } else if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT) {
            take(event.u.Exception);
            const DWORD code = event.u.Exception.ExceptionRecord.ExceptionCode;
            if (code != EXCEPTION_BREAKPOINT) answer = DBG_EXCEPTION_NOT_HANDLED;
            if (code == m_lastException) TerminateProcess(process, code);
        } else if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT) {
            addModule(event.u.CreateProcessInfo.hFile, event.u.CreateProcessInfo.lpBaseOfImage);
        } else if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT) {
            addModule(event.u.LoadDll.hFile, event.u.LoadDll.lpBaseOfDll);
        }
        ContinueDebugEvent(processId, event.dwThreadId, answer);
        if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) {
            m_exitCode = event.u.ExitProcess.dwExitCode;
            return;
        }
    }
}

void DebugRun::take(HANDLE process, const OUTPUT_DEBUG_STRING_INFO& output) {
    std::string bytes(output.nDebugStringLength, '\0');
    SIZE_T read = 0;
    ReadProcessMemory(process, output.lpDebugStringData, bytes.data(), bytes.size(), &read);
    bytes.resize(read);
    while (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
    m_debugStrings.push_back((output.fUnicode != 0 ? "UNICODE:" : "") + bytes);
}

void DebugRun::take(const EXCEPTION_DEBUG_INFO& exception) {
    const auto address = reinterpret_cast<ULONG_PTR>(exception.ExceptionRecord.ExceptionAddress);
    const auto behind = m_modules.upper_bound(address);
    const auto [base, name] =
        behind == m_modules.begin() ? std::pair<const ULONG_PTR, std::wstring>() : *std::prev(behind);
    const ULONG_PTR* const parameters = &exception.ExceptionRecord.ExceptionInformation[0];
    m_exceptions.push_back({exception.ExceptionRecord.ExceptionCode,
                            exception.dwFirstChance != 0,
                            name,
                            address - base,
                            {parameters, parameters + exception.ExceptionRecord.NumberParameters}});
}

void DebugRun::addModule(HANDLE file, void* base) {
    if (file == nullptr) return;
    const Handle owned(file);
    wchar_t name[MAX_PATH];
    const DWORD length = GetFinalPathNameByHandleW(file, name, MAX_PATH, 0);
    if (length < MAX_PATH) m_modules[reinterpret_cast<ULONG_PTR>(base)].assign(name, length);
}

napi_value DebugRun::result(napi_env env) const {
    std::vector<napi_value> strings;
    for (const std::string& text : m_debugStrings) strings.push_back(toScript(env, text));
    std::vector<napi_value> exceptions;
    for (const DebugException& exception : m_exceptions) {
        std::vector<napi_value> parameters;
        for (const ULONG_PTR parameter : exception.parameters) parameters.push_back(toScript(env, parameter));
        exceptions.push_back(Object(env)
                                 .set("code", exception.code)
                                 .set("firstChance", exception.firstChance)
                                 .set("module", exception.module)
                                 .set("offset", exception.offset)
                                 .set("parameters", toScript(env, parameters))
                                 .value());
    }
    return Object(env)
        .set("exitCode", m_exitCode)
        .set("failure", m_failure)
        .set("debugStrings", toScript(env, strings))
        .set("exceptions", toScript(env, exceptions))
        .value();
}

// (command line, output file, milliseconds, [code of the exception at which to end the program]): a promise of {
// exitCode, failure, debugStrings, exceptions: [{ code, firstChance, module, offset }] }
napi_value DebugRun::start(const Arguments& arguments) {
    const napi_env env = arguments.env();
    auto run =
        std::make_unique<DebugRun>(arguments.wideText(0), arguments.wideText(1),
                                   static_cast<DWORD>(arguments.number(2)), static_cast<DWORD>(arguments.number(3)));
    napi_value promise = nullptr;
    napi_create_promise(env, &run->m_deferred, &promise);
    napi_create_async_work(
        env, nullptr, toScript(env, std::string("debugRun")),
        [](napi_env, void* data) { static_cast<DebugRun*>(data)->run(); },
        [](napi_env done, napi_status, void* data) {
            const std::unique_ptr<DebugRun> finished(static_cast<DebugRun*>(data));
            napi_resolve_deferred(done, finished->m_deferred, finished->result(done));
            napi_delete_async_work(done, finished->m_work);
        },
        run.get(), &run->m_work);
    napi_queue_async_work(env, run->m_work);
    static_cast<void>(run.release());
    return promise;
}

napi_value handleCount(const Arguments& arguments) {
    DWORD count = 0;
    if (!GetProcessHandleCount(GetCurrentProcess(), &count)) throwLastError("GetProcessHandleCount");
    return toScript(arguments.env(), count);
}

napi_value threadCount(const Arguments& arguments) {
    const Handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    unsigned count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more; more = Thread32Next(snapshot.get(), &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
    }
    return toScript(arguments.env(), count);
}

napi_value moduleLoaded(const Arguments& arguments) {
    return toScript(arguments.env(), GetModuleHandleW(arguments.wideText(0).c_str()) != nullptr);
}

// What is registered for this process: { result: HRESULT, commandLine, flags }. The function is looked up at run time,
// because not every system has it.
napi_value restartSettings(const Arguments& arguments) {
    using Get = HRESULT(WINAPI*)(HANDLE, wchar_t*, DWORD*, DWORD*);
    const auto get =
        std::bit_cast<Get>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetApplicationRestartSettings"));
    wchar_t commandLine[1024] = L"";
    DWORD size = 1024;
    DWORD flags = 0;
    const HRESULT result = get == nullptr ? HRESULT_FROM_WIN32(ERROR_CALL_NOT_IMPLEMENTED)
                                          : get(GetCurrentProcess(), &commandLine[0], &size, &flags);
    return Object(arguments.env())
        .set("result", result)
        .set("commandLine", std::wstring(&commandLine[0]))
        .set("flags", flags)
        .value();
}

// (process id, PROCESS_MITIGATION_POLICY): the policy's flags as the system enforces them in that process.
napi_value mitigation(const Arguments& arguments) {
    const Handle process(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, static_cast<DWORD>(arguments.number(0))));
    if (!process) throwLastError("OpenProcess");
    DWORD flags = 0;
    if (!GetProcessMitigationPolicy(process.get(), static_cast<PROCESS_MITIGATION_POLICY>(arguments.number(1)), &flags,
                                    sizeof flags)) {
        throwLastError("GetProcessMitigationPolicy");
    }
    return toScript(arguments.env(), flags);
}

}  // namespace

std::vector<NamedFunction> processFunctions() {
    return {{"debugRun", &DebugRun::start},  {"handleCount", &handleCount},         {"threadCount", &threadCount},
            {"moduleLoaded", &moduleLoaded}, {"restartSettings", &restartSettings}, {"mitigation", &mitigation}};
}

}  // namespace desktop

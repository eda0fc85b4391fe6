#include "standins/Windows/user32/user32.h"

#include <malloc.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace standins {

namespace {

User32* g_system = nullptr;

std::vector<WNDCLASSW>& classes() {
    static std::vector<WNDCLASSW> registered;
    return registered;
}

struct Hex {
    std::uintptr_t value;
};

std::ostream& operator<<(std::ostream& out, Hex hex) { return out << "0x" << std::hex << hex.value << std::dec; }

Hex address(const void* pointer) { return {reinterpret_cast<std::uintptr_t>(pointer)}; }

const char* blockText(const void* block) { return block == nullptr ? "no block" : "block"; }

template <typename... Arguments>
std::string callText(const char* function, Arguments... arguments) {
    std::ostringstream text;
    const char* separator = "";
    text << function << '(';
    ((text << std::exchange(separator, ", ") << arguments), ...);
    text << ')';
    return text.str();
}

template <typename Function>
Function* systemFunction(const wchar_t* library, const char* name) {
    return std::bit_cast<Function*>(GetProcAddress(GetModuleHandleW(library), name));
}

}  // namespace

User32::User32() { g_system = this; }

User32::~User32() { g_system = nullptr; }

void User32::addMessage(UINT message, WPARAM wParam, LPARAM lParam, BOOL result) {
    addStep([=](MSG& received) {
        received = {};
        received.message = message;
        received.wParam = wParam;
        received.lParam = lParam;
        return result;
    });
}

void User32::addStep(Step step) {
    {
        const std::lock_guard guard(m_mutex);
        m_steps.push_back(std::move(step));
    }
    m_added.notify_all();
}

void User32::addReport(Report report) {
    LPARAM handle = 0;
    {
        const std::lock_guard guard(m_mutex);
        handle = static_cast<LPARAM>(m_reports.size()) + 1;
        m_reports[handle] = std::move(report);
    }
    addMessage(WM_INPUT, RIM_INPUTSINK, handle);
}

void User32::addSentMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    addStep([=, this](MSG& next) {
        const LRESULT result = classes().back().lpfnWndProc(window(), message, wParam, lParam);
        const std::lock_guard guard(m_mutex);
        m_sentResults.push_back(result);
        next = {};
        next.message = WM_TIMER;  // the loop waited for this message
        return TRUE;
    });
}

void User32::addChange(std::function<void()> change) {
    addStep([change = std::move(change)](MSG& next) {
        change();
        next = {};
        return -1;
    });
}

std::vector<std::string> User32::calls() const {
    const std::lock_guard guard(m_mutex);
    return m_calls;
}

std::vector<std::string> User32::callsOf(const std::string& function) const {
    std::vector<std::string> found;
    std::ranges::copy_if(calls(), std::back_inserter(found),
                         [&](const std::string& call) { return call.starts_with(function + "("); });
    return found;
}

std::vector<CREATESTRUCTW> User32::windows() const {
    const std::lock_guard guard(m_mutex);
    return m_windows;
}

std::vector<LRESULT> User32::sentResults() const {
    const std::lock_guard guard(m_mutex);
    return m_sentResults;
}

const std::vector<WNDCLASSW>& User32::registeredClasses() { return classes(); }

void User32::note(const std::string& call) {
    const std::lock_guard guard(m_mutex);
    m_calls.push_back(call);
}

/// The functions that replace the system's.
struct User32Calls {
    template <typename... Arguments>
    static void note(const char* function, Arguments... arguments) {
        if (g_system->writesCallsDown) g_system->note(callText(function, arguments...));
    }

    static HMODULE WINAPI getModuleHandle(const char* name) {
        if (name != nullptr) throw std::logic_error("GetModuleHandleA is for the host alone");
        return User32::host();
    }

    static ATOM WINAPI registerClass(const WNDCLASSW* windowClass) {
        classes().push_back(*windowClass);
        note("RegisterClassW");
        return 0;
    }

    static HWND WINAPI createWindow(DWORD extendedStyle, const wchar_t* className, const wchar_t* title, DWORD style,
                                    int x, int y, int width, int height, HWND parent, HMENU menu, HINSTANCE instance,
                                    void* parameter) {
        note("CreateWindowExW");
        const std::lock_guard guard(g_system->m_mutex);
        g_system->m_windows.push_back({parameter, instance, menu, parent, height, width, y, x, static_cast<LONG>(style),
                                       title, className, extendedStyle});
        return g_system->makesWindows ? User32::window() : nullptr;
    }

    static BOOL WINAPI destroyWindow(HWND window) {
        note("DestroyWindow", address(window));
        return TRUE;
    }

    static LRESULT WINAPI defaultProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        note("DefWindowProcW", address(window), Hex{message}, Hex{wParam}, lParam);
        return g_system->defaultResult;
    }

    static BOOL WINAPI getMessage(MSG* message, HWND window, UINT first, UINT last) {
        note("GetMessageW", address(window), Hex{first}, Hex{last});
        std::unique_lock lock(g_system->m_mutex);
        if (!g_system->m_added.wait_for(lock, std::chrono::seconds(20), [] { return !g_system->m_steps.empty(); })) {
            throw std::runtime_error("the input loop waits for a message that nobody sends");
        }
        const User32::Step step = std::move(g_system->m_steps.front());
        g_system->m_steps.pop_front();
        lock.unlock();
        return step(*message);
    }

    static BOOL WINAPI translateMessage(const MSG*) {
        note("TranslateMessage");
        return TRUE;
    }

    static LRESULT WINAPI dispatchMessage(const MSG*) {
        note("DispatchMessageW");
        return 0;
    }

    static BOOL WINAPI postThreadMessage(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam) {
        note("PostThreadMessageW", thread, Hex{message}, wParam, lParam);
        if (g_system->postsWithoutQueue > 0) {
            --g_system->postsWithoutQueue;
            return FALSE;
        }
        g_system->addMessage(message, wParam, lParam);
        return TRUE;
    }

    static BOOL WINAPI registerRawInputDevices(const RAWINPUTDEVICE* devices, UINT count, UINT size) {
        const RAWINPUTDEVICE& device = *devices;
        note("RegisterRawInputDevices", device.usUsagePage, device.usUsage, Hex{device.dwFlags},
             address(device.hwndTarget), count, size);
        return (device.dwFlags & RIDEV_REMOVE) != 0 ? g_system->removesDevices : g_system->registersDevices;
    }

    static UINT WINAPI getRawInputData(HRAWINPUT handle, UINT command, void* data, UINT* size, UINT headerSize) {
        note("GetRawInputData", address(handle), Hex{command}, data == nullptr ? "no buffer" : "buffer", *size,
             headerSize);
        const std::unique_lock lock(g_system->m_mutex);
        const User32::Report& report = g_system->m_reports.at(reinterpret_cast<LPARAM>(handle));
        const UINT trueSize = static_cast<UINT>(report.bytes.size());
        if (data == nullptr) {
            *size = report.sizeSaid.value_or(trueSize);
            return 0;
        }
        std::memcpy(data, report.bytes.data(), std::min(*size, trueSize));
        return report.readResult.value_or(trueSize);
    }

    static BOOL WINAPI getCursorPosition(POINT* point) {
        note("GetCursorPos");
        if (g_system->tellsCursor) *point = g_system->cursor;
        return g_system->tellsCursor;
    }

    static int WINAPI getSystemMetrics(int index) {
        note("GetSystemMetrics", index);
        return index == SM_SWAPBUTTON ? g_system->buttonSwap : 0;
    }

    static void* __cdecl alignedRealloc(void* block, std::size_t size, std::size_t alignment) {
        static auto* const grow = systemFunction<decltype(_aligned_realloc)>(L"ucrtbase.dll", "_aligned_realloc");
        note("_aligned_realloc", blockText(block), size, alignment);
        return g_system->growsBuffers ? grow(block, size, alignment) : nullptr;
    }

    static void __cdecl alignedFree(void* block) {
        static auto* const release = systemFunction<decltype(_aligned_free)>(L"ucrtbase.dll", "_aligned_free");
        if (g_system != nullptr) note("_aligned_free", blockText(block));
        release(block);
    }
};

}  // namespace standins

// The pointers that the program's imports read. They replace the import libraries' own.
extern "C" {
using standins::User32Calls;
extern decltype(&GetModuleHandleA) const __imp_GetModuleHandleA = &User32Calls::getModuleHandle;
extern decltype(&RegisterClassW) const __imp_RegisterClassW = &User32Calls::registerClass;
extern decltype(&CreateWindowExW) const __imp_CreateWindowExW = &User32Calls::createWindow;
extern decltype(&DestroyWindow) const __imp_DestroyWindow = &User32Calls::destroyWindow;
extern decltype(&DefWindowProcW) const __imp_DefWindowProcW = &User32Calls::defaultProcedure;
extern decltype(&GetMessageW) const __imp_GetMessageW = &User32Calls::getMessage;
extern decltype(&TranslateMessage) const __imp_TranslateMessage = &User32Calls::translateMessage;
extern decltype(&DispatchMessageW) const __imp_DispatchMessageW = &User32Calls::dispatchMessage;
extern decltype(&PostThreadMessageW) const __imp_PostThreadMessageW = &User32Calls::postThreadMessage;
extern decltype(&RegisterRawInputDevices) const __imp_RegisterRawInputDevices = &User32Calls::registerRawInputDevices;
extern decltype(&GetRawInputData) const __imp_GetRawInputData = &User32Calls::getRawInputData;
extern decltype(&GetCursorPos) const __imp_GetCursorPos = &User32Calls::getCursorPosition;
extern decltype(&GetSystemMetrics) const __imp_GetSystemMetrics = &User32Calls::getSystemMetrics;

// The C runtime declares these as ordinary functions.
void* __cdecl _aligned_realloc(void* block, std::size_t size, std::size_t alignment) {
    return User32Calls::alignedRealloc(block, size, alignment);
}
void __cdecl _aligned_free(void* block) { User32Calls::alignedFree(block); }
}

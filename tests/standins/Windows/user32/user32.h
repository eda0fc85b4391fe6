#pragma once

#include <windows.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace standins {

/// The system as an input loop sees it: windows, messages, raw input. A test program that links `user32.cpp` calls
/// these functions instead of the system's, because its imports point here.
///
/// There is one at a time, which answers as long as it lives. Threads: any thread may add messages and read calls. What
/// the system answers is set before the loop under test runs.
class User32 {
public:
    static constexpr UINT kStopMessage = 0x804D;

    /// What `GetRawInputData` returns for one raw input handle.
    struct Report {
        std::vector<std::byte> bytes;
        std::optional<UINT> sizeSaid = {};    ///< returned as the size instead of the true one
        std::optional<UINT> readResult = {};  ///< returned by the read instead of the true size
    };

    /// Takes the place of a message: fills it and returns what `GetMessageW` returns.
    using Step = std::function<BOOL(MSG&)>;

    User32();
    ~User32();
    User32(const User32&) = delete;
    User32& operator=(const User32&) = delete;

    // ---- what the system answers --------------------------------------------------------------------------------
    bool makesWindows = true;
    bool registersDevices = true;
    bool removesDevices = true;
    bool tellsCursor = true;
    bool growsBuffers = true;
    int buttonSwap = 0;  ///< the system's SM_SWAPBUTTON
    POINT cursor{};
    LRESULT defaultResult = 0;  ///< of `DefWindowProcW`
    int postsWithoutQueue = 0;  ///< so many posts fail because there is no message queue yet
    bool writesCallsDown = true;

    void addMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0, BOOL result = 1);
    void addStep(Step step);
    /// A raw input message with its raw input report.
    void addReport(Report report);
    /// A message that is sent, not posted: the window procedure gets it while the loop waits for the next one.
    /// Its result goes to `sentResults`.
    void addSentMessage(UINT message, WPARAM wParam, LPARAM lParam);
    /// Something that happens while the loop waits; `GetMessageW` then returns -1 instead of a message.
    void addChange(std::function<void()> change);
    void addStop() { addMessage(kStopMessage, 1); }

    // ---- what the system was asked ------------------------------------------------------------------------------
    /// All calls in order, with the arguments in brackets. Numbers that Windows' headers write in hexadecimal are so
    /// here.
    std::vector<std::string> calls() const;
    /// The calls of one function.
    std::vector<std::string> callsOf(const std::string& function) const;
    /// The arguments of each `CreateWindowExW`.
    std::vector<CREATESTRUCTW> windows() const;
    std::vector<LRESULT> sentResults() const;
    /// Every window class that the process has registered, under earlier instances too, because a class stays. Each
    /// registration reported failure.
    static const std::vector<WNDCLASSW>& registeredClasses();

    /// The window handle and the host's module handle that it hands out.
    static HWND window() { return reinterpret_cast<HWND>(0x51); }
    static HINSTANCE host() { return reinterpret_cast<HINSTANCE>(0x400000); }

private:
    friend struct User32Calls;

    void note(const std::string& call);

    mutable std::mutex m_mutex;
    std::condition_variable m_added;
    std::deque<Step> m_steps;
    std::map<LPARAM, Report> m_reports;
    std::vector<std::string> m_calls;
    std::vector<CREATESTRUCTW> m_windows;
    std::vector<LRESULT> m_sentResults;
};

}  // namespace standins

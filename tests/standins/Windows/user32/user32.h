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

/// The system as an input loop meets it: windows, messages, raw input. A test program that links `user32.cpp` calls
/// these functions wherever it would call the system's, for its imports point here.
///
/// One at a time lives; it answers from its construction to its end. Threads: messages may be added and calls read on
/// any thread; what is answered is said before the loop under test runs.
class User32 {
public:
    static constexpr UINT kStopMessage = 0x804D;

    /// What `GetRawInputData` tells about one raw input handle.
    struct Report {
        std::vector<std::byte> bytes;
        std::optional<UINT> sizeSaid = {};    ///< when asked for the size, in place of the true one
        std::optional<UINT> readResult = {};  ///< when read, in place of the true size
    };

    /// Takes the place of a message: fills it and gives what `GetMessageW` returns.
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
    int postsWithoutQueue = 0;  ///< so many posts find no message queue yet
    bool writesCallsDown = true;

    void addMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0, BOOL result = 1);
    void addStep(Step step);
    /// A raw input message with its report.
    void addReport(Report report);
    /// A message that is sent, not posted: the window procedure gets it while the loop waits for the next one.
    /// Its result goes to `sentResults`.
    void addSentMessage(UINT message, WPARAM wParam, LPARAM lParam);
    /// Something that happens while the loop waits; it then gets no message but -1.
    void addChange(std::function<void()> change);
    void addStop() { addMessage(kStopMessage, 1); }

    // ---- what the system was asked ------------------------------------------------------------------------------
    /// All calls in order, arguments in brackets; numbers that Windows' headers write in hexadecimal are so here.
    std::vector<std::string> calls() const;
    /// Those of one function.
    std::vector<std::string> callsOf(const std::string& function) const;
    /// The arguments of each `CreateWindowExW`.
    std::vector<CREATESTRUCTW> windows() const;
    std::vector<LRESULT> sentResults() const;
    /// Every window class that the process has registered, also under earlier instances: a class stays. Each time the
    /// answer was that it failed.
    static const std::vector<WNDCLASSW>& registeredClasses();

    /// The window, and the module of the host, as they are given out.
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

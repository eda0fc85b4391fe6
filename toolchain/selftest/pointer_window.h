#pragma once

#include <windows.h>

#include <mutex>
#include <string>
#include <thread>

namespace selftest {

// A visible window on its own thread that adds up the raw pointer input it receives. It shows that the desktop session
// carries the X server's pointer to Windows programs.
class PointerWindow {
public:
    struct Sum {
        bool foreground = false;
        int x = 0;
        int y = 0;
        std::string buttons;  // the flags of each raw input report with buttons, such as "1 2 "
    };

    PointerWindow();
    ~PointerWindow();  // closes the window and waits for its thread
    PointerWindow(const PointerWindow&) = delete;
    PointerWindow& operator=(const PointerWindow&) = delete;

    Sum sum() const;  // any thread

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void run();
    void take(HRAWINPUT input);

    mutable std::mutex m_mutex;
    Sum m_sum;
    HWND m_window = nullptr;
    std::thread m_thread;
};

}  // namespace selftest

#include "bridge/rawinputdriverbase.h"

#include <new>
#include <string_view>
#include <utility>

#include "common/utils/failure.h"
#include "common/utils/log.h"

namespace zeb {

namespace {

constexpr std::string_view kFile = "src_native/bridge/rawinputdriverbase";

}  // namespace

using common::LockGuard;
using common::SourceLocation;
using common::diagnostics::Log;

RawInputDriverBase::~RawInputDriverBase() { RawInputDriverBase::releasePointerCapture(); }

void RawInputDriverBase::capturePointer(std::unique_ptr<Handler> handler) {
    const LockGuard guard(m_lock);
    if (m_handler) {
        throw common::common_internal::DefaultException({"zeb::RawInputDriverBase::capturePointer", kFile, 19},
                                                        "Pointer already captured.", 0);
    }
    m_handler = std::move(handler);
    m_inputThread = {};
    m_running = true;
    // If the thread cannot be started, the capture delivers nothing until it is released. Some platforms leave a value
    // in the handle even then.
    if (uv_thread_create(&m_inputThread, &inputThreadMain, this) != 0) m_inputThread = {};
}

void RawInputDriverBase::inputThreadMain(void* driver) noexcept {
    static_cast<RawInputDriverBase*>(driver)->processInput();
}

void RawInputDriverBase::releasePointerCapture() {
    {
        const LockGuard guard(m_lock);
        m_handler.reset();
    }
    if (!m_running) return;
    m_running = false;
    interruptInputThread(m_inputThread);
    if (m_inputThread != uv_thread_t{}) static_cast<void>(uv_thread_join(&m_inputThread));
    try {
        Log::write(Log::Level::information, SourceLocation{"zeb::RawInputDriverBase::releasePointerCapture", kFile, 49},
                   "Pointer capture released");
    } catch (const std::bad_alloc&) {
        // The capture is released. The log record is what can best be done without when there is no memory.
    }
}

bool RawInputDriverBase::isPointerCaptured() {
    const LockGuard guard(m_lock);
    return m_handler != nullptr;
}

void RawInputDriverBase::dispatchPointerData(const PointerData& record) {
    const LockGuard guard(m_lock);
    if (m_handler) (*m_handler)(record);
}

}  // namespace zeb

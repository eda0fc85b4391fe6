#include <array>
#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "checks.h"

namespace selftest {
namespace {

constexpr int kThreads = 8;

// Runs body on kThreads threads that all start at the same moment.
template <class F>
void race(F&& body) {
    std::atomic<int> waiting{kThreads};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            --waiting;
            while (waiting != 0) {
            }
            body();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::atomic<int> arrived{0};  // threads that are about to use the static
std::atomic<int> made{0};
std::atomic<int> refused{0};

struct Slow {
    std::string text;
    explicit Slow(int failures) : text("made") {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (arrived < kThreads && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        if (refused < failures) {
            ++refused;
            throw std::runtime_error("not yet");
        }
        ++made;
    }
};

Slow& once() {
    ++arrived;
    static Slow slow(0);
    return slow;
}

Slow& onceAfterFailures() {
    ++arrived;
    static Slow slow(3);
    return slow;
}

std::atomic<int> threadObjects{0};

struct PerThread {
    std::string text = "fresh";
    PerThread() { ++threadObjects; }
    ~PerThread() { --threadObjects; }
};

thread_local PerThread perThread;
thread_local int plain = 7;

}  // namespace

void checkThreads(Checks& checks) {
    const auto add = [&](const char* name, std::string expected, std::string actual) {
        checks.push_back({name, std::move(expected), std::move(actual)});
    };

    made = arrived = 0;
    std::atomic<int> seen{0};
    race([&] { seen += once().text == "made"; });
    add("a raced static is made once", "1 8", std::to_string(made) + ' ' + std::to_string(seen));

    made = refused = arrived = 0;
    seen = 0;
    std::atomic<int> failures{0};
    race([&] {
        for (;;) {
            try {
                seen += onceAfterFailures().text == "made";
                return;
            } catch (const std::runtime_error&) {
                ++failures;
            }
        }
    });
    add("a static whose constructor throws is tried again", "3 1 8",
        std::to_string(failures) + ' ' + std::to_string(made) + ' ' + std::to_string(seen));

    perThread.text = "mine";
    const int before = threadObjects;
    std::atomic<int> fresh{0};
    race([&] {
        fresh += perThread.text == "fresh" && plain == 7;
        perThread.text = "touched";
        plain = 8;
    });
    add("thread_local is fresh on each thread", "8 mine", std::to_string(fresh) + ' ' + perThread.text);
    add("thread_local is destroyed with its thread", std::to_string(before), std::to_string(threadObjects));

    std::atomic<int> caughtCount{0};
    race([&] {
        for (int i = 0; i < 50; ++i) {
            try {
                throw std::runtime_error("thrown");
            } catch (const std::exception& error) {
                caughtCount += std::string(error.what()) == "thrown";
            }
        }
    });
    add("exceptions on eight threads at once", "400", std::to_string(caughtCount));

    std::promise<int> promise;
    std::thread worker([&] {
        try {
            throw std::runtime_error("from the worker");
        } catch (...) {
            promise.set_exception(std::current_exception());
        }
    });
    std::string received;
    try {
        promise.get_future().get();
    } catch (const std::exception& error) {
        received = error.what();
    }
    worker.join();
    add("an exception crosses threads in a future", "from the worker", received);

    std::recursive_mutex recursive;
    std::mutex mutex;
    std::condition_variable condition;
    bool ready = false;
    std::thread notifier([&] {
        std::scoped_lock lock(recursive, mutex);
        std::lock_guard again(recursive);
        ready = true;
        condition.notify_one();
    });
    {
        std::unique_lock lock(mutex);
        condition.wait(lock, [&] { return ready; });
    }
    notifier.join();
    std::once_flag flag;
    int calls = 0;
    for (int i = 0; i < 3; ++i) {
        std::call_once(flag, [&] { ++calls; });
    }
    add("mutexes, condition_variable, call_once", "1", std::to_string(calls));
}

Checks allChecks() {
    Checks checks;
    checkExceptions(checks);
    checkExceptionPointers(checks);
    checkCasts(checks);
    checkTypeNames(checks);
    checkLibrary(checks);
    checkThreads(checks);
    return checks;
}

}  // namespace selftest

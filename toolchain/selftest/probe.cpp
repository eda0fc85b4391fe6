#include "probe.h"

#include <string>

namespace selftest {
namespace {

void (*report)(const char*) = nullptr;
int unwoundFrames = 0;

struct Ending {
    const char* name;
    explicit Ending(const char* n) : name(n) {}
    ~Ending() {
        if (report) {
            report(name);
        }
    }
};

Ending first("first static");
Ending second("second static");

Ending& local() {
    static Ending ending("local static");
    return ending;
}

thread_local std::string threadName = "made on demand";

class ProbeImpl final : public Probe {
public:
    Checks checks() override { return allChecks(); }
    Shape* makeSquare() override { return new Square; }
    void refuse(int code) override {
        Refusal refusal;
        refusal.code = code;
        throw refusal;
    }
    void callBack(void (*function)()) override { function(); }
    int throughFrame(void (*function)()) override {
        struct Frame {
            ~Frame() { ++unwoundFrames; }
        } frame;
        function();
        return 1;
    }
    int unwound() override { return unwoundFrames; }
    const char* threadName() override { return selftest::threadName.c_str(); }
    void onUnload(void (*function)(const char*)) override {
        local();
        report = function;
    }
};

}  // namespace
}  // namespace selftest

extern "C" __declspec(dllexport) selftest::Probe* getProbe() {
    static selftest::ProbeImpl probe;
    return &probe;
}

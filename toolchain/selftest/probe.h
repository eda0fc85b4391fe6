#pragma once

#include "checks.h"

// The interface between modules.test.cpp and probe.dll. The DLL is linked with the same runtime support, has its own
// copy of every type's information, and allocates from the C runtime's one heap.
namespace selftest {

struct Shape {
    virtual ~Shape() = default;
    virtual int sides() const = 0;
};

struct Named {
    virtual ~Named() = default;
    virtual std::string name() const = 0;
};

struct Square : Shape, Named {
    int sides() const override { return 4; }
    std::string name() const override { return "square"; }
};

struct Refusal {
    virtual ~Refusal() = default;
    int code = 0;
};

class Probe {
public:
    virtual ~Probe() = default;
    virtual Checks checks() = 0;
    virtual Shape* makeSquare() = 0;
    virtual void refuse(int code) = 0;  // throws Refusal
    virtual void callBack(void (*function)()) = 0;
    virtual int throughFrame(void (*function)()) = 0;  // function throws: the destructors of its frame run
    virtual int unwound() = 0;                         // how many have run
    virtual const char* threadName() = 0;              // a thread_local with a constructor
    virtual void onUnload(void (*function)(const char*)) = 0;
};

using GetProbe = Probe* (*)();

}  // namespace selftest

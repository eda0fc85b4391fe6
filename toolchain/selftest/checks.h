#pragma once

#include <string>
#include <vector>

// What the toolchain promises about the C++ language and its library; each promise is exercised once. The same
// functions are compiled into a program, a DLL and a Node add-on, because start-up, exceptions and type information
// differ between them.
namespace selftest {

struct Check {
    std::string name;
    std::string expected;
    std::string actual;
};

using Checks = std::vector<Check>;

void checkExceptions(Checks& checks);
void checkExceptionPointers(Checks& checks);
void checkCasts(Checks& checks);
void checkTypeNames(Checks& checks);
void checkLibrary(Checks& checks);
void checkThreads(Checks& checks);

Checks allChecks();

}  // namespace selftest

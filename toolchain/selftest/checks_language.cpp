#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <typeinfo>

#include "checks.h"

// These checks do what proper code avoids: throw in a function that cannot catch it, take typeid of a null object.
#pragma clang diagnostic ignored "-Wexceptions"
#pragma clang diagnostic ignored "-Wpotentially-evaluated-expression"

// At namespace scope, because their readable names are compared below.
struct IRefCounted {
    virtual ~IRefCounted() = default;
    virtual int addRef() = 0;
};
namespace common {
class CrtAllocator {
public:
    virtual ~CrtAllocator() = default;
};
}  // namespace common
namespace zeb {
struct RawInputDriver : virtual IRefCounted {
    int addRef() override { return 2; }
};
}  // namespace zeb
template <class T, int N>
struct Pack {
    virtual ~Pack() = default;
};

namespace selftest {
namespace {

std::string trail;  // what was destroyed, in order

struct Mark {
    char letter;
    explicit Mark(char c) : letter(c) {}
    ~Mark() { trail += letter; }
};

struct Root {
    int id = 1;
    virtual ~Root() = default;
};
struct Left : virtual Root {
    int left = 2;
};
struct Right : virtual Root {
    int right = 3;
};
struct Bottom : Left, Right {
    std::string text;
    explicit Bottom(std::string t) : text(std::move(t)) { id = 77; }
};

struct VirtualError : virtual std::exception {
    std::string text;
    explicit VirtualError(std::string t) : text(std::move(t)) {}
    const char* what() const noexcept override { return text.c_str(); }
};

[[gnu::noinline]] void descend(int depth) {
    Mark mark(static_cast<char>('a' + depth));
    volatile char frame[9000];  // more than a page: needs the stack probe
    frame[depth] = 1;
    if (depth == 0) {
        throw Bottom("thrown");
    }
    descend(depth - 1);
}

struct HalfMade {
    Mark first{'A'};
    Mark second{'B'};
    HalfMade() { throw std::runtime_error("constructor"); }
    ~HalfMade() { trail += '!'; }
};

[[gnu::noinline]] void rethrowCurrent() { throw; }

template <class E, class F>
std::string caught(F&& body) {
    trail.clear();
    try {
        body();
    } catch (const E& error) {
        return error.what();
    } catch (...) {
        return "another type";
    }
    return "nothing";
}

}  // namespace

void checkExceptions(Checks& checks) {
    trail.clear();
    try {
        descend(4);
    } catch (const Root& root) {
        checks.push_back(
            {"caught by virtual base through 5 frames", "abcde 77", trail + ' ' + std::to_string(root.id)});
    }
    trail.clear();
    try {
        descend(1);
    } catch (Bottom bottom) {
        checks.push_back({"caught by value", "ab thrown", trail + ' ' + bottom.text});
    }
    std::string other = "nothing";
    try {
        throw 5;
    } catch (const char*) {
        other = "wrong handler";
    } catch (...) {
        other = "any";
    }
    checks.push_back({"catch any", "any", other});
    checks.push_back({"rethrow from a function", "again", caught<std::exception>([] {
                          try {
                              throw VirtualError("again");
                          } catch (...) {
                              rethrowCurrent();
                          }
                      })});
    const std::string half = caught<std::runtime_error>([] { HalfMade object; });
    checks.push_back({"members of a half-made object", "BA constructor", trail + ' ' + half});
    const std::string nested = caught<std::runtime_error>([] {
        try {
            Mark mark('x');
            throw std::out_of_range("inner");
        } catch (const std::logic_error& inner) {
            try {
                Mark mark('y');
                throw std::invalid_argument("second");
            } catch (const std::exception& second) {
                trail += second.what();
            }
            trail += inner.what();
            throw std::runtime_error("outer");
        }
    });
    checks.push_back({"throw inside a handler", "xysecondinner outer 0",
                      trail + ' ' + nested + ' ' + std::to_string(std::uncaught_exceptions())});
    struct Counter {
        int* count;
        ~Counter() { *count = std::uncaught_exceptions(); }
    };
    int count = -1;
    try {
        Counter counter{&count};
        throw 1;
    } catch (int) {
    }
    checks.push_back({"uncaught_exceptions while unwinding", "1", std::to_string(count)});
    checks.push_back({"out_of_range from the library", "basic_string",
                      caught<std::out_of_range>([] { (void)std::string("abc").at(9); })});
    checks.push_back({"length_error from the library", "vector",
                      caught<std::length_error>([] { std::vector<int>().reserve(static_cast<std::size_t>(-1)); })});
    checks.push_back({"system_error", "system: Permission denied", caught<std::system_error>([] {
                          throw std::system_error(std::make_error_code(std::errc::permission_denied), "system");
                      })});
    checks.push_back(
        {"bad_function_call", "std::exception", caught<std::bad_function_call>([] { std::function<void()>()(); })});
    checks.push_back({"bad_optional_access", "bad_optional_access",
                      caught<std::bad_optional_access>([] { (void)std::optional<int>().value(); })});
    checks.push_back({"bad_alloc", "std::bad_alloc", caught<std::bad_alloc>([] { throw std::bad_alloc(); })});
}

void checkExceptionPointers(Checks& checks) {
    std::exception_ptr kept;
    try {
        throw VirtualError("kept");
    } catch (...) {
        kept = std::current_exception();
    }
    const auto rethrowKept = [&] { std::rethrow_exception(kept); };
    checks.push_back({"current_exception", "kept", caught<std::exception>(rethrowKept)});
    checks.push_back({"rethrown twice", "kept", caught<std::exception>(rethrowKept)});
    auto made = std::make_exception_ptr(std::runtime_error("made"));
    checks.push_back({"make_exception_ptr", "made", caught<std::runtime_error>([&] { std::rethrow_exception(made); })});
    std::string inner = "none";
    try {
        try {
            throw 41;
        } catch (...) {
            std::throw_with_nested(std::runtime_error("outer"));
        }
    } catch (const std::exception& outer) {
        try {
            std::rethrow_if_nested(outer);
        } catch (int value) {
            inner = std::string(outer.what()) + ' ' + std::to_string(value);
        }
    }
    checks.push_back({"throw_with_nested", "outer 41", inner});
    struct Counted {
        std::shared_ptr<int> owner;
    };
    auto owner = std::make_shared<int>(0);
    {
        auto first = std::make_exception_ptr(Counted{owner});
        auto second = first;  // the same object, not a copy
        first = nullptr;
    }
    checks.push_back({"the last exception_ptr destroys the object", "1", std::to_string(owner.use_count())});
}

void checkCasts(Checks& checks) {
    std::unique_ptr<Root> root(new Bottom("object"));
    auto* right = dynamic_cast<Right*>(root.get());
    checks.push_back({"down from a virtual base", "3", std::to_string(right ? right->right : 0)});
    auto* left = dynamic_cast<Left*>(right);
    checks.push_back({"across", "2", std::to_string(left ? left->left : 0)});
    checks.push_back(
        {"to an unrelated type", "1", std::to_string(dynamic_cast<zeb::RawInputDriver*>(right) == nullptr)});
    checks.push_back({"to void, the whole object", "1",
                      std::to_string(dynamic_cast<void*>(right) == dynamic_cast<void*>(root.get()))});
    Root plain;
    Root* volatile target = &plain;
    // The C runtime makes these two objects itself, so the wording is its own.
    checks.push_back(
        {"bad_cast", "Bad dynamic_cast!", caught<std::bad_cast>([&] { (void)dynamic_cast<Left&>(*target); })});
    Root* volatile nothing = nullptr;
    checks.push_back({"bad_typeid", "Attempted a typeid of NULL pointer!",
                      caught<std::bad_typeid>([&] { (void)typeid(nothing[0]).name(); })});
}

void checkTypeNames(Checks& checks) {
    zeb::RawInputDriver driver;
    IRefCounted& interface = driver;
    const auto add = [&](const char* expected, const std::type_info& type) {
        checks.push_back({"type name", expected, type.name()});
    };
    add("struct IRefCounted", typeid(IRefCounted));
    add("class common::CrtAllocator", typeid(common::CrtAllocator));
    add("struct zeb::RawInputDriver", typeid(interface));
    add("struct Pack<char const * __ptr64,3>", typeid(Pack<const char*, 3>));
    add("unsigned __int64", typeid(unsigned long long));
    checks.push_back(
        {"type name stays where it is", "1", std::to_string(typeid(IRefCounted).name() == typeid(IRefCounted).name())});
}

}  // namespace selftest
